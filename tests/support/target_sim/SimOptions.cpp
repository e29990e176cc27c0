#include "target_sim/SimOptions.h"

#include "target_sim/ElfImage.h"
#include "target_sim/SimHex.h"

#include <cstdio>
#include <fstream>
#include <iterator>

namespace targetsim {

namespace {
// Options that stand alone, and options that take a value as "--name VALUE" or "--name=VALUE".
const char* const kFlags[] = {"--a-profile", "--once", "--ack-mode", "--stats", "--threads-xfer",
                              "--verbose",   "-v",     "--help",     "-h"};
const char* const kValued[] = {"--elf",         "--ram",        "--load",        "--error-range",
                               "--reg",         "--regs-file",  "--port",        "--read-delay-ms",
                               "--close-after", "--stop-reply", "--packet-size", "--xfer-chunk"};

template <std::size_t N> bool isOneOf(const std::string& name, const char* const (&names)[N]) {
    for (const char* known : names) {
        if (name == known)
            return true;
    }
    return false;
}

bool isFlag(const std::string& name) {
    return isOneOf(name, kFlags);
}

bool parseUnsigned(const std::string& text, unsigned& value) {
    std::uint32_t number = 0;
    if (!SimHex::parseNumber(text, number))
        return false;
    value = number;
    return true;
}

// "A:B" split at the first ':'; false if there is none.
bool splitPair(const std::string& text, std::string& first, std::string& second) {
    std::size_t colon = text.find(':');
    if (colon == std::string::npos)
        return false;
    first = text.substr(0, colon);
    second = text.substr(colon + 1);
    return true;
}

std::string trim(const std::string& text) {
    std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string hexAddress(std::uint32_t address) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", address);
    return text;
}

// "NAME=VALUE", blanks around either allowed.
bool parseRegister(const std::string& text, std::pair<std::string, std::uint32_t>& entry) {
    std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    entry.first = trim(text.substr(0, equals));
    return !entry.first.empty() && SimHex::parseNumber(trim(text.substr(equals + 1)), entry.second);
}

} // namespace

std::string SimOptions::usage() {
    return "usage: target_sim [options] [ELF]\n"
           "RSP server of a simulated Arm Cortex core that serves the memory of an ELF file.\n"
           "  --elf FILE                32-bit little-endian Arm ELF; PT_LOAD segments at their p_vaddr\n"
           "  --ram ADDR:SIZE           zeroed writable memory (repeatable)\n"
           "  --load ADDR:FILE          raw bytes of FILE laid at ADDR, over the ELF and RAM (repeatable)\n"
           "  --error-range ADDR:LEN[:REPLY]  m and M touching the range answer REPLY, default E01 "
           "(repeatable)\n"
           "  --reg NAME=VALUE          register value: r0..r12, sp, lr, pc, xpsr/cpsr (repeatable)\n"
           "  --regs-file FILE          lines NAME=VALUE; '#' starts a comment\n"
           "  --a-profile               Cortex-A core: feature org.gnu.gdb.arm.core, cpsr\n"
           "  --port N                  listening port on 127.0.0.1; 0 (default) picks a free one\n"
           "  --once                    exit after the first connection\n"
           "  --read-delay-ms N         sleep N ms before each m reply\n"
           "  --close-after N           close the connection after answering N packets\n"
           "  --ack-mode                keep acknowledgements: QStartNoAckMode is not offered\n"
           "  --stop-reply PAYLOAD      payload of every stop reply (default T05thread:1;)\n"
           "  --packet-size N           PacketSize offered in qSupported (default 0x4000)\n"
           "  --xfer-chunk N            at most N characters per qXfer reply\n"
           "  --threads-xfer            offer qXfer:threads:read in qSupported (the proxy answers it)\n"
           "  --stats                   print the packet counters after each connection\n"
           "  -v, --verbose             log every packet to stderr\n"
           "Numbers are decimal or 0x-prefixed hexadecimal. Prints \"target_sim: listening on port N\" when "
           "ready.\n"
           "monitor sim stats: the counters; monitor sim reset-stats: zeroes them.\n";
}

bool SimOptions::parse(const std::vector<std::string>& args, std::string& error) {
    for (std::size_t i = 0; i < args.size(); i++) {
        std::string name = args[i];
        std::string value;
        std::size_t equals = name.find('=');
        bool inlineValue = name.rfind("--", 0) == 0 && equals != std::string::npos;
        if (inlineValue) {
            value = name.substr(equals + 1);
            name = name.substr(0, equals);
        }
        if (name.empty() || name[0] != '-') {
            if (!elfPath.empty()) {
                error = "more than one ELF file: " + name;
                return false;
            }
            elfPath = name;
            continue;
        }
        if (!isFlag(name) && !isOneOf(name, kValued)) {
            error = "unknown option " + name;
            return false;
        }
        if (isFlag(name) && inlineValue) {
            error = name + " takes no value";
            return false;
        }
        if (!isFlag(name) && !inlineValue) {
            if (i + 1 >= args.size()) {
                error = name + " needs a value";
                return false;
            }
            value = args[++i];
        }
        if (!parseOption(name, value, error))
            return false;
    }
    return true;
}

bool SimOptions::parseOption(const std::string& name, const std::string& value, std::string& error) {
    std::string first;
    std::string second;
    bool valid = true;
    if (name == "--a-profile") {
        profile = Profile::A;
    } else if (name == "--once") {
        config.once = true;
    } else if (name == "--ack-mode") {
        config.keepAckMode = true;
    } else if (name == "--threads-xfer") {
        config.offerThreadsXfer = true;
    } else if (name == "--stats") {
        config.printStats = true;
    } else if (name == "--verbose" || name == "-v") {
        config.verbose = true;
    } else if (name == "--help" || name == "-h") {
        showHelp = true;
    } else if (name == "--elf") {
        elfPath = value;
    } else if (name == "--regs-file") {
        registersFile = value;
    } else if (name == "--stop-reply") {
        config.stopReply = value;
    } else if (name == "--port") {
        std::uint32_t port = 0;
        valid = SimHex::parseNumber(value, port) && port <= 0xFFFF;
        config.port = static_cast<std::uint16_t>(port);
    } else if (name == "--read-delay-ms") {
        valid = parseUnsigned(value, config.readDelayMs);
    } else if (name == "--close-after") {
        valid = parseUnsigned(value, config.closeAfterPackets);
    } else if (name == "--packet-size") {
        valid = parseUnsigned(value, config.packetSize) && config.packetSize >= 64;
    } else if (name == "--xfer-chunk") {
        valid = parseUnsigned(value, config.xferChunk);
    } else if (name == "--ram") {
        Range range;
        valid = splitPair(value, first, second) && SimHex::parseNumber(first, range.address) &&
                SimHex::parseNumber(second, range.size);
        ram.push_back(range);
    } else if (name == "--load") {
        Image image;
        valid = splitPair(value, first, image.path) && SimHex::parseNumber(first, image.address) &&
                !image.path.empty();
        images.push_back(image);
    } else if (name == "--error-range") {
        ErrorRange range;
        std::string length;
        valid = splitPair(value, first, second) && SimHex::parseNumber(first, range.address);
        if (valid && splitPair(second, length, range.reply))
            second = length;
        valid = valid && SimHex::parseNumber(second, range.length) && !range.reply.empty();
        errorRanges.push_back(range);
    } else if (name == "--reg") {
        std::pair<std::string, std::uint32_t> entry;
        valid = parseRegister(value, entry);
        registers.push_back(entry);
    } else {
        error = "unknown option " + name;
        return false;
    }
    if (!valid)
        error = "invalid value for " + name + ": " + value;
    return valid;
}

bool SimOptions::buildTarget(SimTarget& target, std::string& error) const {
    if (!elfPath.empty()) {
        ElfImage image;
        if (!image.load(elfPath, error))
            return false;
        if (!target.loadElf(image)) {
            error = elfPath + ": a segment cannot be mapped";
            return false;
        }
    }
    for (const Range& range : ram) {
        if (!target.mapRam(range.address, range.size)) {
            error = "cannot map RAM at " + hexAddress(range.address);
            return false;
        }
    }
    for (const Image& image : images) {
        std::ifstream in(image.path, std::ios::binary);
        if (!in) {
            error = "cannot open " + image.path;
            return false;
        }
        std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                        std::istreambuf_iterator<char>());
        if (!target.loadMemory(image.address, bytes)) {
            error = "cannot load " + image.path + " at " + hexAddress(image.address);
            return false;
        }
    }
    for (const ErrorRange& range : errorRanges)
        target.addErrorRange(range);
    std::vector<std::pair<std::string, std::uint32_t>> values;
    if (!registersFile.empty()) {
        std::ifstream in(registersFile);
        if (!in) {
            error = "cannot open " + registersFile;
            return false;
        }
        std::string line;
        for (int number = 1; std::getline(in, line); number++) {
            line = trim(line.substr(0, line.find('#')));
            std::pair<std::string, std::uint32_t> entry;
            if (line.empty())
                continue;
            if (!parseRegister(line, entry)) {
                error = registersFile + ":" + std::to_string(number) + ": expected NAME=VALUE";
                return false;
            }
            values.push_back(entry);
        }
    }
    values.insert(values.end(), registers.begin(), registers.end());
    for (const auto& entry : values) {
        if (!target.setRegister(entry.first, entry.second)) {
            error = "unknown register " + entry.first;
            return false;
        }
    }
    return true;
}

} // namespace targetsim
