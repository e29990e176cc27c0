#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "rtos/threadx/ThreadxPortFactory.h"

#include <gtest/gtest.h>

#include <memory>

using namespace threadxframes;

namespace {

class ThreadxPortCortexM3M4M7Integration : public ::testing::Test {
protected:
    ThreadxPortRun registersAt(std::uint32_t sp) {
        return runPort(*port, kernel, TargetThread(0x20001000, sp));
    }

    static std::string headLines(std::uint32_t excReturn, std::uint32_t sp) {
        char text[80];
        snprintf(text, sizeof(text), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, sp);
        return text;
    }

    KernelTarget kernel{"threadx_frames_cm.elf"};
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_m3")};
};

} // namespace

TEST_F(ThreadxPortCortexM3M4M7Integration, BasicFrameWhenBit4IsSet) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_basic");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Basic, 0xB3000000, {{0, kExcReturnBasic}, {64, kXpsrPlain}});
    // GDB sees the stack as it was before the exception: behind the frame, not the saved pointer.
    expected[R::REG_SP] = sp + 68;
    EXPECT_EQ(expected, valuesOf(run.registers));
    // The EXC_RETURN word, then the 68 bytes of the frame.
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(4u + 68u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + "Frame type: Basic, OS frame Basic\n", run.log);
}

TEST_F(ThreadxPortCortexM3M4M7Integration, AlignedStackAddsAWord) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_basic_aligned");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Basic, 0xA3000000, {{0, kExcReturnBasic}, {64, kXpsrAligned}});
    expected[R::REG_SP] = sp + 72;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(4u + 68u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + "Frame type: Basic, OS frame Basic\nAdd alignment\n", run.log);
}

TEST_F(ThreadxPortCortexM3M4M7Integration, ExtendedFrameWhenBit4IsClear) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_extended");
    ThreadxPortRun run = registersAt(sp);

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Extended, 0xE3000000, {{0, kExcReturnExtended}, {128, kXpsrPlain}});
    expected[R::REG_SP] = sp + 204;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0xE3000004u, run.registers.getRegisterValue(R::REG_S16, 0u));
    EXPECT_EQ(0xE30000C4u, run.registers.getRegisterValue(R::REG_FPSCR, 0u));
    EXPECT_EQ(4u + 204u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnExtended, sp) + "Frame type: Extended, OS frame: Extended\n", run.log);
}

TEST_F(ThreadxPortCortexM3M4M7Integration, UnreadableExcReturnFails) {
    ASSERT_TRUE(kernel.ok());
    ThreadxPortRun run = registersAt(0x30000000);
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ("Failed reading saved stack ptr\n", run.log);
    EXPECT_EQ(1u, run.reads);
}

TEST_F(ThreadxPortCortexM3M4M7Integration, UnreadableFrameFailsAfterTheExcReturn) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_basic");
    targetsim::ErrorRange range;
    range.address = sp + 60;
    range.length = 4;
    kernel.target().addErrorRange(range);
    ThreadxPortRun run = registersAt(sp);
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + "Frame type: Basic, OS frame Basic\nfailed reading frame\n",
              run.log);
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortCortexM3M4M7Integration, RegistersAlreadyInTheListKeepTheirValues) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_basic");
    RegisterList registers;
    registers.addRegister(R::REG_PC, 0x1234);
    TargetThread thread(0x20001000, sp);
    ASSERT_TRUE(port->getRegisters(kernel.server(), thread, registers));
    EXPECT_EQ(0x1234u, registers.getRegisterValue(R::REG_PC, 0u));
    EXPECT_EQ(0xB3000038u, registers.getRegisterValue(R::REG_LR, 0u));
}
