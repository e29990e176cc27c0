#include "rtos/freertos/FreeRtosFrameReader.h"

#include "FreeRtosFrameTestSupport.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"

#include <gtest/gtest.h>

using namespace freertostest;

namespace {

bool isCortexA(const FrameShape& shape) {
    return std::string(shape.name).find("CA9") != std::string::npos;
}

class FreeRtosFrameReaderIntegration : public FreeRtosFrameTest,
                                       public ::testing::WithParamInterface<FrameShape> {};

std::string shapeName(const ::testing::TestParamInfo<FrameShape>& info) {
    return info.param.name;
}

} // namespace

// The frame read over a real socket: one read, the stack pointer past the frame, every register of the
// layout at its offset and nothing else.
TEST_P(FreeRtosFrameReaderIntegration, ReadsTheFrameInOneRead) {
    const FrameShape& shape = GetParam();
    layFrame(area, shape.size);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(FreeRtosFrameReader::readFrame(kernel->server(), area, productLayout(shape.name),
                                               !isCortexA(shape), registers));
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(shape, area), valuesOf(registers));
    EXPECT_EQ(1u, kernel->memoryReads());
}

// Bit 9 of the stacked xPSR: the core padded the stack with one word, which the stack pointer skips;
// the status register itself is reported as saved. The A profile has no such padding.
TEST_P(FreeRtosFrameReaderIntegration, AlignmentBitOfTheStatusWordAddsOneWord) {
    const FrameShape& shape = GetParam();
    std::map<RegisterId, unsigned int> offsets = parseEntries(shape.entries);
    bool cortexM = !isCortexA(shape);
    RegisterId status = cortexM ? RegisterId::REG_XPSR : RegisterId::REG_CPSR;
    std::map<unsigned int, unsigned int> aligned = {{offsets.at(status), 0x01000200u}};
    layFrame(area, shape.size, aligned);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(FreeRtosFrameReader::readFrame(kernel->server(), area, productLayout(shape.name), cortexM,
                                               registers));
    EXPECT_EQ(cortexM ? "Add alignment\n" : "", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(shape, area, aligned, cortexM ? 4 : 0), valuesOf(registers));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, FreeRtosFrameReaderIntegration, ::testing::ValuesIn(frameShapes()),
                         shapeName);

TEST_F(FreeRtosFrameReaderIntegration, UnreadableFrameAddsNothing) {
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(
        FreeRtosFrameReader::readFrame(kernel->server(), 0x70000000, FRAMELAYOUT_CM3, true, registers));
    EXPECT_EQ("failed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosFrameReaderIntegration, FrameCutShortByTheEndOfMemoryIsUnreadable) {
    unsigned int lastWords = 0x20010000 - 8;
    layFrame(lastWords, 8);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(
        FreeRtosFrameReader::readFrame(kernel->server(), lastWords, FRAMELAYOUT_CM0, true, registers));
    EXPECT_EQ("failed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosFrameReaderIntegration, ExceptionReturnIsReadAtTheProbeOffset) {
    layFrame(area, 72, {{4, kExcReturnNonSecureBasic}});
    unsigned int excReturn = 0;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(FreeRtosFrameReader::readExceptionReturn(kernel->server(), area, FRAMELAYOUT_BASIC_BASIC_NTZ,
                                                         excReturn));
    char expected[80];
    snprintf(expected, sizeof(expected), "LR_pendSV: 0xffffffbc\nSaved SP: 0x%x\n", area);
    EXPECT_EQ(expected, ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(kExcReturnNonSecureBasic, excReturn);
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosFrameReaderIntegration, ExceptionReturnUnreadable) {
    unsigned int excReturn = 0x1234;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(FreeRtosFrameReader::readExceptionReturn(kernel->server(), 0x70000000,
                                                          FRAMELAYOUT_CM4F_BASIC, excReturn));
    EXPECT_EQ("Failed reading saved stack ptr\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(0x1234u, excReturn);
}

TEST_F(FreeRtosFrameReaderIntegration, ProbeLayoutWithoutExceptionReturnIsCorrupt) {
    unsigned int excReturn = 0x1234;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(
        FreeRtosFrameReader::readExceptionReturn(kernel->server(), area, FRAMELAYOUT_CM3, excReturn));
    EXPECT_EQ("Corrupt frame layout (LR_PENDSV)\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(0u, kernel->memoryReads());
}
