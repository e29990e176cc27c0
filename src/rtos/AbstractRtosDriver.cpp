#include "rtos/AbstractRtosDriver.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosInfo.h"
#include "target/TargetThread.h"

#include <map>
#include <utility>

namespace {

const std::string kStateCommand = "state";

} // namespace

AbstractRtosDriver::AbstractRtosDriver(const RtosDriverInfo& newInfo, Names newNames)
    : info(newInfo), names(std::move(newNames)) {}

RtosDriverInfo& AbstractRtosDriver::getDriverInfo() {
    return info;
}

RtosInfo* AbstractRtosDriver::getInfo() {
    static std::map<std::string, RtosInfo> catalogues;
    auto found = catalogues.find(names.driverName);
    if (found == catalogues.end()) {
        // Its argument map holds a single entry with an empty key and value.
        RtosInfo catalogue(names.driverName, {RtosCommand(kStateCommand, "Displays RTOS state", {{"", ""}})});
        found = catalogues.emplace(names.driverName, catalogue).first;
    }
    return &found->second;
}

bool AbstractRtosDriver::checkKernelRunning(RspClient& server, bool& running) {
    Logger& logger = Logger::getInstance();
    Symbol flag;
    if (!SymbolTable::getInstance().lookupSymbol(names.runningFlag, flag)) {
        logger.log(Logger::LOG_ERROR, "checkKernelRunning", "Symbol not found: %s\n",
                   names.runningFlag.c_str());
        return false;
    }
    if (!readRunningFlag(server, flag, running)) {
        return false;
    }
    logger.log(Logger::LOG_DEBUG, "checkKernelRunning", "Kernel is running: %s\n",
               running ? "true" : "false");
    return true;
}

bool AbstractRtosDriver::getActiveThread(RspClient& server, TargetThread& thread) {
    unsigned int id = 0;
    // No current task: the kernel has not started or waits for one, and the caller walks instead.
    if (!readActiveThreadId(server, id) || id == 0) {
        return false;
    }
    thread.setThreadId(id);
    thread.setCpuActive(true);
    return true;
}

bool AbstractRtosDriver::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    return port && port->getRegisters(server, thread, registers);
}

bool AbstractRtosDriver::runCommand(RspClient& server, const std::vector<std::string>& words,
                                    KernelInfoNode& out) {
    if (words.empty() || words[0] != kStateCommand) {
        return false;
    }
    addKernelState(server, out);
    addStateSections(server, out);
    return true;
}

void AbstractRtosDriver::addKernelState(RspClient& server, KernelInfoNode& out) {
    out.addChild(KernelInfoNode(0, names.driverName, "Driver"));
    std::string kernelState = "No kernel found";
    bool running = false;
    if (checkKernelRunning(server, running)) {
        kernelState = running ? "Started" : "Not started";
    }
    out.addChild(KernelInfoNode(0, kernelState, "Kernel state"));
}
