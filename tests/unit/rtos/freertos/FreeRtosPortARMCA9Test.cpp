#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

class FreeRtosPortARMCA9Integration : public FreeRtosFrameTest {
protected:
    targetsim::Profile profile() const override { return targetsim::Profile::A; }
};

} // namespace

// The first word says whether the task has a floating-point context: 0, it has none.
TEST_F(FreeRtosPortARMCA9Integration, TaskWithoutFloatingPointContext) {
    std::map<unsigned int, unsigned int> noFpu = {{0, 0}};
    layFrame(area, 72, noFpu);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CA9"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    char expected[40];
    snprintf(expected, sizeof(expected), "Saved SP: 0x%x\n", area);
    EXPECT_EQ(expected, ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CA9"), area, noFpu), valuesOf(registers));
    EXPECT_EQ(2u, kernel->memoryReads());
}

TEST_F(FreeRtosPortARMCA9Integration, TaskWithFloatingPointContextReportsOnlyFpscrOfIt) {
    std::map<unsigned int, unsigned int> fpu = {{0, 1}};
    layFrame(area, 332, fpu);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CA9"));
    TargetThread thread(1, area);
    RegisterList registers;
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    RegisterValues values = valuesOf(registers);
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CA9_FPU"), area, fpu), values);
    EXPECT_EQ(frameWord(260), values.at(RegisterId::REG_FPSCR));
    EXPECT_EQ(0u, values.count(RegisterId::REG_S0));
}

// The A profile stacks nothing by itself, so bit 9 of the status word means nothing here.
TEST_F(FreeRtosPortARMCA9Integration, StatusBitNineAddsNoAlignment) {
    std::map<unsigned int, unsigned int> words = {{0, 0}, {68, 0x600002D3u}};
    layFrame(area, 72, words);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CA9"));
    TargetThread thread(1, area);
    RegisterList registers;
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(area + 72, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(0x600002D3u, registers.getRegisterValue(RegisterId::REG_CPSR, 0u));
}

TEST_F(FreeRtosPortARMCA9Integration, UnreadableFirstWordFails) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CA9"));
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Saved SP: 0x70000000\nFailed reading saved stack ptr\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}
