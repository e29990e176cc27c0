#ifndef TARNWICK_TESTS_UNIT_RTOS_FREERTOS_FREERTOSFRAMETESTSUPPORT_H
#define TARNWICK_TESTS_UNIT_RTOS_FREERTOS_FREERTOSFRAMETESTSUPPORT_H

#include "KernelTarget.h"
#include "base/Logger.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "target/RegisterId.h"
#include "target/RegisterList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace freertostest {

// A saved frame as the port drivers must read it, written down independently of the driver's constants:
// byte offset and register, runs such as R4..R11 standing for one word each in ascending order.
struct FrameShape {
    const char* name;
    unsigned int size;
    const char* entries;
};

inline const std::vector<FrameShape>& frameShapes() {
    static const std::vector<FrameShape> shapes = {
        {"FRAMELAYOUT_CM0", 64, "0 R4..R11, 32 R0..R3, 48 R12, 52 LR, 56 PC, 60 XPSR"},
        {"FRAMELAYOUT_CM0_EXC_RETURN", 68,
         "0 LR_PENDSV, 4 R4..R11, 36 R0..R3, 52 R12, 56 LR, 60 PC, 64 XPSR"},
        {"FRAMELAYOUT_CM3", 64, "0 R4..R11, 32 R0..R3, 48 R12, 52 LR, 56 PC, 60 XPSR"},
        {"FRAMELAYOUT_CM3_MPU", 68, "0 CONTROL, 4 R4..R11, 36 R0..R3, 52 R12, 56 LR, 60 PC, 64 XPSR"},
        {"FRAMELAYOUT_CM4F_BASIC", 68, "0 R4..R11, 32 LR_PENDSV, 36 R0..R3, 52 R12, 56 LR, 60 PC, 64 XPSR"},
        {"FRAMELAYOUT_CM4F_BASIC_MPU", 72,
         "0 CONTROL, 4 R4..R11, 36 LR_PENDSV, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR"},
        {"FRAMELAYOUT_CM4F_EXT", 204,
         "0 R4..R11, 32 LR_PENDSV, 36 S16..S31, 100 R0..R3, 116 R12, 120 LR, 124 PC, 128 XPSR, 132 S0..S15, "
         "196 FPSCR"},
        {"FRAMELAYOUT_CM4F_EXT_MPU", 208,
         "0 CONTROL, 4 R4..R11, 36 LR_PENDSV, 40 S16..S31, 104 R0..R3, 120 R12, 124 LR, 128 PC, 132 XPSR, "
         "136 S0..S15, 200 FPSCR"},
        {"FRAMELAYOUT_BASIC_BASIC_NTZ", 72,
         "0 PSPLIM, 4 LR_PENDSV, 8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR"},
        {"FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", 76,
         "0 PSPLIM, 4 CONTROL, 8 LR_PENDSV, 12 R4..R11, 44 R0..R3, 60 R12, 64 LR, 68 PC, 72 XPSR"},
        {"FRAMELAYOUT_EXT_BASIC_NTZ", 144,
         "0 PSPLIM, 4 LR_PENDSV, 8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR, 72 S0..S15, 136 FPSCR"},
        {"FRAMELAYOUT_EXT_BASIC_NTZ_MPU", 148,
         "0 PSPLIM, 4 CONTROL, 8 LR_PENDSV, 12 R4..R11, 44 R0..R3, 60 R12, 64 LR, 68 PC, 72 XPSR, 76 "
         "S0..S15, "
         "140 FPSCR"},
        {"FRAMELAYOUT_EXT_EXT_NTZ", 208,
         "0 PSPLIM, 4 LR_PENDSV, 8 R4..R11, 40 S16..S31, 104 R0..R3, 120 R12, 124 LR, 128 PC, 132 XPSR, "
         "136 S0..S15, 200 FPSCR"},
        {"FRAMELAYOUT_EXT_EXT_NTZ_MPU", 212,
         "0 PSPLIM, 4 CONTROL, 8 LR_PENDSV, 12 R4..R11, 44 S16..S31, 108 R0..R3, 124 R12, 128 LR, 132 PC, "
         "136 XPSR, 140 S0..S15, 204 FPSCR"},
        {"FRAMELAYOUT_BASIC_BASIC_TZ", 76,
         "4 PSPLIM, 8 LR_PENDSV, 12 R4..R11, 44 R0..R3, 60 R12, 64 LR, 68 PC, 72 XPSR"},
        {"FRAMELAYOUT_BASIC_BASIC_TZ_MPU", 80,
         "4 PSPLIM, 8 CONTROL, 12 LR_PENDSV, 16 R4..R11, 48 R0..R3, 64 R12, 68 LR, 72 PC, 76 XPSR"},
        {"FRAMELAYOUT_EXT_BASIC_TZ", 148,
         "4 PSPLIM, 8 LR_PENDSV, 12 R4..R11, 44 R0..R3, 60 R12, 64 LR, 68 PC, 72 XPSR, 76 S0..S15, 140 "
         "FPSCR"},
        {"FRAMELAYOUT_EXT_BASIC_TZ_MPU", 152,
         "4 PSPLIM, 8 CONTROL, 12 LR_PENDSV, 16 R4..R11, 48 R0..R3, 64 R12, 68 LR, 72 PC, 76 XPSR, 80 "
         "S0..S15, "
         "144 FPSCR"},
        {"FRAMELAYOUT_EXT_EXT_TZ", 212,
         "4 PSPLIM, 8 LR_PENDSV, 12 R4..R11, 44 S16..S31, 108 R0..R3, 124 R12, 128 LR, 132 PC, 136 XPSR, "
         "140 S0..S15, 204 FPSCR"},
        {"FRAMELAYOUT_EXT_EXT_TZ_MPU", 216,
         "4 PSPLIM, 8 CONTROL, 12 LR_PENDSV, 16 R4..R11, 48 S16..S31, 112 R0..R3, 128 R12, 132 LR, 136 PC, "
         "140 XPSR, 144 S0..S15, 208 FPSCR"},
        {"FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", 72,
         "8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR"},
        {"FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", 72,
         "8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR"},
        {"FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", 208,
         "8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR, 72 S0..S15, 136 FPSCR, 144 S16..S31"},
        {"FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", 208,
         "8 R4..R11, 40 R0..R3, 56 R12, 60 LR, 64 PC, 68 XPSR, 72 S0..S15, 136 FPSCR, 144 S16..S31"},
        {"FRAMELAYOUT_CA9", 72, "8 R0..R3, 24 R4..R11, 56 R12, 60 LR, 64 PC, 68 CPSR"},
        // d16-d31 as their words, least significant first, then d0-d15 as s0-s31.
        {"FRAMELAYOUT_CA9_FPU", 332,
         "4 D16_LOW..D31_HIGH, 132 S0..S31, 260 FPSCR, 268 R0..R3, 284 R4..R11, 316 R12, 320 LR, 324 PC, 328 "
         "CPSR"},
    };
    return shapes;
}

