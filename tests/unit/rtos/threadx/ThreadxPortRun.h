#ifndef TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXPORTRUN_H
#define TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXPORTRUN_H

#include "KernelTarget.h"
#include "ThreadxTestLog.h"
#include "rtos/IRtosPortDriver.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <cstdint>
#include <string>

// One call of a port's getRegisters against a fixture program, with all that the tests look at.
struct ThreadxPortRun {
    bool result = false;
    RegisterList registers;
    std::string log;
    unsigned reads = 0;
    std::uint64_t bytes = 0;
};

inline ThreadxPortRun runPort(IRtosPortDriver& port, KernelTarget& kernel, TargetThread thread) {
    ThreadxPortRun run;
    kernel.resetReads();
    run.log = threadxlog::capture(
        threadxlog::kAll, [&] { run.result = port.getRegisters(kernel.server(), thread, run.registers); });
    run.reads = kernel.memoryReads();
    run.bytes = kernel.target().getStats().memoryReadBytes;
    return run;
}

#endif
