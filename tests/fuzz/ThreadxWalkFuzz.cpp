// The ThreadX driver against RAM that the fuzzer writes: the thread walk of getThreads, the "state" command
// with its seven object collectors and suspension lists, the register frames of every thread through every
// port, over real RSP exchanges with the target simulator. Seeds are kernel snapshots of our own
// (tests/fuzz/corpus/threadx_walk).
#include "FuzzKernel.h"
#include "app/Logger.h"
#include "app/Properties.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/threadx/ThreadxData.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

// Threads whose frames are read through every port, besides the driver's own port for all of them.
constexpr std::size_t kThreadsThroughAllPorts = 4;

const char* const kVariants[] = {"cortex_m0", "cortex_m3", "cortex_m33", "cortex_a7"};

RtosDriverInfo threadxRow() {
    RtosDriverInfo row;
    row.setName("ThreadX");
    row.setId("threadx");
    row.setMatchSymbol("TX_THREAD_STRUCT");
    return row;
}

struct Fixture {
    ThreadxRtosDriver driver{threadxRow()};
    std::unique_ptr<FuzzKernel> kernel;
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;

    Fixture() {
        std::vector<std::string> symbols;
        std::vector<std::string> structures;
        driver.getSymbols(symbols);
        driver.getDataStructures(structures);
        kernel = std::make_unique<FuzzKernel>("threadx_state.elf", symbols, structures);
        Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
        driver.init();
        for (const char* variant : kVariants) {
            ports.emplace_back(ThreadxPortFactory::create(variant));
        }
    }
};

Fixture* fixture = nullptr;

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
    ThreadxRtosDriver& driver = fixture->driver;
    kernel.serve(data, size);
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
        // The secure path of the Armv8-M port, which the walk itself never takes.
        auto secure = std::make_shared<ThreadxData>();
        secure->setSecureContextAddress(thread.getStackPtr());
        secure->setSecureContextValid(true);
        thread.setThreadData(secure);
        for (std::size_t port = 0; index < kThreadsThroughAllPorts && port < fixture->ports.size(); ++port) {
            RegisterList other;
            fixture->ports[port]->getRegisters(server, thread, other);
        }
        ++index;
    }

    KernelInfoNode state;
    if (driver.runCommand(server, {"state"}, state)) {
        render(state);
    }
    return 0;
}
