#ifndef TARNWICK_TESTS_UNIT_ROBUSTNESS_ROBUSTNESSSTEPS_H
#define TARNWICK_TESTS_UNIT_ROBUSTNESS_ROBUSTNESSSTEPS_H

#include "FaultyServer.h"
#include "base/NumberCodec.h"
#include "RspFrame.h"
#include "rsp/RspUtil.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

// Small steps the robustness tests share.
namespace robustness {

inline std::string faultName(FaultyServer::Fault fault) {
    switch (fault) {
    case FaultyServer::Fault::Error:
        return "Error";
    case FaultyServer::Fault::Short:
        return "Short";
    case FaultyServer::Fault::Late:
        return "Late";
    case FaultyServer::Fault::Silent:
        return "Silent";
    case FaultyServer::Fault::Oversize:
        return "Oversize";
    case FaultyServer::Fault::Close:
        return "Close";
    }
    return "Unknown";
}

// The request of a 4-byte read, as the drivers send it.
inline std::string wordRead(std::uint32_t address) {
    return RspUtil::createCommand_m(address, 4);
}

// The word at address, as the fault-free server holds it.
inline std::uint32_t wordAt(FaultyServer& target, std::uint32_t address) {
    std::vector<unsigned char> bytes;
    EXPECT_TRUE(RspUtil::parseReply_m(target.plainAnswer(wordRead(address)), bytes) && bytes.size() == 4);
    return bytes.size() == 4 ? NumberCodec::toUINT32(bytes.data()) : 0;
}

// A thread id as the proxy writes it.
inline std::string hexId(std::uint32_t id) {
    return NumberCodec::toString(id, 16);
}

// The tree form of a "state" output without one of its sections (a line " label:" and the deeper lines
// behind it).
inline std::string withoutSection(const std::string& tree, const std::string& label) {
    std::istringstream lines(tree);
    std::string line;
    std::string kept;
    bool skipping = false;
    while (std::getline(lines, line)) {
        bool section = line.size() > 1 && line[0] == ' ' && line[1] != ' ';
        if (section) {
            skipping = line == " " + label + ":";
        } else if (line.empty() || line[0] != ' ') {
            // The root's line, or the line end of the monitor reply behind the tree.
            skipping = false;
        }
        if (!skipping) {
            kept += line + "\n";
        }
    }
    return kept;
}

} // namespace robustness

#endif
