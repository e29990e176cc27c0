#ifndef TARNWICK_RTOS_MISSINGMEMBERLOG_H
#define TARNWICK_RTOS_MISSINGMEMBERLOG_H

#include <set>
#include <string>

// Says once which member of a kernel structure this kernel build lacks. Kernel configurations remove
// members (run-time statistics, the trace facility, mutexes), and what needs such a member is then shown as
// N/A or left out: one line per member lets the user trace that to the configuration, without a line per
// task at every stop.
class MissingMemberLog {
public:
    static MissingMemberLog& getInstance();

    // Logs the member the first time it is reported since the last forget().
    void report(const std::string& structure, const std::string& member);
    // A new program's layouts: its missing members are told anew.
    void forget() { reported.clear(); }

private:
    MissingMemberLog() = default;

    std::set<std::string> reported;
};

#endif
