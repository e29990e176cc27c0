#include "target/TargetDescription.h"
#include "base/NumberCodec.h"

#include "rsp/RspUtil.h"

#include <algorithm>
#include <map>

namespace {

struct NamedRegister {
    const char* name;
    RegisterId id;
};

const NamedRegister kNamedRegisters[] = {
    {"r0", RegisterId::REG_R0},       {"r1", RegisterId::REG_R1},     {"r2", RegisterId::REG_R2},
    {"r3", RegisterId::REG_R3},       {"r4", RegisterId::REG_R4},     {"r5", RegisterId::REG_R5},
    {"r6", RegisterId::REG_R6},       {"r7", RegisterId::REG_R7},     {"r8", RegisterId::REG_R8},
    {"r9", RegisterId::REG_R9},       {"r10", RegisterId::REG_R10},   {"r11", RegisterId::REG_R11},
    {"r12", RegisterId::REG_R12},     {"sp", RegisterId::REG_SP},     {"lr", RegisterId::REG_LR},
    {"pc", RegisterId::REG_PC},       {"xpsr", RegisterId::REG_XPSR}, {"cpsr", RegisterId::REG_CPSR},
    {"fpscr", RegisterId::REG_FPSCR},
};

// s0..s31 follow each other in RegisterId; d0..d15 are the pairs of them, d16..d31 the pairs of the words
// from REG_D16_LOW on.
const unsigned int kSingles = 32;
const unsigned int kDoubles = 32;

RegisterId single(unsigned int n) {
    return static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_S0) + n);
}

RegisterId doubleWord(unsigned int n) {
    return n < kSingles
               ? single(n)
               : static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_D16_LOW) + n - kSingles);
}

const std::map<std::string, std::pair<RegisterId, RegisterId>>& wordsByName() {
    static const std::map<std::string, std::pair<RegisterId, RegisterId>> table = [] {
        std::map<std::string, std::pair<RegisterId, RegisterId>> words;
        for (const NamedRegister& named : kNamedRegisters) {
            words[named.name] = {named.id, RegisterId::REG_NONE};
        }
        for (unsigned int n = 0; n < kSingles; ++n) {
            words["s" + std::to_string(n)] = {single(n), RegisterId::REG_NONE};
        }
        for (unsigned int n = 0; n < kDoubles; ++n) {
            words["d" + std::to_string(n)] = {doubleWord(2 * n), doubleWord(2 * n + 1)};
        }
        return words;
    }();
    return table;
}

// The value of attribute key in the element text tag, in either quote; false if it has none.
bool attribute(const std::string& tag, const std::string& key, std::string& value) {
    for (std::string::size_type at = tag.find(key + "="); at != std::string::npos;
         at = tag.find(key + "=", at + 1)) {
        std::string::size_type open = at + key.size() + 1;
        bool wordStart = at > 0 && (tag[at - 1] == ' ' || tag[at - 1] == '\t' || tag[at - 1] == '\n');
        if (!wordStart || open >= tag.size() || (tag[open] != '"' && tag[open] != '\'')) {
            continue;
        }
        std::string::size_type close = tag.find(tag[open], open + 1);
        if (close == std::string::npos) {
            return false;
        }
        value = tag.substr(open + 1, close - open - 1);
        return true;
    }
    return false;
}

bool number(const std::string& tag, const std::string& key, unsigned int& value) {
    std::string text;
    return attribute(tag, key, text) && NumberCodec::toUINT32(text, 10, value);
}

} // namespace

bool TargetDescription::load(const std::string& xml) {
    registers.clear();
    unsigned int next = 0;
    for (std::string::size_type open = xml.find("<reg"); open != std::string::npos;
         open = xml.find("<reg", open + 1)) {
        std::string::size_type close = xml.find('>', open);
        if (close == std::string::npos) {
            break;
        }
        std::string tag = xml.substr(open, close - open + 1);
        Entry entry;
        if (tag.size() < 5 || (tag[4] != ' ' && tag[4] != '\t' && tag[4] != '\n') ||
            !attribute(tag, "name", entry.name)) {
            continue;
        }
        entry.number = next;
        number(tag, "regnum", entry.number);
        next = entry.number + 1;
        unsigned int bits = 32;
        number(tag, "bitsize", bits);
        entry.bytes = bits / 8;
        auto words = wordsByName().find(entry.name);
        if (words != wordsByName().end()) {
            entry.low = words->second.first;
            entry.high = words->second.second;
        }
        registers.push_back(entry);
    }
    std::stable_sort(registers.begin(), registers.end(),
                     [](const Entry& left, const Entry& right) { return left.number < right.number; });
    // A text read twice in one process holds each register twice; the first stands.
    registers.erase(
        std::unique(registers.begin(), registers.end(),
                    [](const Entry& left, const Entry& right) { return left.number == right.number; }),
        registers.end());
    return true;
}

bool TargetDescription::findRegister(unsigned int number, Entry& out) const {
    for (const Entry& entry : registers) {
        if (entry.number == number) {
            out = entry;
            return true;
        }
    }
    return false;
}

std::string TargetDescription::encode(const Entry& entry, const RegisterList& values) {
    const unsigned int wordBytes = entry.high == RegisterId::REG_NONE ? 4 : 8;
    unsigned int low = 0;
    unsigned int high = 0;
    if (entry.bytes != wordBytes || !values.getRegisterValue(entry.low, low) ||
        (entry.high != RegisterId::REG_NONE && !values.getRegisterValue(entry.high, high))) {
        return std::string(2 * entry.bytes, 'x');
    }
    std::string text = RspUtil::encodeRegisterValue(low);
    if (entry.high != RegisterId::REG_NONE) {
        text += RspUtil::encodeRegisterValue(high);
    }
    return text;
}

std::string TargetDescription::encodeAll(const RegisterList& values, unsigned int payloadBytes) const {
    std::string reply;
    for (const Entry& entry : registers) {
        if (reply.size() / 2 + entry.bytes > payloadBytes) {
            break;
        }
        reply += encode(entry, values);
    }
    // GDB expects the whole length of its description; what was not sent is unavailable.
    reply.append(2 * payloadBytes - reply.size(), 'x');
    return reply;
}
