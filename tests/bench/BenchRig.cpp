#include "BenchRig.h"

#include "BenchLink.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const int kStartMs = 10000;
const std::string kSimListening = "target_sim: listening on port ";

unsigned short freePort() {
    int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    unsigned short port = 0;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
        port = ntohs(address.sin_port);
    }
    ::close(probe);
    return port;
}

std::string hexNumber(unsigned int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

} // namespace

BenchRig::BenchRig(const std::string& newTarnwickPath, const std::string& newTargetSimPath)
    : tarnwickPath(newTarnwickPath), targetSimPath(newTargetSimPath) {
    char pattern[] = "/tmp/tarnwick-bench-XXXXXX";
    scratch = ::mkdtemp(pattern) != nullptr ? pattern : "/tmp";
}

BenchRig::~BenchRig() {
    // tarnwick first, so that it does not log the simulator's going as a failure of its own.
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        (*child)->stop();
    }
    children.clear();
    if (scratch != "/tmp" && std::getenv("TARNWICK_BENCH_KEEP") == nullptr) {
        std::system(("rm -rf '" + scratch + "'").c_str());
    }
}

unsigned short BenchRig::startTargetSim(const std::string& elf, const std::vector<std::string>& args) {
    std::vector<std::string> argv = {targetSimPath, "--port", "0"};
    argv.insert(argv.end(), args.begin(), args.end());
    argv.push_back(elf);
    std::string log = scratch + "/target_sim" + std::to_string(children.size()) + ".out";
    children.push_back(std::unique_ptr<BenchChild>(new BenchChild(argv, log)));
    BenchChild& sim = *children.back();
    if (!sim.waitForOutput(kSimListening, kStartMs)) {
        error = "the simulator did not listen: " + sim.describe();
        return 0;
    }
    std::string output = sim.output();
    return static_cast<unsigned short>(
        std::stoul(output.substr(output.find(kSimListening) + kSimListening.size())));
}

unsigned short BenchRig::startTarnwick(unsigned short serverPort, const std::vector<std::string>& args,
                                       const std::vector<std::string>& wrapper) {
    unsigned short port = freePort();
    std::vector<std::string> argv = wrapper;
    argv.insert(argv.end(), {tarnwickPath, "--server_connection", "127.0.0.1:" + std::to_string(serverPort),
                             "--port", std::to_string(port)});
    argv.insert(argv.end(), args.begin(), args.end());
    std::string log = scratch + "/tarnwick" + std::to_string(children.size()) + ".out";
    children.push_back(std::unique_ptr<BenchChild>(new BenchChild(argv, log)));
    tarnwickChild = children.back().get();
    if (!tarnwickChild->started()) {
        error = "tarnwick did not start: " + tarnwickChild->describe();
        return 0;
    }
    return port;
}

bool BenchRig::readSymbols(const std::string& elf, std::map<std::string, unsigned int>& symbols) {
    FILE* pipe = ::popen(("arm-none-eabi-nm '" + elf + "'").c_str(), "r");
    if (pipe == nullptr) {
        error = "arm-none-eabi-nm did not run";
        return false;
    }
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::istringstream fields(line);
        std::string address;
        std::string kind;
        std::string name;
        if (fields >> address >> kind >> name) {
            symbols[name] = static_cast<unsigned int>(std::stoul(address, nullptr, 16));
        }
    }
    ::pclose(pipe);
    if (symbols.empty()) {
        error = "no symbols in " + elf;
    }
    return !symbols.empty();
}

bool BenchRig::answerSymbols(BenchLink& link, const std::map<std::string, unsigned int>& symbols,
                             int& count) {
    const std::string request = "qSymbol:";
    std::string reply;
    count = 0;
    if (!link.exchange("qSymbol::", reply)) {
        return false;
    }
    while (reply.compare(0, request.size(), request) == 0) {
        std::string hexName = reply.substr(request.size());
        auto found = symbols.find(decodeHex(hexName));
        std::string address = found == symbols.end() ? "" : hexNumber(found->second);
        ++count;
        if (!link.exchange(request + address + ":" + hexName, reply)) {
            return false;
        }
    }
    return reply == "OK";
}

bool BenchRig::monitor(BenchLink& link, const std::string& command, std::string& output) {
    std::string reply;
    if (!link.exchange("qRcmd," + encodeHex(command), reply)) {
        return false;
    }
    output = reply == "OK" ? "" : decodeHex(reply);
    return true;
}

bool BenchRig::simulatorReads(BenchLink& link, unsigned long& reads) {
    std::string output;
    const std::string key = "m packets ";
    if (!monitor(link, "sim stats", output) || output.find(key) == std::string::npos) {
        return false;
    }
    reads = std::stoul(output.substr(output.find(key) + key.size()));
    return true;
}

unsigned long long BenchRig::callgrindInstructions(const std::string& path) {
    std::ifstream in(path);
    unsigned long long total = 0;
    for (std::string line; std::getline(in, line);) {
        for (const std::string key : {"summary: ", "totals: "}) {
            if (line.compare(0, key.size(), key) == 0) {
                total = std::stoull(line.substr(key.size()));
            }
        }
    }
    return total;
}

std::string BenchRig::encodeHex(const std::string& text) {
    static const char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char byte : text) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 0x0f];
    }
    return hex;
}

std::string BenchRig::decodeHex(const std::string& hex) {
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        text += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return text;
}
