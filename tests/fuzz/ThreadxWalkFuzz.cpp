// The ThreadX driver against RAM that the fuzzer writes: the thread walk of getThreads, the "state" command
// with its seven object collectors and suspension lists, the register frames of every thread through every
// port, over real RSP exchanges with the target simulator. Seeds are kernel snapshots of our own
// (tests/fuzz/corpus/threadx_walk).
#include "FuzzDriverSetup.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "target/TargetThread.h"

namespace {

const char* const kVariants[] = {"cortex_m0", "cortex_m3", "cortex_m33", "cortex_a7"};

FuzzWalkTarget<ThreadxRtosDriver>* fixture = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzQuietLog();
    fixture = new FuzzWalkTarget<ThreadxRtosDriver>(fuzzDriverRow("ThreadX", "threadx", "TX_THREAD_STRUCT"),
                                                    "threadx_state.elf", "cortex_m4",
                                                    fuzzAllPorts<ThreadxPortFactory>(kVariants));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fixture->walk.getKernel().serve(data, size);
    fixture->walk.walkThreads([](TargetThread&) {});
    fixture->walk.runState();
    return 0;
}