// Contexts kept in a task's control block rather than on its stack; SP is the saved stack pointer's word.
inline const std::vector<FrameShape>& controlBlockShapes() {
    static const std::vector<FrameShape> shapes = {
        {"FRAMELAYOUT_MPU_CONTEXT_BASIC", 76,
         "0 CONTROL, 4 R4..R11, 36 LR_PENDSV, 40 SP, 44 R0..R3, 60 R12, 64 LR, 68 PC, 72 XPSR"},
        {"FRAMELAYOUT_MPU_CONTEXT_EXT", 208,
         "0 S16..S31, 64 S0..S15, 128 FPSCR, 132 CONTROL, 136 R4..R11, 168 LR_PENDSV, 172 SP, 176 R0..R3, "
         "192 R12, 196 LR, 200 PC, 204 XPSR"},
    };
    return shapes;
}

inline const FrameShape& frameShape(const std::string& name) {
    for (const auto* shapes : {&frameShapes(), &controlBlockShapes()}) {
        for (const FrameShape& shape : *shapes) {
            if (name == shape.name) {
                return shape;
            }
        }
    }
    ADD_FAILURE() << "no frame shape " << name;
    return frameShapes().front();
}

inline RegisterId registerNamed(const std::string& name) {
    static const std::map<std::string, std::uint32_t> fixed = {
        {"SP", 1},       {"LR", 15},     {"PC", 16},   {"XPSR", 17},    {"LR_PENDSV", 50}, {"FPSCR", 51},
        {"CONTROL", 52}, {"PSPLIM", 53}, {"CPSR", 54}, {"D16_LOW", 55}, {"D31_HIGH", 86}};
    auto found = fixed.find(name);
    if (found != fixed.end()) {
        return static_cast<RegisterId>(found->second);
    }
    unsigned int number = static_cast<unsigned int>(std::stoul(name.substr(1)));
    return static_cast<RegisterId>(name[0] == 'R' ? 2 + number : 18 + number);
}

