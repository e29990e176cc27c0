#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMHEX_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMHEX_H

#include <cstdint>
#include <string>
#include <vector>

namespace targetsim {

// Hexadecimal and number text of the simulator: lower-case output, strict input.
class SimHex {
public:
    static std::string encode(const std::vector<std::uint8_t>& bytes);
    static std::string encodeText(const std::string& text);
    // False on an odd length or a non-hexadecimal digit; bytes is then unspecified.
    static bool decode(const std::string& hex, std::vector<std::uint8_t>& bytes);
    // Whole text as a hexadecimal number of at most 32 bits (no prefix), as RSP writes numbers.
    static bool parseHex(const std::string& text, std::uint32_t& value);
    // Whole text as a 32-bit number: "0x" prefix for hexadecimal, decimal otherwise.
    static bool parseNumber(const std::string& text, std::uint32_t& value);
    // Value as a little-endian 32-bit register, eight digits.
    static std::string encodeWord(std::uint32_t value);
    static std::uint32_t decodeWord(const std::uint8_t* bytes);
};

} // namespace targetsim

#endif
