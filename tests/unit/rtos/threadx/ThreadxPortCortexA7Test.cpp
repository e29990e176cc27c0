#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "rtos/threadx/ThreadxPortFactory.h"

#include <gtest/gtest.h>

#include <memory>

using namespace threadxframes;

namespace {

// A-profile programs; the port finds tx_thread_vfp_enable through the program's thread layout.
class ThreadxPortCortexA7Integration : public ::testing::Test {
protected:
    explicit ThreadxPortCortexA7Integration(const char* program = "threadx_frames_ca7.elf")
        : kernel(program, targetsim::Profile::A) {}

    void SetUp() override {
        ASSERT_TRUE(kernel.ok());
        kernel.resolveStructures({"TX_THREAD_STRUCT"});
    }

    ThreadxPortRun registersOf(const char* thread, const char* name, const char* frame) {
        return runPort(*port, kernel,
                       TargetThread(kernel.symbolAddress(thread), kernel.symbolAddress(frame), false, name));
    }

    std::string headLine(const char* thread, const char* name) {
        char text[120];
        snprintf(text, sizeof(text), "ThreadxPortCortexA7::getRegisters: id:0x%x name:%s\n",
                 kernel.symbolAddress(thread), name);
        return text;
    }

    std::string spLine(const char* frame) {
        char text[40];
        snprintf(text, sizeof(text), "Saved SP: 0x%x\n", kernel.symbolAddress(frame));
        return text;
    }

    KernelTarget kernel;
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_a7")};
};

class ThreadxPortCortexA7NoVfpIntegration : public ThreadxPortCortexA7Integration {
protected:
    ThreadxPortCortexA7NoVfpIntegration() : ThreadxPortCortexA7Integration("threadx_frames_ca7_novfp.elf") {}
};

} // namespace

TEST_F(ThreadxPortCortexA7Integration, SolicitedFrameResumesAtTheReturnAddress) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited");
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_solicited");

    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7Solicited, 0x70000000, {{0, 0}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 44;
    expected[R::REG_PC] = 0x70000028;
    EXPECT_EQ(expected, valuesOf(run.registers));
    // The VFP flag, the frame type, the frame.
    EXPECT_EQ(3u, run.reads);
    EXPECT_EQ(4u + 4u + 44u, run.bytes);
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_solicited") +
                  "Frame type: Non-interrupted \n",
              run.log);
}

TEST_F(ThreadxPortCortexA7Integration, SolicitedVfpFrame) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited_vfp");
    ThreadxPortRun run = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_solicited_vfp");

    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7SolicitedVfp, 0x71000000, {{0, 0}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 240;
    expected[R::REG_PC] = 0x710000EC;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0x710000ECu, run.registers.getRegisterValue(R::REG_LR, 0u));
    EXPECT_EQ(4u + 4u + 240u, run.bytes);
    EXPECT_EQ(headLine("ca7_thread_vfp", "vfp user") + spLine("frame_ca7_solicited_vfp") +
                  "Frame type: Non-interrupted (VFP)\n",
              run.log);
}

TEST_F(ThreadxPortCortexA7Integration, InterruptedFrameKeepsItsOwnPc) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_interrupted");
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_interrupted");

    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7Interrupted, 0x72000000, {{0, 1}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 68;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0x72000040u, run.registers.getRegisterValue(R::REG_PC, 0u));
    EXPECT_EQ(4u + 4u + 68u, run.bytes);
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_interrupted") +
                  "Frame type: Interrupted \n",
              run.log);
}

TEST_F(ThreadxPortCortexA7Integration, InterruptedVfpFrame) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_interrupted_vfp");
    ThreadxPortRun run = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_interrupted_vfp");

    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7InterruptedVfp, 0x73000000, {{0, 1}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 328;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0x7300010Cu, run.registers.getRegisterValue(R::REG_R0, 0u));
    EXPECT_EQ(4u + 4u + 328u, run.bytes);
    EXPECT_EQ(headLine("ca7_thread_vfp", "vfp user") + spLine("frame_ca7_interrupted_vfp") +
                  "Frame type: Interrupted (VFP)\n",
              run.log);
}

TEST_F(ThreadxPortCortexA7Integration, VfpFlagOtherThanOneIsNoVfp) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited");
    ThreadxPortRun run = registersOf("ca7_thread_vfp_two", "vfp two", "frame_ca7_solicited");
    ASSERT_TRUE(run.result);
    EXPECT_EQ(sp + 44, run.registers.getRegisterValue(R::REG_SP, 0u));
    EXPECT_EQ(4u + 4u + 44u, run.bytes);
}

TEST_F(ThreadxPortCortexA7Integration, UnknownFrameTypeFails) {
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_unknown");
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_unknown") + "Unknown frame type\n",
              run.log);
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortCortexA7Integration, UnreadableFrameTypeFails) {
    std::uint32_t id = kernel.symbolAddress("ca7_thread_plain");
    ThreadxPortRun run = runPort(*port, kernel, TargetThread(id, 0x30000000));
    EXPECT_FALSE(run.result);
    char head[100];
    // A thread without a name shows its id.
    snprintf(head, sizeof(head), "ThreadxPortCortexA7::getRegisters: id:0x%x name:%x\n", id, id);
    EXPECT_EQ(std::string(head) + "Failed reading saved stack ptr\n", run.log);
}

TEST_F(ThreadxPortCortexA7Integration, UnreadableFrameFails) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_interrupted");
    targetsim::ErrorRange range;
    range.address = sp + 64;
    range.length = 4;
    kernel.target().addErrorRange(range);
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_interrupted");
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_interrupted") +
                  "Frame type: Interrupted \nfailed reading frame\n",
              run.log);
}

TEST_F(ThreadxPortCortexA7NoVfpIntegration, KernelWithoutTheVfpMemberReadsNoFlag) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited_vfp");
    // The frame holds a VFP context, but a kernel without the member cannot say so.
    ThreadxPortRun run = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_solicited_vfp");
    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7Solicited, 0x71000000, {{0, 0}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 44;
    expected[R::REG_PC] = 0x71000028;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(4u + 44u, run.bytes);
}