// Register to byte offset, from entries such as "0 R4..R11, 32 LR_PENDSV".
inline std::map<RegisterId, unsigned int> parseEntries(const std::string& entries) {
    std::map<RegisterId, unsigned int> offsets;
    std::istringstream text(entries);
    std::string entry;
    while (std::getline(text, entry, ',')) {
        std::istringstream fields(entry);
        unsigned int offset = 0;
        std::string registers;
        fields >> offset >> registers;
        std::size_t dots = registers.find("..");
        auto first = static_cast<std::uint32_t>(registerNamed(registers.substr(0, dots)));
        auto last = dots == std::string::npos
                        ? first
                        : static_cast<std::uint32_t>(registerNamed(registers.substr(dots + 2)));
        for (std::uint32_t id = first; id <= last; ++id, offset += 4) {
            offsets[static_cast<RegisterId>(id)] = offset;
        }
    }
    return offsets;
}

// The driver's own constant of each name, to be checked against the shapes above.
inline const FrameLayout& productLayout(const std::string& name) {
    static const std::map<std::string, const FrameLayout*> layouts = {
        {"FRAMELAYOUT_CM0", &FRAMELAYOUT_CM0},
        {"FRAMELAYOUT_CM0_EXC_RETURN", &FRAMELAYOUT_CM0_EXC_RETURN},
        {"FRAMELAYOUT_CM3", &FRAMELAYOUT_CM3},
        {"FRAMELAYOUT_CM3_MPU", &FRAMELAYOUT_CM3_MPU},
        {"FRAMELAYOUT_CM4F_BASIC", &FRAMELAYOUT_CM4F_BASIC},
        {"FRAMELAYOUT_CM4F_BASIC_MPU", &FRAMELAYOUT_CM4F_BASIC_MPU},
        {"FRAMELAYOUT_CM4F_EXT", &FRAMELAYOUT_CM4F_EXT},
        {"FRAMELAYOUT_CM4F_EXT_MPU", &FRAMELAYOUT_CM4F_EXT_MPU},
        {"FRAMELAYOUT_MPU_CONTEXT_BASIC", &FRAMELAYOUT_MPU_CONTEXT_BASIC},
        {"FRAMELAYOUT_MPU_CONTEXT_EXT", &FRAMELAYOUT_MPU_CONTEXT_EXT},
        {"FRAMELAYOUT_BASIC_BASIC_NTZ", &FRAMELAYOUT_BASIC_BASIC_NTZ},
        {"FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", &FRAMELAYOUT_BASIC_BASIC_NTZ_MPU},
        {"FRAMELAYOUT_EXT_BASIC_NTZ", &FRAMELAYOUT_EXT_BASIC_NTZ},
        {"FRAMELAYOUT_EXT_BASIC_NTZ_MPU", &FRAMELAYOUT_EXT_BASIC_NTZ_MPU},
        {"FRAMELAYOUT_EXT_EXT_NTZ", &FRAMELAYOUT_EXT_EXT_NTZ},
        {"FRAMELAYOUT_EXT_EXT_NTZ_MPU", &FRAMELAYOUT_EXT_EXT_NTZ_MPU},
        {"FRAMELAYOUT_BASIC_BASIC_TZ", &FRAMELAYOUT_BASIC_BASIC_TZ},
        {"FRAMELAYOUT_BASIC_BASIC_TZ_MPU", &FRAMELAYOUT_BASIC_BASIC_TZ_MPU},
        {"FRAMELAYOUT_EXT_BASIC_TZ", &FRAMELAYOUT_EXT_BASIC_TZ},
        {"FRAMELAYOUT_EXT_BASIC_TZ_MPU", &FRAMELAYOUT_EXT_BASIC_TZ_MPU},
        {"FRAMELAYOUT_EXT_EXT_TZ", &FRAMELAYOUT_EXT_EXT_TZ},
        {"FRAMELAYOUT_EXT_EXT_TZ_MPU", &FRAMELAYOUT_EXT_EXT_TZ_MPU},
        {"FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", &FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ},
        {"FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", &FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU},
        {"FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", &FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ},
        {"FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", &FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU},
        {"FRAMELAYOUT_CA9", &FRAMELAYOUT_CA9},
        {"FRAMELAYOUT_CA9_FPU", &FRAMELAYOUT_CA9_FPU},
    };
    auto found = layouts.find(name);
    if (found == layouts.end()) {
        ADD_FAILURE() << "no layout " << name;
        return FRAMELAYOUT_CM0;
    }
    return *found->second;
}

