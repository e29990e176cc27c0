#include "target_sim/SimHex.h"

namespace targetsim {

namespace {
const char kDigits[] = "0123456789abcdef";

int digitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool parseInBase(const std::string& text, unsigned base, std::uint32_t& value) {
    if (text.empty())
        return false;
    std::uint64_t result = 0;
    for (char c : text) {
        int digit = digitValue(c);
        if (digit < 0 || static_cast<unsigned>(digit) >= base)
            return false;
        result = result * base + static_cast<unsigned>(digit);
        if (result > 0xFFFFFFFFull)
            return false;
    }
    value = static_cast<std::uint32_t>(result);
    return true;
}
} // namespace

std::string SimHex::encode(const std::vector<std::uint8_t>& bytes) {
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (std::uint8_t byte : bytes) {
        hex.push_back(kDigits[byte >> 4]);
        hex.push_back(kDigits[byte & 0xF]);
    }
    return hex;
}

std::string SimHex::encodeText(const std::string& text) {
    return encode(std::vector<std::uint8_t>(text.begin(), text.end()));
}

bool SimHex::decode(const std::string& hex, std::vector<std::uint8_t>& bytes) {
    if (hex.size() % 2 != 0)
        return false;
    bytes.clear();
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        int high = digitValue(hex[i]);
        int low = digitValue(hex[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return true;
}

bool SimHex::parseHex(const std::string& text, std::uint32_t& value) {
    return parseInBase(text, 16, value);
}

bool SimHex::parseNumber(const std::string& text, std::uint32_t& value) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        return parseInBase(text.substr(2), 16, value);
    return parseInBase(text, 10, value);
}

std::string SimHex::encodeWord(std::uint32_t value) {
    std::vector<std::uint8_t> bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    return encode(bytes);
}

std::uint32_t SimHex::decodeWord(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

} // namespace targetsim
