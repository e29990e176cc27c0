#include "FuzzKernel.h"

#include "TestPaths.h"
#include "base/Properties.h"
#include "debuginfo/Symbol.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/ClientSocket.h"
#include "target_sim/ElfImage.h"
#include "target_sim/SimSession.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace {

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "FuzzKernel: %s\n", why.c_str());
    std::exit(2);
}

} // namespace

FuzzKernel::FuzzKernel(const std::string& program, const std::vector<std::string>& symbols,
                       const std::vector<std::string>& structures)
    : memory(kRamBase, kReadBudget, kLongestReply) {
    setUp(testpaths::fixturesDir() + "/" + program, symbols, structures);
    target.useMemorySource(memory);
    connect();
}

FuzzKernel::~FuzzKernel() {
    disconnect();
    if (!scratch.empty()) {
        std::filesystem::remove_all(scratch);
    }
}

void FuzzKernel::setUp(const std::string& elf, const std::vector<std::string>& symbols,
                       const std::vector<std::string>& structures) {
    char pattern[] = "/tmp/tarnwick_fuzz_XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        giveUp("no scratch folder");
    }
    scratch = pattern;
    Properties& properties = Properties::getInstance();
    properties.addProperty("--file", elf);
    properties.addProperty("--debug_info_cache", scratch + "/program.proxy_cache");
    properties.addProperty("--debug_info_tool", "arm-none-eabi-readelf");
    SymbolTable& table = SymbolTable::getInstance();
    if (!table.generateDebugInfo() || !table.resolveDataStructures(structures)) {
        // Programs without some kind of object lack its structure; the walks cope with that.
        StructInfo probe;
        if (structures.empty() || !table.lookupStruct(structures.front(), probe)) {
            giveUp("no layouts from " + elf);
        }
    }
    targetsim::ElfImage image;
    std::string error;
    if (!image.load(elf, error)) {
        giveUp("cannot load " + elf + ": " + error);
    }
    for (const targetsim::ElfSegment& segment : image.getSegments()) {
        std::vector<std::uint8_t> bytes = segment.bytes;
        bytes.resize(segment.memorySize, 0);
        if (segment.address < kRamBase) {
            memory.addFixed(segment.address, bytes);
            continue;
        }
        std::size_t offset = segment.address - kRamBase;
        if (ram.size() < offset + bytes.size()) {
            ram.resize(offset + bytes.size(), 0);
        }
        std::copy(bytes.begin(), bytes.end(), ram.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    readSymbols(elf);
    for (const std::string& name : symbols) {
        auto found = programSymbols.find(name);
        if (found != programSymbols.end()) {
            std::ostringstream hex;
            hex << std::hex << found->second;
            table.addSymbol(Symbol(name, hex.str()));
        }
    }
}

void FuzzKernel::readSymbols(const std::string& elf) {
    std::string command = "arm-none-eabi-nm --defined-only \"" + elf + "\"";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        giveUp("cannot run " + command);
    }
    char line[512];
    while (std::fgets(line, sizeof(line), pipe) != nullptr) {
        std::istringstream fields(line);
        std::string address, type, name;
        if (fields >> address >> type >> name) {
            programSymbols[name] = static_cast<std::uint32_t>(std::stoul(address, nullptr, 16));
        }
    }
    if (pclose(pipe) != 0 || programSymbols.empty()) {
        giveUp("no symbols from " + command);
    }
}

void FuzzKernel::connect() {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) {
        giveUp("no socket pair");
    }
    sessionSocket = pair[1];
    stopSession = false;
    session = std::thread([this] {
        targetsim::SimSession(sessionSocket, target, config, stopSession).run();
        // The session ends on k or D as a server does: the proxy's side then reads the end at once.
        ::shutdown(sessionSocket, SHUT_RDWR);
    });
    endpoint = std::make_unique<RspClient>(new ClientSocket(pair[0]), "GDB Server", ROLE_GDB_SERVER);
    // The simulator acknowledges until asked not to, as real servers do; the drivers rely on quiet links.
    std::string reply;
    endpoint->sendCommand("QStartNoAckMode");
    for (int frames = 0; frames < 3 && reply != "OK"; ++frames) {
        endpoint->waitCommand(reply, 1000);
    }
    unsigned char ack = '+';
    endpoint->sendPacket(&ack, 1);
    if (reply != "OK") {
        giveUp("the simulator refused QStartNoAckMode");
    }
}

void FuzzKernel::disconnect() {
    endpoint.reset();
    stopSession = true;
    if (session.joinable()) {
        session.join();
    }
    if (sessionSocket >= 0) {
        ::close(sessionSocket);
        sessionSocket = -1;
    }
}

bool FuzzKernel::clean() {
    return endpoint->getReceiveBuffer().getLength() == 0 && endpoint->getClientSocket()->waitData(0) == 0;
}

void FuzzKernel::serve(const std::uint8_t* data, std::size_t size) {
    // Every input starts from the same state, or a crash would not replay from its input alone.
    if (!clean()) {
        disconnect();
        connect();
    }
    memory.assign(data, size);
}

std::uint32_t FuzzKernel::symbolAddress(const std::string& name) const {
    auto found = programSymbols.find(name);
    return found == programSymbols.end() ? 0 : found->second;
}
