#include "rtos/freertos/FreeRtosPortARMCM0.h"

#include "FreeRtosFrameTestSupport.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

class FreeRtosPortARMCM0Integration : public FreeRtosFrameTest {};

std::string savedSpLine(unsigned int address) {
    char line[40];
    snprintf(line, sizeof(line), "Saved SP: 0x%x\n", address);
    return line;
}

} // namespace

TEST_F(FreeRtosPortARMCM0Integration, ReadsTheFrameAtTheThreadsStackPointer) {
    layFrame(area, 64);
    FreeRtosPortARMCM0 port;
    TargetThread thread(0x20000a40, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area), ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM0"), area), valuesOf(registers));
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosPortARMCM0Integration, AlignedStackReportsOneMoreWord) {
    std::map<unsigned int, unsigned int> aligned = {{60, 0x21000200u}};
    layFrame(area, 64, aligned);
    FreeRtosPortARMCM0 port;
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area) + "Add alignment\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM0"), area, aligned, 4), valuesOf(registers));
    EXPECT_EQ(area + 68, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(0x21000200u, registers.getRegisterValue(RegisterId::REG_XPSR, 0u));
}

TEST_F(FreeRtosPortARMCM0Integration, UnreadableFrameFails) {
    FreeRtosPortARMCM0 port;
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Saved SP: 0x70000000\nfailed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}
