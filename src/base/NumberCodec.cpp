#include "base/NumberCodec.h"

#include "base/Logger.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

const char kHexDigits[] = "0123456789abcdef";

int hexDigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

// Scans one pair as "%2x" does. The scan writes nothing when the pair is not hexadecimal, so the
// value of the pair before stands; that is what the caller passes in as previous. Two hexadecimal digits,
// what a server sends, are read here; only other pairs (signs, blanks, "0x") go to sscanf itself.
unsigned int scanPair(const std::string& text, std::string::size_type at, unsigned int previous) {
    int high = hexDigitValue(text[at]);
    int low = hexDigitValue(text[at + 1]);
    if (high >= 0 && low >= 0) {
        return static_cast<unsigned int>(high * 16 + low);
    }
    char pair[3] = {text[at], text[at + 1], '\0'};
    unsigned int scanned = previous;
    if (std::sscanf(pair, "%2x", &scanned) != 1) {
        return previous;
    }
    return scanned;
}

} // namespace

bool NumberCodec::toUINT32(const std::string& text, unsigned int base, unsigned int& value) {
    std::size_t used = 0;
    unsigned long converted = 0;
    try {
        converted = std::stoul(text, &used, static_cast<int>(base));
    } catch (const std::exception&) {
        Logger::getInstance().log(Logger::LOG_ERROR, "NumberCodec", "RspUtil::toUINT32(), failure: %s\n", text.c_str());
        return false;
    }
    value = static_cast<unsigned int>(converted);
    return used == text.size();
}

unsigned int NumberCodec::toUINT32(unsigned char* data) {
    unsigned int value = 0;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

unsigned short NumberCodec::toUINT16(unsigned char* data) {
    unsigned short value = 0;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

unsigned char NumberCodec::toUINT8(unsigned char* data) {
    return *data;
}

std::string NumberCodec::encodeHex(const std::string& text) {
    std::string hex;
    hex.reserve(text.size() * 2);
    for (char character : text) {
        // Deliberately signed: a byte above 0x7f prints eight digits. Kept so, not corrected.
        int value = static_cast<signed char>(character);
        if (value < 0) {
            char digits[9];
            std::snprintf(digits, sizeof(digits), "%08x", static_cast<unsigned int>(value));
            hex += digits;
            continue;
        }
        hex += kHexDigits[value >> 4];
        hex += kHexDigits[value & 0xf];
    }
    return hex;
}

std::string NumberCodec::decodeHex(const std::string& hex, unsigned int length) {
    std::string::size_type usable = std::min<std::string::size_type>(length, hex.size());
    std::string text;
    unsigned int value = 0;
    for (std::string::size_type at = 0; at + 1 < usable; at += 2) {
        value = scanPair(hex, at, value);
        text += static_cast<char>(value & 0xff);
    }
    return text;
}

std::string NumberCodec::toString(unsigned int value, unsigned int base) {
    // Every target read names its address with this, so it is written out by hand: a stream, or even
    // snprintf, costs more than the rest of building the packet.
    if (base != 16 && base != 10) {
        return "";
    }
    char digits[16];
    char* first = digits + sizeof(digits);
    do {
        *--first = kHexDigits[value % base];
        value /= base;
    } while (value != 0);
    return std::string(first, digits + sizeof(digits));
}

void NumberCodec::decodeHex(const std::string& hex, std::vector<unsigned char>& bytes) {
    bytes.reserve(bytes.size() + hex.size() / 2);
    unsigned int value = 0;
    for (std::string::size_type at = 0; at + 1 < hex.size(); at += 2) {
        value = scanPair(hex, at, value);
        bytes.push_back(static_cast<unsigned char>(value & 0xff));
    }
}
