#include "target_sim/SimSession.h"

#include "target_sim/SimHex.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace targetsim {

namespace {
const int kPollMs = 100;
const char kError[] = "E01";
// A frame longer than this is not GDB talking: the connection is dropped rather than buffered without end.
const std::size_t kMaxFrame = 1 << 20;

// "ADDR,LEN" as in m, M, Z0 and qXfer; rest gets what follows LEN (":data", ",kind").
bool parseAddressLength(const std::string& text, std::uint32_t& address, std::uint32_t& length,
                        std::string& rest) {
    std::size_t comma = text.find(',');
    if (comma == std::string::npos)
        return false;
    std::size_t end = text.find_first_of(":,;", comma + 1);
    rest = end == std::string::npos ? "" : text.substr(end);
    return SimHex::parseHex(text.substr(0, comma), address) &&
           SimHex::parseHex(text.substr(comma + 1, end == std::string::npos ? end : end - comma - 1), length);
}

std::uint8_t checksum(const std::string& payload) {
    unsigned sum = 0;
    for (char c : payload)
        sum += static_cast<std::uint8_t>(c);
    return static_cast<std::uint8_t>(sum);
}
} // namespace

// Walked in order; the first row whose prefix matches (exactly, where exact is set) answers.
const SimSession::PacketHandler SimSession::kHandlers[] = {
    {"?", true, &SimSession::answer_stopReason, nullptr},
    {"qSupported", false, &SimSession::answer_qSupported, nullptr},
    {"QStartNoAckMode", true, &SimSession::answer_QStartNoAckMode, nullptr},
    {"qXfer:features:read:", false, &SimSession::answer_qXferfeaturesread, nullptr},
    {"qSymbol:", false, nullptr, "OK"},
    {"qAttached", false, nullptr, "1"},
    {"qC", true, nullptr, "QC1"},
    {"qfThreadInfo", true, nullptr, "m1"},
    {"qsThreadInfo", true, nullptr, "l"},
    {"qRcmd,", false, &SimSession::answer_qRcmd, nullptr},
    {"vCont?", true, nullptr, "vCont;c;C;s;S"},
    {"vCont;", false, &SimSession::answer_vCont, nullptr},
    {"g", true, &SimSession::answer_g, nullptr},
    {"G", false, &SimSession::answer_G, nullptr},
    {"p", false, &SimSession::answer_p, nullptr},
    {"P", false, &SimSession::answer_P, nullptr},
    {"m", false, &SimSession::answer_m, nullptr},
    {"M", false, &SimSession::answer_M, nullptr},
    {"c", false, &SimSession::answer_c, nullptr},
    {"C", false, &SimSession::answer_c, nullptr},
    {"s", false, &SimSession::answer_s, nullptr},
    {"S", false, &SimSession::answer_s, nullptr},
    {"Z0,", false, &SimSession::answer_Z0, nullptr},
    {"z0,", false, &SimSession::answer_z0, nullptr},
    {"k", true, &SimSession::answer_k, nullptr},
    {"D", false, &SimSession::answer_D, nullptr},
    {"H", false, &SimSession::answer_H, nullptr},
    {"T", false, &SimSession::answer_T, nullptr},
};

SimSession::SimSession(int newSocket, SimTarget& newTarget, const SimConfig& newConfig,
                       const std::atomic<bool>& newStop)
    : socket(newSocket), target(newTarget), config(newConfig), stopRequested(newStop) {}

void SimSession::run() {
    char chunk[4096];
    while (!stopRequested) {
        pollfd entry{socket, POLLIN, 0};
        int ready = ::poll(&entry, 1, kPollMs);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return;
        if (ready == 0)
            continue;
        ssize_t got = ::recv(socket, chunk, sizeof chunk, 0);
        if (got <= 0)
            return;
        received.append(chunk, static_cast<std::size_t>(got));
        if (!drainFrames())
            return;
    }
}

bool SimSession::drainFrames() {
    for (;;) {
        std::size_t start = received.find_first_of("$+-\x03");
        if (start == std::string::npos) {
            received.clear();
            return true;
        }
        char first = received[start];
        if (first != '$') {
            received.erase(0, start + 1);
            if (first == '-' && !lastFrame.empty() && !sendRaw(lastFrame))
                return false;
            if (first == '\x03')
                log("<-", "\\x03 (nothing runs; ignored)");
            continue;
        }
        std::size_t hash = received.find('#', start);
        if (hash == std::string::npos || hash + 2 >= received.size()) {
            received.erase(0, start);
            if (received.size() <= kMaxFrame)
                return true;
            log("--", "frame longer than " + std::to_string(kMaxFrame) + " bytes; closing");
            return false;
        }
        std::string payload = received.substr(start + 1, hash - start - 1);
        std::uint32_t sent = 0;
        bool valid = SimHex::parseHex(received.substr(hash + 1, 2), sent) && sent == checksum(payload);
        received.erase(0, hash + 3);
        if (ackMode && !sendRaw(valid ? "+" : "-"))
            return false;
        if (!valid) {
            log("<-", "bad checksum: " + payload);
            continue;
        }
        if (!handleFrame(payload))
            return false;
    }
}

