#ifndef TARNWICK_TESTS_BENCH_SAMPLES_H
#define TARNWICK_TESTS_BENCH_SAMPLES_H

#include <vector>

// Measurements of one quantity, summarised by order statistics, which a few disturbed samples on a busy
// machine do not move much.
class Samples {
public:
    void add(double value) { values.push_back(value); }
    void addAll(const Samples& other);
    bool empty() const { return values.empty(); }
    std::size_t size() const { return values.size(); }
    // The value below which the fraction p (0 to 1) of the samples lie, interpolated; 0 if empty.
    double percentile(double p) const;
    double median() const { return percentile(0.5); }
    double minimum() const { return percentile(0); }

private:
    std::vector<double> values;
};

#endif
