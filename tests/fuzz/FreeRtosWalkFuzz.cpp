// The FreeRTOS driver against RAM that the fuzzer writes: the task walk of getThreads and of the "state"
// command, the register frames of every task through every port, over real RSP exchanges with the target
// simulator. Seeds are kernel snapshots of our own (tests/fuzz/corpus/freertos_walk).
#include "FuzzDriverWalk.h"
#include "base/Logger.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/freertos/FreeRtosTaskView.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace {

const char* const kVariants[] = {"ARM_CM0",     "ARM_CM3",  "ARM_CM3_MPU",  "ARM_CM4F",
                                 "ARM_CM4_MPU", "ARM_CM33", "ARM_CM33_NTZ", "ARM_CA9"};

RtosDriverInfo freertosRow() {
    RtosDriverInfo row;
    row.setName("FreeRTOS");
    row.setId("freertos");
    row.setMatchSymbol("tskTaskControlBlock");
    return row;
}

std::vector<std::unique_ptr<IRtosPortDriver>> allPorts() {
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;
    for (const char* variant : kVariants) {
        ports.emplace_back(FreeRtosPortFactory::create(variant));
    }
    return ports;
}

struct Fixture {
    FreeRtosRtosDriver driver{freertosRow()};
    FuzzDriverWalk walk{driver, "freertos_snapshot.elf", "ARM_CM4F", allPorts()};
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
