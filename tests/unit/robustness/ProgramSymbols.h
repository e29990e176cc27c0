#ifndef TARNWICK_TESTS_UNIT_ROBUSTNESS_PROGRAMSYMBOLS_H
#define TARNWICK_TESTS_UNIT_ROBUSTNESS_PROGRAMSYMBOLS_H

#include "FakeRspPeer.h"
#include "base/NumberCodec.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>

// The symbols of one of our fixture programs, read by the real nm, and GDB's side of a symbol
// negotiation answered from them, as GDB answers from the ELF file it has loaded.
class ProgramSymbols {
public:
    explicit ProgramSymbols(const std::string& elf) {
        std::string command = "arm-none-eabi-nm --defined-only \"" + elf + "\"";
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) {
            ADD_FAILURE() << "cannot run " << command;
            return;
        }
        char line[512];
        while (fgets(line, sizeof(line), pipe) != nullptr) {
            std::istringstream fields(line);
            std::string value, type, name;
            if (fields >> value >> type >> name) {
                symbols[name] = static_cast<std::uint32_t>(std::stoul(value, nullptr, 16));
            }
        }
        EXPECT_EQ(0, pclose(pipe)) << command;
        EXPECT_FALSE(symbols.empty()) << command;
    }

    bool ok() const { return !symbols.empty(); }

    // The address of a symbol; fails the test if there is none.
    std::uint32_t address(const std::string& name) const {
        auto found = symbols.find(name);
        EXPECT_TRUE(found != symbols.end()) << "no symbol " << name;
        return found == symbols.end() ? 0 : found->second;
    }

    // GDB's answer to one "qSymbol:" request of the proxy.
    std::string reply(const std::string& request) const {
        std::string hexName = request.substr(std::string("qSymbol:").size());
        std::string name = NumberCodec::decodeHex(hexName, static_cast<unsigned int>(hexName.size()));
        auto found = symbols.find(name);
        if (found == symbols.end()) {
            return "qSymbol::" + hexName;
        }
        return "qSymbol:" + NumberCodec::toString(found->second, 16) + ":" + hexName;
    }

    // GDB offers "qSymbol::" and answers each request until the proxy closes with "OK", or, with a limit,
    // only so many requests; returns how many it answered.
    unsigned negotiate(FakeRspPeer& gdb, unsigned limit = ~0u) const {
        EXPECT_TRUE(gdb.sendPacket("qSymbol::"));
        unsigned answered = 0;
        while (answered < limit) {
            std::string request = gdb.nextPayload();
            if (request.compare(0, 8, "qSymbol:") != 0) {
                EXPECT_EQ("OK", request);
                break;
            }
            gdb.sendPacket(reply(request));
            ++answered;
        }
        return answered;
    }

private:
    std::map<std::string, std::uint32_t> symbols;
};

#endif
