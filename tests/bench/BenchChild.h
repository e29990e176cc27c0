#ifndef TARNWICK_TESTS_BENCH_BENCHCHILD_H
#define TARNWICK_TESTS_BENCH_BENCHCHILD_H

#include <string>
#include <sys/types.h>
#include <vector>

// A child process of a benchmark, its standard output and error going to one file. The destructor ends a
// child that still runs, by its own pid.
class BenchChild {
public:
    BenchChild(const std::vector<std::string>& argv, const std::string& newOutputPath);
    ~BenchChild();
    BenchChild(const BenchChild&) = delete;
    BenchChild& operator=(const BenchChild&) = delete;

    bool started() const { return pid > 0; }
    pid_t getPid() const { return pid; }
    // Everything the child has written so far.
    std::string output() const;
    // Waits until the output holds text; false if the child ends first or time runs out.
    bool waitForOutput(const std::string& text, int timeoutMs) const;
    // True once the child has ended, within timeoutMs; exitStatus is then set.
    bool waitExit(int timeoutMs);
    int getExitStatus() const { return exitStatus; }
    // SIGTERM, then SIGKILL if it is still there after grace milliseconds.
    void stop(int graceMs = 2000);
    bool running();
    std::string describe() const;

private:
    pid_t pid = -1;
    int exitStatus = -1;
    std::string outputPath;
    std::string command;
};

#endif
