#include "KernelTarget.h"

#include "TestPaths.h"
#include "base/Properties.h"
#include "debuginfo/Symbol.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/ClientSocket.h"
#include "target_sim/ElfImage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

KernelTarget::KernelTarget(const std::string& program, targetsim::Profile profile) : simTarget(profile) {
    ready = setUp(testpaths::fixturesDir() + "/" + program);
}

KernelTarget::~KernelTarget() {
    endpoint.reset();
    if (simServer) {
        simServer->stop();
    }
    if (!scratch.empty()) {
        std::filesystem::remove_all(scratch);
    }
    Properties::getInstance().clear();
    SymbolTable::getInstance().clear();
}

bool KernelTarget::setUp(const std::string& elf) {
    char pattern[] = "/tmp/tarnwick_kernel_XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        ADD_FAILURE() << "no scratch folder";
        return false;
    }
    scratch = pattern;
    Properties& properties = Properties::getInstance();
    properties.clear();
    properties.addProperty("--file", elf);
    properties.addProperty("--debug_info_cache", scratch + "/program.proxy_cache");
    properties.addProperty("--debug_info_tool", "arm-none-eabi-readelf");
    SymbolTable::getInstance().clear();
    if (!SymbolTable::getInstance().generateDebugInfo()) {
        ADD_FAILURE() << "no debug-info cache for " << elf;
        return false;
    }
    targetsim::ElfImage image;
    std::string error;
    if (!image.load(elf, error) || !simTarget.loadElf(image)) {
        ADD_FAILURE() << "cannot serve " << elf << ": " << error;
        return false;
    }
    return readSymbols(elf) && connect();
}

bool KernelTarget::readSymbols(const std::string& elf) {
    std::string command = "arm-none-eabi-nm --defined-only \"" + elf + "\"";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return false;
    }
    char line[512];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        std::istringstream fields(line);
        std::string address, type, name;
        if (fields >> address >> type >> name) {
            symbols[name] = static_cast<std::uint32_t>(std::stoul(address, nullptr, 16));
        }
    }
    if (pclose(pipe) != 0 || symbols.empty()) {
        ADD_FAILURE() << "no symbols from " << command;
        return false;
    }
    return true;
}

bool KernelTarget::connect() {
    simServer = std::make_unique<targetsim::SimServer>(simTarget, targetsim::SimConfig());
    std::string error;
    if (!simServer->start(error)) {
        ADD_FAILURE() << "simulator does not start: " << error;
        return false;
    }
    auto socket = std::make_unique<ClientSocket>("127.0.0.1", simServer->getPort());
    if (socket->connect(2) != ClientSocket::CONNECT_OK) {
        ADD_FAILURE() << "cannot connect to the simulator";
        return false;
    }
    endpoint = std::make_unique<RspClient>(socket.release(), "GDB Server", ROLE_GDB_SERVER);
    // The simulator acknowledges until asked not to, as real servers do; drivers rely on quiet links.
    endpoint->sendCommand("QStartNoAckMode");
    std::string reply;
    for (int frames = 0; frames < 3 && reply != "OK"; ++frames) {
        endpoint->waitCommand(reply, 1000);
    }
    unsigned char ack = '+';
    endpoint->sendPacket(&ack, 1);
    if (reply != "OK") {
        ADD_FAILURE() << "simulator refused QStartNoAckMode";
        return false;
    }
    resetReads();
    return true;
}

void KernelTarget::addSymbols(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        auto found = symbols.find(name);
        if (found == symbols.end()) {
            continue;
        }
        std::ostringstream hex;
        hex << std::hex << found->second;
        SymbolTable::getInstance().addSymbol(Symbol(name, hex.str()));
    }
}

bool KernelTarget::resolveStructures(const std::vector<std::string>& names) {
    return SymbolTable::getInstance().resolveDataStructures(names);
}

std::uint32_t KernelTarget::symbolAddress(const std::string& name) const {
    auto found = symbols.find(name);
    return found == symbols.end() ? 0 : found->second;
}

unsigned KernelTarget::memoryReads() const {
    return static_cast<unsigned>(simTarget.getStats().memoryReads);
}

void KernelTarget::resetReads() {
    simTarget.resetStats();
}
