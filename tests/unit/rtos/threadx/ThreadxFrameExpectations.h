#ifndef TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXFRAMEEXPECTATIONS_H
#define TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXFRAMEEXPECTATIONS_H

// The ThreadX frame layouts written out once more, by hand, for the tests to hold the product's constants
// and the registers it reads against. The fixture frames carry tag | offset in every word (see
// tests/fixtures/threadx/threadx_words.h), so a register read from a wrong offset shows in its value.

#include "target/RegisterId.h"
#include "target/RegisterList.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>

namespace threadxframes {

using R = RegisterId;
using Offsets = std::map<RegisterId, unsigned int>;
using Values = std::map<RegisterId, std::uint32_t>;

struct ExpectedLayout {
    std::string name;
    unsigned int size;
    Offsets offsets;
};

inline Offsets run(R first, R last, unsigned int offset) {
    Offsets offsets;
    for (auto id = static_cast<std::uint32_t>(first); id <= static_cast<std::uint32_t>(last);
         ++id, offset += 4) {
        offsets[static_cast<R>(id)] = offset;
    }
    return offsets;
}

inline Offsets with(std::initializer_list<Offsets> parts) {
    Offsets all;
    for (const Offsets& part : parts) {
        all.insert(part.begin(), part.end());
    }
    return all;
}

inline const ExpectedLayout kCm0{
    "CM0", 68,
    with({{{R::REG_LR_PENDSV, 0}},
          run(R::REG_R8, R::REG_R11, 4),
          run(R::REG_R4, R::REG_R7, 20),
          run(R::REG_R0, R::REG_R3, 36),
          {{R::REG_R12, 52}, {R::REG_LR, 56}, {R::REG_PC, 60}, {R::REG_XPSR, 64}}})};
inline const ExpectedLayout kCm3Basic{
    "CM3_BASIC", 68,
    with({{{R::REG_LR_PENDSV, 0}},
          run(R::REG_R4, R::REG_R11, 4),
          run(R::REG_R0, R::REG_R3, 36),
          {{R::REG_R12, 52}, {R::REG_LR, 56}, {R::REG_PC, 60}, {R::REG_XPSR, 64}}})};
inline const ExpectedLayout kCm3Extended{
    "CM3_EXTENDED", 204,
    with({{{R::REG_LR_PENDSV, 0}},
          run(R::REG_S16, R::REG_S31, 4),
          run(R::REG_R4, R::REG_R11, 68),
          run(R::REG_R0, R::REG_R3, 100),
          {{R::REG_R12, 116}, {R::REG_LR, 120}, {R::REG_PC, 124}, {R::REG_XPSR, 128}},
          run(R::REG_S0, R::REG_S15, 132),
          {{R::REG_FPSCR, 196}}})};
inline const ExpectedLayout kCa7Interrupted{"CA7_INTERRUPTED", 68,
                                            with({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}},
                                                  run(R::REG_R0, R::REG_R12, 8),
                                                  {{R::REG_LR, 60}, {R::REG_PC, 64}}})};
inline const ExpectedLayout kCa7InterruptedVfp{"CA7_INTERRUPTED_VFP", 328,
                                               with({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}},
                                                     run(R::REG_S0, R::REG_S31, 8),
                                                     run(R::REG_D16_LOW, R::REG_D31_HIGH, 136),
                                                     {{R::REG_FPSCR, 264}},
                                                     run(R::REG_R0, R::REG_R12, 268),
                                                     {{R::REG_LR, 320}, {R::REG_PC, 324}}})};
inline const ExpectedLayout kCa7Solicited{
    "CA7_SOLICITED", 44,
    with({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}}, run(R::REG_R4, R::REG_R11, 8), {{R::REG_LR, 40}}})};
inline const ExpectedLayout kCa7SolicitedVfp{"CA7_SOLICITED_VFP", 240,
                                             with({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}},
                                                   run(R::REG_S16, R::REG_S31, 8),
                                                   run(R::REG_D16_LOW, R::REG_D31_HIGH, 72),
                                                   {{R::REG_FPSCR, 200}},
                                                   run(R::REG_R4, R::REG_R11, 204),
                                                   {{R::REG_LR, 236}}})};

// The values a port must read from a fixture frame of that layout: tag | offset, except at the offsets
// of special, which hold the words the fixture set there.
inline Values framed(const ExpectedLayout& layout, std::uint32_t tag,
                     const std::map<unsigned int, std::uint32_t>& special) {
    Values values;
    for (const auto& pair : layout.offsets) {
        auto found = special.find(pair.second);
        values[pair.first] = found == special.end() ? (tag | pair.second) : found->second;
    }
    return values;
}

inline Values valuesOf(const RegisterList& registers) {
    Values values;
    for (const auto& pair : registers.getRegisters()) {
        values[pair.first] = pair.second.getValue();
    }
    return values;
}

// Words the fixture frames set (threadx_words.h).
// EXC_RETURN: bit 4 clear for an extended frame, bit 6 set for the secure stack.
constexpr std::uint32_t kExcReturnBasic = 0xFFFFFFFD, kExcReturnExtended = 0xFFFFFFED;
constexpr std::uint32_t kExcReturnNsBasic = 0xFFFFFFBC, kExcReturnNsExtended = 0xFFFFFFAC;
// xPSR: bit 9 set when the core aligned the stack.
constexpr std::uint32_t kXpsrPlain = 0x01000000, kXpsrAligned = 0x01000200;
constexpr std::uint32_t kCpsrSys = 0x6000001F;

} // namespace threadxframes

// gtest prints the maps' keys by their number.
inline void PrintTo(RegisterId id, std::ostream* out) {
    *out << "RegisterId(" << static_cast<std::uint32_t>(id) << ")";
}

#endif
