#include "rsp/RspUtil.h"

#include "base/NumberCodec.h"
#include "base/StringUtil.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {

const char kHexDigits[] = "0123456789abcdef";

// A hexadecimal field that must be used whole; value is written only then.
// Whole bytes of hexadecimal digits, at least one.
bool isHexBytes(const std::string& text) {
    return !text.empty() && text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool parseHex(const std::string& text, unsigned int& value) {
    unsigned int parsed = 0;
    if (!NumberCodec::toUINT32(text, 16, parsed)) {
        return false;
    }
    value = parsed;
    return true;
}

} // namespace

std::string RspUtil::encodeRegisterValue(unsigned int value) {
    std::string digits;
    for (unsigned int byte = 0; byte < 4; ++byte) {
        unsigned int bits = (value >> (8 * byte)) & 0xff;
        digits += kHexDigits[bits >> 4];
        digits += kHexDigits[bits & 0xf];
    }
    return digits;
}

std::string RspUtil::createReply_OK() {
    return "OK";
}

std::string RspUtil::createReply_Empty() {
    return "";
}

std::string RspUtil::createReply_Error(unsigned int code) {
    std::ostringstream reply;
    reply << "E" << std::hex << std::setfill('0') << std::setw(2) << code;
    return reply.str();
}

std::string RspUtil::createReply_qC(unsigned int thread) {
    return "QC" + NumberCodec::toString(thread, 16);
}

std::string RspUtil::createReply_qSymbol(const std::string& name) {
    return "qSymbol:" + NumberCodec::encodeHex(name);
}

std::string RspUtil::createReply_qRcmd(const std::string& text) {
    if (text.empty()) {
        return createReply_OK();
    }
    return NumberCodec::encodeHex(text + "\n");
}

std::string RspUtil::createReply_qXferthreadsread(const std::string& document, unsigned int offset,
                                                  unsigned int length) {
    if (offset >= document.size()) {
        return "l";
    }
    std::string piece = document.substr(offset, length);
    return (offset + piece.size() < document.size() ? "m" : "l") + escapeBinary(piece);
}

std::string RspUtil::escapeBinary(const std::string& data) {
    const char kEscape = '}';
    std::string escaped;
    escaped.reserve(data.size());
    for (char c : data) {
        if (c == '#' || c == '$' || c == kEscape || c == '*') {
            escaped += kEscape;
            c = static_cast<char>(c ^ 0x20);
        }
        escaped += c;
    }
    return escaped;
}

std::string RspUtil::createReply_qfThreadInfo(const std::vector<unsigned int>& threads) {
    if (threads.empty()) {
        return "l";
    }
    std::string reply = "m";
    for (std::size_t i = 0; i < threads.size(); ++i) {
        if (i > 0) {
            reply += ",";
        }
        reply += NumberCodec::toString(threads[i], 16);
    }
    return reply;
}

std::string RspUtil::createReply_qThreadExtraInfo(const std::string& name, bool running) {
    std::string info = name;
    if (running) {
        info += " RUNNING";
    }
    return NumberCodec::encodeHex(info);
}

std::string RspUtil::createCommand_m(const std::string& addressHex, unsigned int length) {
    return "m" + addressHex + "," + NumberCodec::toString(length, 16);
}

std::string RspUtil::createCommand_qXferfeaturesread(const std::string& annex, unsigned int offset,
                                                     unsigned int length) {
    return "qXfer:features:read:" + annex + ":" + NumberCodec::toString(offset, 16) + "," + NumberCodec::toString(length, 16);
}

std::string RspUtil::createCommand_m(unsigned int address, unsigned int length) {
    return createCommand_m(NumberCodec::toString(address, 16), length);
}

std::string RspUtil::createCommand_M(unsigned int address, const std::string& dataHex) {
    return "M" + NumberCodec::toString(address, 16) + "," + NumberCodec::toString(static_cast<unsigned int>(dataHex.size() / 2), 16) +
           ":" + dataHex;
}

std::string RspUtil::createCommand_stopReply(unsigned int thread, unsigned int signal) {
    std::ostringstream reply;
    reply << "T" << std::hex << std::setfill('0') << std::setw(2) << signal << "thread:" << thread << ";";
    return reply.str();
}

std::string RspUtil::createCommand_stopReply(const std::string& serverReply, unsigned int thread) {
    const std::string threadField = "thread:" + NumberCodec::toString(thread, 16) + ";";
    const std::string fields = serverReply.compare(0, 1, "T") == 0 ? serverReply.substr(3) : "";
    std::string kept;
    bool replaced = false;
    for (std::string::size_type position = 0; position < fields.size();) {
        std::string::size_type end = fields.find(';', position);
        std::string::size_type next = end == std::string::npos ? fields.size() : end + 1;
        std::string field = fields.substr(position, next - position);
        if (field.compare(0, 7, "thread:") != 0) {
            kept += field;
        } else if (!replaced) {
            kept += threadField;
            replaced = true;
        }
        position = next;
    }
    return "T" + serverReply.substr(1, 2) + (replaced ? kept : threadField + kept);
}

std::string RspUtil::createNotification_stopReply(unsigned int thread, unsigned int signal) {
    return "Stop:" + createCommand_stopReply(thread, signal);
}

bool RspUtil::parseCommand_qC(const std::string& command) {
    return command == "qC";
}

bool RspUtil::parseCommand_k(const std::string& command) {
    return command == "k";
}

bool RspUtil::parseCommand_qSymbol(const std::string& command) {
    return command == "qSymbol::";
}

bool RspUtil::parseCommand_qfThreadInfo(const std::string& command) {
    return command == "qfThreadInfo";
}

