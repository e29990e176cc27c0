#ifndef TARNWICK_TESTS_SUPPORT_TIMINGFIGURES_H
#define TARNWICK_TESTS_SUPPORT_TIMINGFIGURES_H

#include <string>

// The log lines that time work end in "<digits> ms", a figure no test can know. Logs are compared with
// that figure written as "<n>": the rest of the line stays exact, and anything but digits there fails.
//
//     EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", timingfigures::masked(log));
namespace timingfigures {
std::string masked(const std::string& log);
} // namespace timingfigures

#endif
