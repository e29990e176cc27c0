#ifndef TARNWICK_TESTS_BENCH_PROCESSUSAGE_H
#define TARNWICK_TESTS_BENCH_PROCESSUSAGE_H

#include <string>
#include <sys/types.h>

// What a running process has used so far, read from /proc: CPU time split into user and system (clock
// ticks, 10 ms apart), CPU time in nanoseconds (the scheduler's count, user and system together), and
// resident memory.
class ProcessUsage {
public:
    // False if the process is gone or /proc does not say.
    bool read(pid_t pid);

    double userSeconds = 0;
    double systemSeconds = 0;
    double runSeconds = 0;
    long residentKb = 0;
    long peakResidentKb = 0;

    // The load average line of the machine: "0.52 0.61 0.70 1/123 4567".
    static std::string loadAverage();
};

#endif
