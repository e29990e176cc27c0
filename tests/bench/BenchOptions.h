#ifndef TARNWICK_TESTS_BENCH_BENCHOPTIONS_H
#define TARNWICK_TESTS_BENCH_BENCHOPTIONS_H

#include <map>
#include <string>
#include <vector>

// "--name value" pairs of a benchmark's command line; a name with no value behind it is "1".
class BenchOptions {
public:
    BenchOptions(int argc, char** argv);
    bool has(const std::string& name) const { return values.count(name) != 0; }
    std::string get(const std::string& name, const std::string& fallback = "") const;
    long getNumber(const std::string& name, long fallback) const;
    // A value of several words, such as a wrapper command, split at blanks.
    std::vector<std::string> getWords(const std::string& name) const;
    // Names that are required but missing, for the usage message.
    std::vector<std::string> missing(const std::vector<std::string>& required) const;

private:
    std::map<std::string, std::string> values;
};

#endif