bool SimSession::handleFrame(const std::string& payload) {
    log("<-", payload);
    target.countPacket();
    Outcome outcome = answer(payload);
    if (outcome.replies && !sendFrame(outcome.reply))
        return false;
    packetsAnswered++;
    if (config.closeAfterPackets != 0 && packetsAnswered >= config.closeAfterPackets) {
        log("--", "closing after " + std::to_string(packetsAnswered) + " packets");
        return false;
    }
    return !outcome.closes;
}

SimSession::Outcome SimSession::answer(const std::string& payload) {
    for (const PacketHandler& handler : kHandlers) {
        bool matches = handler.exact ? payload == handler.prefix : payload.rfind(handler.prefix, 0) == 0;
        if (!matches)
            continue;
        if (handler.handle == nullptr)
            return Outcome{handler.fixedReply};
        return (this->*handler.handle)(payload);
    }
    return Outcome{""};
}

bool SimSession::sendFrame(const std::string& payload) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", checksum(payload));
    lastFrame = "$" + payload + "#" + digits;
    log("->", payload);
    return sendRaw(lastFrame);
}

bool SimSession::sendRaw(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t sent = ::send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        done += static_cast<std::size_t>(sent);
    }
    return true;
}

void SimSession::log(const char* direction, const std::string& text) const {
    if (config.verbose)
        std::fprintf(stderr, "target_sim %s %s\n", direction, text.c_str());
}

SimSession::Outcome SimSession::answer_stopReason(const std::string&) {
    return Outcome{config.stopReply};
}

SimSession::Outcome SimSession::answer_qSupported(const std::string&) {
    char reply[128];
    std::snprintf(reply, sizeof reply, "PacketSize=%x;%sqXfer:features:read+%s", config.packetSize,
                  config.keepAckMode ? "" : "QStartNoAckMode+;",
                  config.offerThreadsXfer ? ";qXfer:threads:read+" : "");
    return Outcome{reply};
}

SimSession::Outcome SimSession::answer_QStartNoAckMode(const std::string&) {
    if (config.keepAckMode)
        return Outcome{""};
    // The OK itself still travels in acknowledgement mode; GDB's '+' for it is skipped as a stray byte.
    ackMode = false;
    return Outcome{"OK"};
}

SimSession::Outcome SimSession::answer_qXferfeaturesread(const std::string& payload) {
    static const std::string kAnnex = "qXfer:features:read:target.xml:";
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    std::string rest;
    if (payload.rfind(kAnnex, 0) != 0)
        return Outcome{"E00"};
    if (!parseAddressLength(payload.substr(kAnnex.size()), offset, length, rest) || !rest.empty())
        return Outcome{"E01"};
    std::string xml = target.targetXml();
    if (config.xferChunk != 0 && length > config.xferChunk)
        length = config.xferChunk;
    if (offset >= xml.size())
        return Outcome{"l"};
    std::string chunk = xml.substr(offset, length);
    return Outcome{(offset + chunk.size() >= xml.size() ? "l" : "m") + chunk};
}

SimSession::Outcome SimSession::answer_qRcmd(const std::string& payload) {
    std::vector<std::uint8_t> bytes;
    if (!SimHex::decode(payload.substr(6), bytes))
        return Outcome{kError};
    std::string command(bytes.begin(), bytes.end());
    if (command == "sim stats") {
        SimStats stats = target.getStats();
        return Outcome{SimHex::encodeText("packets " + std::to_string(stats.packets) + ", m packets " +
                                          std::to_string(stats.memoryReads) + ", m bytes " +
                                          std::to_string(stats.memoryReadBytes) + "\n")};
    }
    if (command == "sim reset-stats") {
        target.resetStats();
        return Outcome{"OK"};
    }
    return Outcome{SimHex::encodeText("target_sim: unknown monitor command: " + command + "\n")};
}

