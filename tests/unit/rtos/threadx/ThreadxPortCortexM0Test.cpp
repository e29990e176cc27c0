#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "rtos/threadx/ThreadxPortFactory.h"

#include <gtest/gtest.h>

#include <memory>

using namespace threadxframes;

TEST(ThreadxPortCortexM0Integration, ReadsTheFrameWithTheHighRegistersFirst) {
    KernelTarget kernel("threadx_frames_cm.elf");
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm0");
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_m0")};
    ThreadxPortRun run = runPort(*port, kernel, TargetThread(0x20001000, sp));

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm0, 0xC0000000, {{0, kExcReturnBasic}, {64, kXpsrPlain}});
    expected[R::REG_SP] = sp + 68;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0xC0000004u, run.registers.getRegisterValue(R::REG_R8, 0u));
    EXPECT_EQ(0xC0000014u, run.registers.getRegisterValue(R::REG_R4, 0u));
    // One read of the whole frame, nothing before it.
    EXPECT_EQ(1u, run.reads);
    EXPECT_EQ(68u, run.bytes);
    char log[64];
    snprintf(log, sizeof(log), "Saved SP: 0x%x\n", sp);
    EXPECT_EQ(log, run.log);
}

TEST(ThreadxPortCortexM0Integration, UnreadableFrameFails) {
    KernelTarget kernel("threadx_frames_cm.elf");
    ASSERT_TRUE(kernel.ok());
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_m0")};
    ThreadxPortRun run = runPort(*port, kernel, TargetThread(0x20001000, 0x30000000));
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ("Saved SP: 0x30000000\nfailed reading frame\n", run.log);
    EXPECT_EQ(1u, run.reads);
}
