#include "BenchOptions.h"

#include <sstream>

BenchOptions::BenchOptions(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string name = argv[i];
        if (name.compare(0, 2, "--") != 0) {
            continue;
        }
        bool hasValue = i + 1 < argc && std::string(argv[i + 1]).compare(0, 2, "--") != 0;
        values[name.substr(2)] = hasValue ? argv[++i] : "1";
    }
}

std::string BenchOptions::get(const std::string& name, const std::string& fallback) const {
    auto found = values.find(name);
    return found == values.end() ? fallback : found->second;
}

long BenchOptions::getNumber(const std::string& name, long fallback) const {
    auto found = values.find(name);
    return found == values.end() ? fallback : std::stol(found->second, nullptr, 0);
}

std::vector<std::string> BenchOptions::getWords(const std::string& name) const {
    std::vector<std::string> words;
    std::istringstream text(get(name));
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words;
}

std::vector<std::string> BenchOptions::missing(const std::vector<std::string>& required) const {
    std::vector<std::string> absent;
    for (const std::string& name : required) {
        if (!has(name)) {
            absent.push_back(name);
        }
    }
    return absent;
}
