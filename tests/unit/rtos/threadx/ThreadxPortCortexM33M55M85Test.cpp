#include "rtos/threadx/ThreadxPortCortexM33M55M85.h"

#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "rtos/threadx/ThreadxData.h"

#include <gtest/gtest.h>

#include <memory>

using namespace threadxframes;

namespace {

class ThreadxPortCortexM33M55M85Integration : public ::testing::Test {
protected:
    ThreadxPortRun registersAt(std::uint32_t sp, std::shared_ptr<ThreadData> data = nullptr) {
        TargetThread thread(0x20001000, sp);
        thread.setThreadData(std::move(data));
        return runPort(port, kernel, thread);
    }

    static std::shared_ptr<ThreadxData> secureContext(std::uint32_t address, bool valid) {
        auto data = std::make_shared<ThreadxData>();
        data->setSecureContextAddress(address);
        data->setSecureContextValid(valid);
        return data;
    }

    static std::string headLines(std::uint32_t excReturn, std::uint32_t sp) {
        char text[80];
        snprintf(text, sizeof(text), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, sp);
        return text;
    }

    std::uint32_t at(const char* symbol) { return kernel.symbolAddress(symbol); }

    KernelTarget kernel{"threadx_frames_cm.elf"};
    ThreadxPortCortexM33M55M85 port;
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

TEST_F(ThreadxPortCortexM33M55M85Integration, SecureBitWithAnInvalidContextReadsTheNonSecureLayout) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_extended");
    ThreadxPortRun run = registersAt(sp, secureContext(at("secure_context_extended"), false));

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm3Extended, 0xE6000000, {{0, kExcReturnExtended}, {128, kXpsrPlain}});
    expected[R::REG_SP] = sp + 204;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
}

// ThreadX built with TX_SINGLE_MODE_SECURE runs every thread on the secure stack: a thread that used the FPU saves
// EXC_RETURN 0xffffffed (bit 6 set, bit 4 clear) in front of the plain extended frame, and no thread has data.
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

TEST_F(ThreadxPortCortexM33M55M85Integration, ValidContextWithoutTheSecureBitIsNotUsed) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_basic");
    ThreadxPortRun run = registersAt(sp, secureContext(at("secure_context_basic"), true));
    ASSERT_TRUE(run.result);
    EXPECT_EQ(0xB5000004u, run.registers.getRegisterValue(R::REG_R4, 0u));
    EXPECT_EQ(sp + 68, run.registers.getRegisterValue(R::REG_SP, 0u));
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, SecureBasicContext) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_basic");
    std::uint32_t secureSp = at("frame_cm33_secure_basic");
    ThreadxPortRun run = registersAt(sp, secureContext(at("secure_context_basic"), true));

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm33SecureBasic, 0x5B000000, {{68, kXpsrPlain}});
    expected[R::REG_SP] = secureSp + 72;
    EXPECT_EQ(expected, valuesOf(run.registers));
    // EXC_RETURN, the secure stack pointer, the secure frame.
    EXPECT_EQ(3u, run.reads);
    EXPECT_EQ(4u + 4u + 72u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + kBasicLine, run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, SecureExtendedContext) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_extended");
    std::uint32_t secureSp = at("frame_cm33_secure_extended");
    ThreadxPortRun run = registersAt(sp, secureContext(at("secure_context_extended"), true));

    ASSERT_TRUE(run.result);
    Values expected = framed(kCm33SecureExtended, 0x5E000000, {{68, kXpsrAligned}});
    expected[R::REG_SP] = secureSp + 208 + 4;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(0x5E0000CCu, run.registers.getRegisterValue(R::REG_S31, 0u));
    EXPECT_EQ(4u + 4u + 208u, run.bytes);
    EXPECT_EQ(headLines(kExcReturnExtended, sp) + kExtendedLine + "Add alignment\n", run.log);
}

TEST_F(ThreadxPortCortexM33M55M85Integration, UnreadableSecureContextFails) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = at("frame_cm33_to_secure_basic");
    ThreadxPortRun run = registersAt(sp, secureContext(0x30000000, true));
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLines(kExcReturnBasic, sp) + kBasicLine + "Failed reading secure context\n", run.log);
    EXPECT_EQ(2u, run.reads);
    // A debug line only.
    EXPECT_EQ("", threadxlog::capture(threadxlog::kDefault, [&] {
                  TargetThread thread(0x20001000, sp);
                  thread.setThreadData(secureContext(0x30000000, true));
                  RegisterList registers;
                  port.getRegisters(kernel.server(), thread, registers);
              }));
}

TEST_F(ThreadxPortCortexM33M55M85Integration, UnreadableExcReturnFails) {
    ASSERT_TRUE(kernel.ok());
    ThreadxPortRun run = registersAt(0x30000000, secureContext(at("secure_context_basic"), true));
    EXPECT_FALSE(run.result);
    EXPECT_EQ("Failed reading saved stack ptr\n", run.log);
    EXPECT_EQ(1u, run.reads);
}

TEST(ThreadxDataTest, StartsCleared) {
    ThreadxData data;
    EXPECT_EQ(0u, data.getSecureContextAddress());
    EXPECT_FALSE(data.isSecureContextValid());
    data.setSecureContextAddress(0x30001000);
    data.setSecureContextValid(true);
    EXPECT_EQ(0x30001000u, data.getSecureContextAddress());
    EXPECT_TRUE(data.isSecureContextValid());
}
