#include "rtos/freertos/FreeRtosFrameLayouts.h"

#include "FreeRtosFrameTestSupport.h"
#include "target/SavedFrame.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <utility>

using namespace freertostest;

TEST(FreeRtosFrameLayoutsTest, EveryLayoutHoldsExactlyItsSizeAndOffsets) {
    for (const auto* shapes : {&frameShapes(), &controlBlockShapes()}) {
        for (const FrameShape& shape : *shapes) {
            SCOPED_TRACE(shape.name);
            const FrameLayout& layout = productLayout(shape.name);
            EXPECT_EQ(shape.size, layout.getSize());
            EXPECT_EQ(parseEntries(shape.entries), layout.getOffsets());
        }
    }
}

TEST(FreeRtosFrameLayoutsTest, TwinsAreSeparateObjects) {
    EXPECT_NE(&FRAMELAYOUT_CM0, &FRAMELAYOUT_CM3);
    EXPECT_NE(&FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ, &FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU);
    EXPECT_NE(&FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ, &FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU);
}

// The port pushes FPSCR, then d0-d15, then d16-d31, then its flag word: every double and FPSCR are the
// task's.
TEST(FreeRtosFrameLayoutsTest, TheCortexA9FpuFrameHoldsEveryDoubleAndFpscr) {
    const std::pair<RegisterId, unsigned int> words[] = {{RegisterId::REG_D16_LOW, 4},
                                                         {RegisterId::REG_D31_HIGH, 128},
                                                         {RegisterId::REG_S0, 132},
                                                         {RegisterId::REG_S31, 256},
                                                         {RegisterId::REG_FPSCR, 260}};
    for (const auto& word : words) {
        unsigned int offset = 0;
        EXPECT_TRUE(FRAMELAYOUT_CA9_FPU.getOffset(word.first, offset));
        EXPECT_EQ(word.second, offset);
    }
}

namespace {

bool isCortexA(const FrameShape& shape) {
    return std::string(shape.name).find("CA9") != std::string::npos;
}

// The layout read as the one frame of a port, from the frame at address.
PortFrames onlyFrame(const FrameLayout& layout) {
    return {nullptr,
            {{{}, &layout, PortFrames::Place::AtStackPointer, PortFrames::StackLog::None, nullptr, 0}},
            nullptr};
}

bool readLayout(RspClient& server, unsigned int address, const FrameLayout& layout, RegisterList& registers) {
    TargetThread thread(1, address);
    SavedFrame frame(server, thread);
    return frame.read(
        onlyFrame(layout), [] { return 0U; }, registers);
}

class FreeRtosFrameLayoutsIntegration : public FreeRtosFrameTest,
                                        public ::testing::WithParamInterface<FrameShape> {};

std::string shapeName(const ::testing::TestParamInfo<FrameShape>& info) {
    return info.param.name;
}

} // namespace

// The frame read over a real socket: one read, the stack pointer past the frame, every register of the
// layout at its offset and nothing else.
TEST_P(FreeRtosFrameLayoutsIntegration, ReadsTheFrameInOneRead) {
    const FrameShape& shape = GetParam();
    layFrame(area, shape.size);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readLayout(kernel->server(), area, productLayout(shape.name), registers));
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(shape, area), valuesOf(registers));
    EXPECT_EQ(1u, kernel->memoryReads());
}

// Bit 9 of the stacked xPSR: the core padded the stack with one word, which the stack pointer skips;
// the status register itself is reported as saved. The A profile has no such padding.
TEST_P(FreeRtosFrameLayoutsIntegration, AlignmentBitOfTheStatusWordAddsOneWord) {
    const FrameShape& shape = GetParam();
    std::map<RegisterId, unsigned int> offsets = parseEntries(shape.entries);
    bool cortexM = !isCortexA(shape);
    RegisterId status = cortexM ? RegisterId::REG_XPSR : RegisterId::REG_CPSR;
    std::map<unsigned int, unsigned int> aligned = {{offsets.at(status), 0x01000200u}};
    layFrame(area, shape.size, aligned);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readLayout(kernel->server(), area, productLayout(shape.name), registers));
    EXPECT_EQ(cortexM ? "Add alignment\n" : "", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(shape, area, aligned, cortexM ? 4 : 0), valuesOf(registers));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, FreeRtosFrameLayoutsIntegration, ::testing::ValuesIn(frameShapes()),
                         shapeName);

TEST_F(FreeRtosFrameLayoutsIntegration, UnreadableFrameAddsNothing) {
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(readLayout(kernel->server(), 0x70000000, FRAMELAYOUT_CM3, registers));
    EXPECT_EQ("failed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosFrameLayoutsIntegration, FrameCutShortByTheEndOfMemoryIsUnreadable) {
    unsigned int lastWords = 0x20010000 - 8;
    layFrame(lastWords, 8);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(readLayout(kernel->server(), lastWords, FRAMELAYOUT_CM0, registers));
    EXPECT_EQ("failed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

// The probe's word is read once and logged with the stack pointer; a choice that does not hold reads no
// frame.
TEST_F(FreeRtosFrameLayoutsIntegration, ExceptionReturnIsReadAtTheProbeOffset) {
    layFrame(area, 72, {{4, kExcReturnNonSecureBasic}});
    const PortFrames::Probe probe = PortFrames::savedExceptionReturn(FRAMELAYOUT_BASIC_BASIC_NTZ);
    PortFrames port = onlyFrame(FRAMELAYOUT_BASIC_BASIC_NTZ);
    port.choices.front().tests = {PortFrames::word(probe, ~0U, kExcReturnNonSecureBasic + 1),
                                  PortFrames::word(probe, ~0U, kExcReturnNonSecureBasic)};
    TargetThread thread(1, area);
    SavedFrame frame(kernel->server(), thread);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(frame.read(
        port, [] { return 0U; }, registers));
    char expected[80];
    snprintf(expected, sizeof(expected), "LR_pendSV: 0xffffffbc\nSaved SP: 0x%x\n", area);
    EXPECT_EQ(expected, ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosFrameLayoutsIntegration, ExceptionReturnUnreadable) {
    const PortFrames::Probe probe = PortFrames::savedExceptionReturn(FRAMELAYOUT_CM4F_BASIC);
    PortFrames port = onlyFrame(FRAMELAYOUT_CM4F_BASIC);
    port.choices.front().tests = {PortFrames::word(probe, 0, 0)};
    TargetThread thread(1, 0x70000000);
    SavedFrame frame(kernel->server(), thread);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(frame.read(
        port, [] { return 0U; }, registers));
    EXPECT_EQ("Failed reading saved stack ptr\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}
