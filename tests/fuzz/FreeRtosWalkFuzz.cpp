// The FreeRTOS driver against RAM that the fuzzer writes: the task walk of getThreads and of the "state"
// command, the register frames of every task through every port, over real RSP exchanges with the target
// simulator. Seeds are kernel snapshots of our own (tests/fuzz/corpus/freertos_walk).
#include "FuzzDriverSetup.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/freertos/FreeRtosTaskView.h"

#include <vector>

namespace {

const char* const kVariants[] = {"ARM_CM0",     "ARM_CM3",  "ARM_CM3_MPU",  "ARM_CM4F",
                                 "ARM_CM4_MPU", "ARM_CM33", "ARM_CM33_NTZ", "ARM_CA9"};

FuzzWalkTarget<FreeRtosRtosDriver>* fixture = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzQuietLog();
    fixture = new FuzzWalkTarget<FreeRtosRtosDriver>(
        fuzzDriverRow("FreeRTOS", "freertos", "tskTaskControlBlock"), "freertos_snapshot.elf", "ARM_CM4F",
        fuzzAllPorts<FreeRtosPortFactory>(kVariants));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzKernel& kernel = fixture->walk.getKernel();
    FreeRtosRtosDriver& driver = fixture->driver;
    // Any top priority and any count: the walks bound themselves by the ready lists the program has and
    // by what they have seen.
    kernel.serve(data, size);

    fixture->walk.walkThreads([](TargetThread&) {});
    std::vector<FreeRtosTask> records;
    if (driver.getTaskWalk().readTasks(kernel.server(), true, records)) {
        KernelInfoNode usage = FreeRtosTaskView::stackUsage(records);
        FuzzDriverWalk::render(usage);
    }
    KernelInfoNode tasks(0, "", "Tasks");
    FreeRtosTaskView::addTasks(records, true, tasks);
    FuzzDriverWalk::render(tasks);
    fixture->walk.runState();
    return 0;
}
