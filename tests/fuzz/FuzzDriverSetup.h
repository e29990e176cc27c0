#ifndef TARNWICK_TESTS_FUZZ_FUZZDRIVERSETUP_H
#define TARNWICK_TESTS_FUZZ_FUZZDRIVERSETUP_H

#include "FuzzDriverWalk.h"
#include "base/Logger.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/RtosDriverInfo.h"

#include <cstdio>
#include <memory>
#include <vector>

// What the kernel fuzzers share before the first input: the driver's row as the driver table has it, the
// ports of every variant, and a log that is kept whole but out of the fuzzer's report.

inline RtosDriverInfo fuzzDriverRow(const char* name, const char* id, const char* matchSymbol) {
    RtosDriverInfo row;
    row.setName(name);
    row.setId(id);
    row.setMatchSymbol(matchSymbol);
    return row;
}

// Factory is the kernel's port factory; each variant is a name its create takes.
template <typename Factory, typename Variants>
std::vector<std::unique_ptr<IRtosPortDriver>> fuzzAllPorts(const Variants& variants) {
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;
    for (const char* variant : variants) {
        ports.emplace_back(Factory::create(variant));
    }
    return ports;
}

// The log goes to standard output, the fuzzer's own report to standard error.
inline void fuzzQuietLog() {
    std::freopen("/dev/null", "w", stdout);
    Logger::getInstance().setLogLevel(15);
}

// A kernel's driver walked over a program whose RAM the fuzzer writes.
template <typename Driver>
struct FuzzWalkTarget {
    FuzzWalkTarget(const RtosDriverInfo& row, const char* program, const char* variant,
                   std::vector<std::unique_ptr<IRtosPortDriver>> ports)
        : driver(row), walk(driver, program, variant, std::move(ports)) {}

    Driver driver;
    FuzzDriverWalk walk;
};

#endif
