// The FreeRTOS driver against RAM that the fuzzer writes: the task walk of getThreads and of the "state"
// command, the register frames of every task through every port, over real RSP exchanges with the target
// simulator. Seeds are kernel snapshots of our own (tests/fuzz/corpus/freertos_walk).
#include "FuzzKernel.h"
#include "app/Logger.h"
#include "app/Properties.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// The kernel walks one ready list per priority up to the top priority and applies no upper bound, so a
// lying word of four billion means four billion list heads to read (docs/ROBUSTNESS.md). The fuzzer folds
// such words so that it can look for anything else.
constexpr std::uint32_t kHighestFuzzedPriority = 63;
// Threads whose frames are read through every port, besides the driver's own port for all of them.
constexpr std::size_t kThreadsThroughAllPorts = 4;

const char* const kVariants[] = {"ARM_CM0",     "ARM_CM3",  "ARM_CM3_MPU",  "ARM_CM4F",
                                 "ARM_CM4_MPU", "ARM_CM33", "ARM_CM33_NTZ", "ARM_CA9"};

RtosDriverInfo freertosRow() {
    RtosDriverInfo row;
    row.setName("FreeRTOS");
    row.setId("freertos");
    row.setMatchSymbol("tskTaskControlBlock");
    return row;
}

struct Fixture {
    FreeRtosRtosDriver driver{freertosRow()};
    std::unique_ptr<FuzzKernel> kernel;
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;

    Fixture() {
        std::vector<std::string> symbols;
        std::vector<std::string> structures;
        driver.getSymbols(symbols);
        driver.getDataStructures(structures);
        kernel = std::make_unique<FuzzKernel>("freertos_snapshot.elf", symbols, structures);
        Properties::getInstance().addProperty("--rtos_variant", "ARM_CM4F");
        driver.init();
        for (const char* variant : kVariants) {
            ports.emplace_back(FreeRtosPortFactory::create(variant));
        }
    }
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

void render(KernelInfoNode& node) {
    KernelInfoNode::toString(node, FORMAT_TABULAR);
    KernelInfoNode::toString(node, FORMAT_TREE);
    KernelInfoNode::toString(node, FORMAT_JSON);
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
    FuzzKernel& kernel = *fixture->kernel;
    FreeRtosRtosDriver& driver = fixture->driver;
    std::vector<std::uint8_t> ram(data, data + size);
    foldPriority(ram, kernel.symbolAddress("uxTopUsedPriority"));
    foldPriority(ram, kernel.symbolAddress("uxTopReadyPriority"));
    kernel.serve(ram.data(), ram.size());
    RspClient& server = kernel.server();

    bool running = false;
    driver.checkKernelRunning(server, running);
    ThreadList threads;
    driver.getThreads(server, threads);
    threads.getXML();
    std::size_t index = 0;
    for (unsigned int id : threads.getThreadIdentifiers()) {
        TargetThread thread;
        threads.getThread(id, thread);
        RegisterList registers;
        driver.getRegisters(server, thread, registers);
        for (std::size_t port = 0; index < kThreadsThroughAllPorts && port < fixture->ports.size(); ++port) {
            RegisterList other;
            fixture->ports[port]->getRegisters(server, thread, other);
        }
        ++index;
    }

    KernelInfoNode tasks(0, "", "Tasks");
    if (driver.collectTasks(server, true, tasks)) {
        KernelInfoNode usage;
        driver.collectStackUsage(tasks, usage);
        render(usage);
    }
    render(tasks);
    KernelInfoNode state;
    if (driver.runCommand(server, {"state"}, state)) {
        render(state);
    }
    return 0;
}
