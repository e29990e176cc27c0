// The FreeRTOS driver against RAM that the fuzzer writes: the task walk of getThreads and of the "state"
// command, the register frames of every task through every port, over real RSP exchanges with the target
// simulator. Seeds are kernel snapshots of our own (tests/fuzz/corpus/freertos_walk).
#include "FuzzDriverWalk.h"
#include "app/Logger.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// The kernel walks one ready list per priority up to the top priority and applies no upper bound, so a
// lying word of four billion means four billion list heads to read (docs/ROBUSTNESS.md). The fuzzer folds
// such words so that it can look for anything else.
constexpr std::uint32_t kHighestFuzzedPriority = 63;

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

void foldPriority(std::vector<std::uint8_t>& ram, std::uint32_t address) {
    if (address < FuzzKernel::kRamBase || address - FuzzKernel::kRamBase + 4 > ram.size()) {
        return;
    }
    std::uint32_t word = 0;
    std::memcpy(&word, &ram[address - FuzzKernel::kRamBase], 4);
    if (word > kHighestFuzzedPriority) {
        word %= kHighestFuzzedPriority + 1;
        std::memcpy(&ram[address - FuzzKernel::kRamBase], &word, 4);
    }
}

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
    std::vector<std::uint8_t> ram(data, data + size);
    foldPriority(ram, kernel.symbolAddress("uxTopUsedPriority"));
    foldPriority(ram, kernel.symbolAddress("uxTopReadyPriority"));
    kernel.serve(ram.data(), ram.size());

    fixture->walk.walkThreads([](TargetThread&) {});
    KernelInfoNode tasks(0, "", "Tasks");
    if (driver.collectTasks(kernel.server(), true, tasks)) {
        KernelInfoNode usage;
        driver.collectStackUsage(tasks, usage);
        FuzzDriverWalk::render(usage);
    }
    FuzzDriverWalk::render(tasks);
    fixture->walk.runState();
    return 0;
}
