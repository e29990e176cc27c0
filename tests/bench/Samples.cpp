#include "Samples.h"

#include <algorithm>

void Samples::addAll(const Samples& other) {
    values.insert(values.end(), other.values.begin(), other.values.end());
}

double Samples::percentile(double p) const {
    if (values.empty()) {
        return 0;
    }
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    double position = p * static_cast<double>(sorted.size() - 1);
    std::size_t below = static_cast<std::size_t>(position);
    if (below + 1 >= sorted.size()) {
        return sorted.back();
    }
    double fraction = position - static_cast<double>(below);
    return sorted[below] + fraction * (sorted[below + 1] - sorted[below]);
}