using RegisterValues = std::map<RegisterId, unsigned int>;

inline RegisterValues valuesOf(const RegisterList& registers) {
    RegisterValues values;
    for (const auto& entry : registers.getRegisters()) {
        values[entry.first] = entry.second.getValue();
    }
    return values;
}

// Every word of a laid-out frame is known and differs from the others: the word at byte offset o is
// frameWord(o), unless a test sets it. Bit 9 is clear in all of them.
// A second frame in the same test (the secure one of Armv8-M) takes another base.
const unsigned int kFrameWordBase = 0xF0000000u;
inline unsigned int frameWord(unsigned int offset, unsigned int base = kFrameWordBase) {
    return base | offset;
}

// Exception return values of the Armv8-M cores: bit 4 set for a basic frame, bit 6 set for the secure stack.
const unsigned int kExcReturnNonSecureBasic = 0xFFFFFFBCu;
const unsigned int kExcReturnNonSecureExtended = 0xFFFFFFACu;
const unsigned int kExcReturnSecureBasic = 0xFFFFFFFDu;
const unsigned int kExcReturnSecureExtended = 0xFFFFFFEDu;

// The port driver tests: RAM of the fixture program freertos_frames.elf, served by the simulator, in
// which each test lays out frames; all log severities on.
class FreeRtosFrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        kernel = std::make_unique<KernelTarget>("freertos_frames.elf", profile());
        ASSERT_TRUE(kernel->ok());
        area = kernel->symbolAddress("frameArea");
        ASSERT_NE(0u, area);
        Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR |
                                          Logger::LOG_DEBUG);
    }

    void TearDown() override { kernel.reset(); }

    virtual targetsim::Profile profile() const { return targetsim::Profile::M; }

    void writeWords(unsigned int address, const std::vector<unsigned int>& words) {
        std::vector<std::uint8_t> bytes;
        for (unsigned int word : words) {
            for (int shift = 0; shift < 32; shift += 8) {
                bytes.push_back(static_cast<std::uint8_t>(word >> shift));
            }
        }
        ASSERT_TRUE(kernel->target().loadMemory(address, bytes));
    }

    // A frame of size bytes at address: frameWord(offset) everywhere but where overrides say.
    void layFrame(unsigned int address, unsigned int size,
                  const std::map<unsigned int, unsigned int>& overrides = {},
                  unsigned int base = kFrameWordBase) {
        std::vector<unsigned int> words;
        for (unsigned int offset = 0; offset < size; offset += 4) {
            auto set = overrides.find(offset);
            words.push_back(set != overrides.end() ? set->second : frameWord(offset, base));
        }
        writeWords(address, words);
    }

    // What a port must report for a frame of this shape at address: the stack pointer past the frame
    // (and padding), and each register of the shape with the word at its offset.
    static RegisterValues expectedRegisters(const FrameShape& shape, unsigned int address,
                                            const std::map<unsigned int, unsigned int>& overrides = {},
                                            unsigned int padding = 0, unsigned int base = kFrameWordBase) {
        RegisterValues values;
        values[RegisterId::REG_SP] = address + shape.size + padding;
        for (const auto& entry : parseEntries(shape.entries)) {
            auto set = overrides.find(entry.second);
            values[entry.first] = set != overrides.end() ? set->second : frameWord(entry.second, base);
        }
        return values;
    }

    std::unique_ptr<KernelTarget> kernel;
    unsigned int area = 0;
};

} // namespace freertostest

#endif
