#include "FakeRtosDriver.h"

#include "rsp/RspClient.h"
#include "target/ThreadList.h"

FakeRtosDriver::FakeRtosDriver(const std::string& name, const std::string& id) {
    info.setName(name);
    info.setId(id);
}

bool FakeRtosDriver::enter(const char* call, RspClient* server) {
    {
        std::lock_guard<std::mutex> guard(lock);
        record.push_back(call);
        if (server != nullptr) {
            servers.push_back(server);
        }
    }
    auto scripted = reads.find(call);
    if (server == nullptr || scripted == reads.end()) {
        return true;
    }
    for (unsigned int address : scripted->second) {
        unsigned int value = 0;
        if (!server->readMemory(address, value)) {
            return false;
        }
    }
    return true;
}

bool FakeRtosDriver::init() {
    enter(kCallInit, nullptr);
    return initResult;
}

bool FakeRtosDriver::init(RspClient& server) {
    return enter(kCallInitServer, &server) && initServerResult;
}

void FakeRtosDriver::getSymbols(std::vector<std::string>& names) {
    enter(kCallGetSymbols, nullptr);
    names.insert(names.end(), symbols.begin(), symbols.end());
}

void FakeRtosDriver::getDataStructures(std::vector<std::string>& names) {
    enter(kCallGetDataStructures, nullptr);
    names.insert(names.end(), structures.begin(), structures.end());
}

RtosInfo* FakeRtosDriver::getInfo() {
    enter(kCallGetInfo, nullptr);
    return catalogue ? &*catalogue : nullptr;
}

bool FakeRtosDriver::checkKernelRunning(RspClient& server, bool& running) {
    if (!enter(kCallCheckKernelRunning, &server) || !checkResult) {
        return false;
    }
    running = kernelRunning;
    return true;
}

bool FakeRtosDriver::getThreads(RspClient& server, ThreadList& list) {
    if (!enter(kCallGetThreads, &server)) {
        return false;
    }
    for (const TargetThread& thread : threads) {
        list.addThread(thread);
    }
    return threadsResult;
}

bool FakeRtosDriver::getRegisters(RspClient& server, TargetThread& thread, RegisterList& out) {
    {
        std::lock_guard<std::mutex> guard(lock);
        registerIds.push_back(thread.getThreadId());
    }
    if (!enter(kCallGetRegisters, &server) || !registersResult) {
        return false;
    }
    auto scripted = registers.find(thread.getThreadId());
    if (scripted != registers.end()) {
        for (const auto& entry : scripted->second.getRegisters()) {
            unsigned int slot = 0;
            if (entry.second.getSlot(slot)) {
                out.addSavedRegister(entry.first, entry.second.getValue(), slot);
            } else {
                out.addRegister(entry.first, entry.second.getValue());
            }
        }
    }
    return true;
}

bool FakeRtosDriver::runCommand(RspClient& server, const std::vector<std::string>& commandLine,
                                KernelInfoNode& out) {
    {
        std::lock_guard<std::mutex> guard(lock);
        commandLines.push_back(commandLine);
    }
    if (!enter(kCallRunCommand, &server) || !commandResult) {
        return false;
    }
    out = commandOutput;
    return true;
}

void FakeRtosDriver::dispose() {
    enter(kCallDispose, nullptr);
}

std::vector<std::string> FakeRtosDriver::calls() const {
    std::lock_guard<std::mutex> guard(lock);
    return record;
}

std::vector<std::vector<std::string>> FakeRtosDriver::commandWords() const {
    std::lock_guard<std::mutex> guard(lock);
    return commandLines;
}

std::vector<unsigned int> FakeRtosDriver::registerRequests() const {
    std::lock_guard<std::mutex> guard(lock);
    return registerIds;
}

std::vector<RspClient*> FakeRtosDriver::endpoints() const {
    std::lock_guard<std::mutex> guard(lock);
    return servers;
}

void FakeRtosDriver::clearRecord() {
    std::lock_guard<std::mutex> guard(lock);
    record.clear();
    commandLines.clear();
    registerIds.clear();
    servers.clear();
}
