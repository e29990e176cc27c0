#ifndef TARNWICK_TESTS_BENCH_BENCHMAIN_H
#define TARNWICK_TESTS_BENCH_BENCHMAIN_H

#include <string>
#include <vector>

class BenchOptions;
class BenchReport;

// What every benchmark program does around its runs: refuse a command line without its required options,
// name the report, note the load average before and after, and take the timed run or, with --callgrind,
// the counted one.
class BenchMain {
public:
    using Run = bool (*)(const BenchOptions& options, BenchReport& report);

    struct Program {
        // The source file whose opening comment tells the usage.
        const char* source;
        std::vector<std::string> required;
        // The report's "benchmark" value; "-callgrind" is appended for a counted run.
        std::string benchmark;
        Run timed;
        Run counted;
    };

    // The process's exit status.
    static int run(int argc, char** argv, const Program& program);
};

#endif
