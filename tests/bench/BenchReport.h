#ifndef TARNWICK_TESTS_BENCH_BENCHREPORT_H
#define TARNWICK_TESTS_BENCH_BENCHREPORT_H

#include <string>
#include <utility>
#include <vector>

// The figures of one benchmark run, in the order they were added: printed as "key: value" lines and, if
// asked, written as one flat JSON object for the report script. Failed checks make the run fail.
class BenchReport {
public:
    void add(const std::string& key, double value);
    void add(const std::string& key, const std::string& value);
    // Records a failure unless condition holds; returns condition.
    bool check(bool condition, const std::string& what);
    bool failed() const { return !failures.empty(); }
    // Prints everything; writes the JSON file if path is not empty. Returns the process exit status.
    int finish(const std::string& jsonPath) const;

private:
    std::vector<std::pair<std::string, std::string>> entries; // value already in JSON form
    std::vector<std::string> failures;
};

#endif