SimSession::Outcome SimSession::answer_vCont(const std::string& payload) {
    // One thread only: the first action decides, whatever thread it names.
    char action = payload.size() > 6 ? payload[6] : '\0';
    if (action == 'c' || action == 'C')
        return answer_c("c");
    if (action == 's' || action == 'S')
        return answer_s("s");
    return Outcome{kError};
}

SimSession::Outcome SimSession::answer_g(const std::string&) {
    return Outcome{target.readRegisters()};
}

SimSession::Outcome SimSession::answer_G(const std::string& payload) {
    return Outcome{target.writeRegisters(payload.substr(1))};
}

SimSession::Outcome SimSession::answer_p(const std::string& payload) {
    std::uint32_t number = 0;
    if (!SimHex::parseHex(payload.substr(1), number))
        return Outcome{kError};
    return Outcome{target.readRegister(number)};
}

SimSession::Outcome SimSession::answer_P(const std::string& payload) {
    std::size_t equals = payload.find('=');
    std::uint32_t number = 0;
    if (equals == std::string::npos || !SimHex::parseHex(payload.substr(1, equals - 1), number))
        return Outcome{kError};
    return Outcome{target.writeRegister(number, payload.substr(equals + 1))};
}

SimSession::Outcome SimSession::answer_m(const std::string& payload) {
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::string rest;
    if (!parseAddressLength(payload.substr(1), address, length, rest) || !rest.empty())
        return Outcome{kError};
    // Like gdbserver, a reply stays within the packet size offered: two digits per byte.
    length = std::min(length, config.packetSize / 2);
    if (config.readDelayMs != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(config.readDelayMs));
    return Outcome{target.readMemory(address, length)};
}

SimSession::Outcome SimSession::answer_M(const std::string& payload) {
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::string rest;
    std::vector<std::uint8_t> bytes;
    if (!parseAddressLength(payload.substr(1), address, length, rest) || rest.empty() || rest[0] != ':' ||
        !SimHex::decode(rest.substr(1), bytes) || bytes.size() != length)
        return Outcome{kError};
    return Outcome{target.writeMemory(address, bytes)};
}

SimSession::Outcome SimSession::answer_c(const std::string& payload) {
    // "cADDR" and "Csig;ADDR" resume at ADDR first.
    std::size_t semicolon = payload.find(';');
    std::string address = payload[0] == 'C'
                              ? (semicolon == std::string::npos ? "" : payload.substr(semicolon + 1))
                              : payload.substr(1);
    std::uint32_t pc = 0;
    if (!address.empty() && SimHex::parseHex(address, pc))
        target.setRegister("pc", pc);
    target.resume();
    return Outcome{config.stopReply};
}

SimSession::Outcome SimSession::answer_s(const std::string& payload) {
    std::size_t semicolon = payload.find(';');
    std::string address = payload[0] == 'S'
                              ? (semicolon == std::string::npos ? "" : payload.substr(semicolon + 1))
                              : payload.substr(1);
    std::uint32_t pc = 0;
    if (!address.empty() && SimHex::parseHex(address, pc))
        target.setRegister("pc", pc);
    target.step();
    return Outcome{config.stopReply};
}

SimSession::Outcome SimSession::answer_Z0(const std::string& payload) {
    std::uint32_t address = 0;
    std::uint32_t kind = 0;
    std::string rest;
    if (!parseAddressLength(payload.substr(3), address, kind, rest))
        return Outcome{kError};
    target.insertBreakpoint(address);
    return Outcome{"OK"};
}

SimSession::Outcome SimSession::answer_z0(const std::string& payload) {
    std::uint32_t address = 0;
    std::uint32_t kind = 0;
    std::string rest;
    if (!parseAddressLength(payload.substr(3), address, kind, rest))
        return Outcome{kError};
    target.removeBreakpoint(address);
    return Outcome{"OK"};
}

SimSession::Outcome SimSession::answer_k(const std::string&) {
    Outcome outcome;
    outcome.replies = false;
    outcome.closes = true;
    return outcome;
}

SimSession::Outcome SimSession::answer_D(const std::string&) {
    Outcome outcome{"OK"};
    outcome.closes = true;
    return outcome;
}

SimSession::Outcome SimSession::answer_H(const std::string& payload) {
    // Any thread GDB may name on a one-thread server: all (-1), any (0), or the one thread.
    std::string thread = payload.size() > 2 ? payload.substr(2) : "";
    if (payload.size() < 2 || (thread != "-1" && thread != "0" && thread != "1"))
        return Outcome{kError};
    return Outcome{"OK"};
}

SimSession::Outcome SimSession::answer_T(const std::string& payload) {
    return Outcome{payload == "T1" ? "OK" : kError};
}

} // namespace targetsim