bool RspUtil::parseCommand_qsThreadInfo(const std::string& command) {
    return command == "qsThreadInfo";
}

bool RspUtil::parseCommand_T(const std::string& command, unsigned int& thread) {
    if (command.size() <= 1 || command[0] != 'T') {
        return false;
    }
    return parseHex(command.substr(1), thread);
}

bool RspUtil::parseCommand_p(const std::string& command, unsigned int& number) {
    if (command.size() <= 1 || command[0] != 'p') {
        return false;
    }
    return parseHex(command.substr(1), number);
}

bool RspUtil::parseCommand_P(const std::string& command, unsigned int& number, std::string& valueHex) {
    std::string::size_type equals = command.find('=');
    if (command.size() <= 1 || command[0] != 'P' || equals == std::string::npos || equals == 1 ||
        !isHexBytes(command.substr(equals + 1))) {
        return false;
    }
    unsigned int parsed = 0;
    if (!parseHex(command.substr(1, equals - 1), parsed)) {
        return false;
    }
    number = parsed;
    valueHex = command.substr(equals + 1);
    return true;
}

bool RspUtil::parseCommand_G(const std::string& command, std::string& registersHex) {
    if (command.size() <= 1 || command[0] != 'G' || !isHexBytes(command.substr(1))) {
        return false;
    }
    registersHex = command.substr(1);
    return true;
}

bool RspUtil::parseCommand_H(const std::string& command, std::string& operation, unsigned int& thread) {
    if (command.size() <= 2 || command[0] != 'H') {
        return false;
    }
    if (!parseHex(command.substr(2), thread)) {
        return false;
    }
    operation = command.substr(1, 1);
    return true;
}

bool RspUtil::parseCommand_qThreadExtraInfo(const std::string& command, unsigned int& thread) {
    std::vector<std::string> pieces = StringUtil::split(command, ',');
    if (pieces.size() != 2 || pieces[0] != "qThreadExtraInfo") {
        return false;
    }
    return parseHex(pieces[1], thread);
}

bool RspUtil::parseOffsetLength(const std::string& text, unsigned int& offset, unsigned int& length) {
    std::vector<std::string> pieces = StringUtil::split(text, ',');
    unsigned int parsedOffset = 0;
    unsigned int parsedLength = 0;
    if (pieces.size() != 2 || !parseHex(pieces[0], parsedOffset) || !parseHex(pieces[1], parsedLength)) {
        return false;
    }
    offset = parsedOffset;
    length = parsedLength;
    return true;
}

bool RspUtil::parseCommand_qXferthreadsread(const std::string& command, unsigned int& offset,
                                            unsigned int& length) {
    static const std::string prefix = "qXfer:threads:read::";
    if (command.size() <= prefix.size() + 2 || command.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    return parseOffsetLength(command.substr(prefix.size()), offset, length);
}

bool RspUtil::parseCommand_qXferfeaturesreadtarget_xml(const std::string& command, unsigned int& offset,
                                                       unsigned int& length) {
    static const std::string prefix = "qXfer:features:read:target.xml:";
    if (command.size() <= prefix.size() + 2 || command.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    return parseOffsetLength(command.substr(prefix.size()), offset, length);
}

bool RspUtil::parseCommand_qRcmd(const std::string& command, std::vector<std::string>& arguments) {
    // Only the length of the prefix counts: the dispatcher has matched the prefix already.
    static const std::string::size_type prefixSize = std::strlen("qRcmd,");
    if (command.size() <= prefixSize) {
        return false;
    }
    std::string hex = command.substr(prefixSize);
    std::vector<std::string> pieces =
        StringUtil::split2(NumberCodec::decodeHex(hex, static_cast<unsigned int>(hex.size())), ' ');
    arguments.insert(arguments.end(), pieces.begin(), pieces.end());
    return true;
}

bool RspUtil::parseCommand_stopReply(const std::string& command, std::string& kind, unsigned int& signal) {
    const std::string::size_type size = command.size();
    if (size <= 2) {
        return false;
    }
    const char letter = command[0];
    switch (letter) {
    case 'S':
        if (size != 3) {
            return false;
        }
        break;
    case 'T':
        // Beyond the signal nothing is read; a tail too short to name a thread is not taken as a stop.
        if (size != 3 && size <= 10) {
            return false;
        }
        break;
    case 'W':
    case 'X':
        kind = std::string(1, letter);
        if (size != 3 && (size <= 12 || command.compare(3, 9, ";process:") != 0)) {
            return false;
        }
        break;
    default:
        return false;
    }
    if (!parseHex(command.substr(1, 2), signal)) {
        return false;
    }
    kind = std::string(1, letter);
    return true;
}

bool RspUtil::parseReply_qSymbol(const std::string& reply, std::string& value, std::string& name) {
    std::vector<std::string> pieces = StringUtil::split(reply, ':');
    if (pieces.size() != 3 || pieces[0] != "qSymbol" || pieces[2].empty()) {
        return false;
    }
    value = pieces[1];
    name = NumberCodec::decodeHex(pieces[2], static_cast<unsigned int>(pieces[2].size()));
    return true;
}

bool RspUtil::parseReply_qXferobjectreadannex(const std::string& reply, std::string& data, bool& last) {
    if (reply.empty() || (reply[0] != 'l' && reply[0] != 'm')) {
        return false;
    }
    data.append(reply, 1, std::string::npos);
    last = reply[0] == 'l';
    return true;
}

bool RspUtil::parseReply_m(const std::string& reply, std::vector<unsigned char>& data) {
    data.clear();
    if (reply.size() % 2 != 0) {
        return false;
    }
    NumberCodec::decodeHex(reply, data);
    return true;
}
