#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "rtos/threadx/ThreadxPortFactory.h"

#include <gtest/gtest.h>

#include <memory>

using namespace threadxframes;

namespace {

class ThreadxPortCortexM33M55M85Integration : public ::testing::Test {
protected:
    ThreadxPortRun registersAt(std::uint32_t sp) { return runPort(*port, kernel, TargetThread(0x20001000, sp)); }

    static std::string headLines(std::uint32_t excReturn, std::uint32_t sp) {
        char text[80];
        snprintf(text, sizeof(text), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, sp);
        return text;
    }

    std::uint32_t at(const char* symbol) { return kernel.symbolAddress(symbol); }

    KernelTarget kernel{"threadx_frames_cm.elf"};
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_m33")};
};

const char* const kBasicLine = "Frame type: Basic, OS frame Basic\n";
const char* const kExtendedLine = "Frame type: Extended, OS frame: Extended\n";

} // namespace

TEST_F(ThreadxPortCortexM33M55M85Integration, NonSecureBasicFrame) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_basic");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Basic, 0xB5000000, {{0, kExcReturnNsBasic}, {64, kXpsrPlain}});
    expected[R::REG_SP] = sp + 68;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(headLines(kExcReturnNsBasic, sp) + kBasicLine, run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, NonSecureExtendedFrameOnAnAlignedStack) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_extended_aligned");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Extended, 0xE5000000, {{0, kExcReturnNsExtended}, {128, kXpsrAligned}});
    expected[R::REG_SP] = sp + 208;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(4u + 204u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnNsExtended, sp) + kExtendedLine + "Add alignment\n", run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, SecureBitWithoutThreadDataReadsTheNonSecureLayout) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_basic");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Basic, 0xB6000000, {{0, kExcReturnBasic}, {64, kXpsrPlain}});
    expected[R::REG_SP] = sp + 68;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + kBasicLine, run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, SingleSecureModeExtendedFrameReadsThePlainLayout) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_extended");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Extended, 0xE6000000, {{0, kExcReturnExtended}, {128, kXpsrPlain}});
    expected[R::REG_SP] = sp + 204;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(headLines(kExcReturnExtended, sp) + kExtendedLine, run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, BasicFrameOfTheBasicThread) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_basic");
    ThreadxPortRun run = registersAt(sp);
    ASSERT_TRUE(run.result);
    EXPECT_EQ(0xB5000004u, run.registers.getRegisterValue(R::REG_R4, 0u));
    EXPECT_EQ(sp + 68, run.registers.getRegisterValue(R::REG_SP, 0u));
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, UnreadableExcReturnFails) {
    ASSERT_TRUE(kernel.ok());
    ThreadxPortRun run = registersAt(0x30000000);
    EXPECT_FALSE(run.result);
    EXPECT_EQ("Failed reading saved stack ptr\n", run.log);
    EXPECT_EQ(1u, run.reads);
}

