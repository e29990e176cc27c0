#include "FuzzDriverWalk.h"

#include "base/Properties.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

FuzzDriverWalk::FuzzDriverWalk(IRtosDriver& newDriver, const std::string& program, const std::string& variant,
                               std::vector<std::unique_ptr<IRtosPortDriver>> newPorts)
    : driver(newDriver), ports(std::move(newPorts)) {
    std::vector<std::string> symbols;
    std::vector<std::string> structures;
    driver.getSymbols(symbols);
    driver.getDataStructures(structures);
    kernel = std::make_unique<FuzzKernel>(program, symbols, structures);
    Properties::getInstance().addProperty("--rtos_variant", variant);
    driver.init();
}

void FuzzDriverWalk::walkThreads(const std::function<void(TargetThread&)>& prepare) {
    RspClient& server = kernel->server();
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
        prepare(thread);
        for (std::size_t port = 0; index < kThreadsThroughAllPorts && port < ports.size(); ++port) {
            RegisterList other;
            ports[port]->getRegisters(server, thread, other);
        }
        ++index;
    }
}

void FuzzDriverWalk::runState() {
    KernelInfoNode state;
    if (driver.runCommand(kernel->server(), {"state"}, state)) {
        render(state);
    }
}

void FuzzDriverWalk::render(KernelInfoNode& node) {
    KernelInfoNode::toString(node, FORMAT_TABULAR);
    KernelInfoNode::toString(node, FORMAT_TREE);
    KernelInfoNode::toString(node, FORMAT_JSON);
}
