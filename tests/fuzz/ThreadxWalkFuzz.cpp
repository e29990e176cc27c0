// The ThreadX driver against RAM that the fuzzer writes: the thread walk of getThreads, the "state" command
// with its seven object collectors and suspension lists, the register frames of every thread through every
// port, over real RSP exchanges with the target simulator. Seeds are kernel snapshots of our own
// (tests/fuzz/corpus/threadx_walk).
#include "FuzzDriverWalk.h"
#include "base/Logger.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "target/TargetThread.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace {

const char* const kVariants[] = {"cortex_m0", "cortex_m3", "cortex_m33", "cortex_a7"};

RtosDriverInfo threadxRow() {
    RtosDriverInfo row;
    row.setName("ThreadX");
    row.setId("threadx");
    row.setMatchSymbol("TX_THREAD_STRUCT");
    return row;
}

std::vector<std::unique_ptr<IRtosPortDriver>> allPorts() {
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;
    for (const char* variant : kVariants) {
        ports.emplace_back(ThreadxPortFactory::create(variant));
    }
    return ports;
}

struct Fixture {
    ThreadxRtosDriver driver{threadxRow()};
    FuzzDriverWalk walk{driver, "threadx_state.elf", "cortex_m4", allPorts()};
};

Fixture* fixture = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // The log goes to standard output, the fuzzer's own report to standard error.
    std::freopen("/dev/null", "w", stdout);
    Logger::getInstance().setLogLevel(15);
    fixture = new Fixture();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fixture->walk.getKernel().serve(data, size);
    fixture->walk.walkThreads([](TargetThread&) {});
    fixture->walk.runState();
    return 0;
}
