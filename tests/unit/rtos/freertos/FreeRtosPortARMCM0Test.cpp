#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "debuginfo/SymbolTable.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

class FreeRtosPortARMCM0Integration : public FreeRtosFrameTest {
protected:
    // The function that only the port rewritten after the Armv8-M ones defines, as a program built with it
    // has it in its symbol table.
    static void useRewrittenPort() {
        SymbolTable::getInstance().addSymbol(Symbol("vRestoreContextOfFirstTask", "5c41"));
    }
};

// A task of FreeRTOS V11.1.0's ARM_CM0 port (the real kernel under QEMU's microbit), switched out in
// xQueueReceive: the words from its saved stack pointer up, as PendSV_Handler and the processor left them.
const std::vector<unsigned int> kRewrittenPortFrame = {
    0xfffffffdu, 0x04040404u, 0x05050505u, 0x06060606u, 0x20000bc0u, 0x08080808u,
    0x09090909u, 0x10101010u, 0x11111111u, 0x00000000u, 0x000000ffu, 0x10000000u,
    0xe000ed04u, 0x12121212u, 0x00003da7u, 0x00005edcu, 0x01000000u};

std::string savedSpLine(unsigned int address) {
    char line[40];
    snprintf(line, sizeof(line), "Saved SP: 0x%x\n", address);
    return line;
}

} // namespace

TEST_F(FreeRtosPortARMCM0Integration, ReadsTheFrameAtTheThreadsStackPointer) {
    layFrame(area, 64);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(0x20000a40, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area), ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM0"), area), valuesOf(registers));
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosPortARMCM0Integration, AlignedStackReportsOneMoreWord) {
    std::map<unsigned int, unsigned int> aligned = {{60, 0x21000200u}};
    layFrame(area, 64, aligned);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area) + "Add alignment\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM0"), area, aligned, 4), valuesOf(registers));
    EXPECT_EQ(area + 68, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(0x21000200u, registers.getRegisterValue(RegisterId::REG_XPSR, 0u));
}

TEST_F(FreeRtosPortARMCM0Integration, UnreadableFrameFails) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Saved SP: 0x70000000\nfailed reading frame\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosPortARMCM0Integration, TheRewrittenPortSavesExcReturnBelowTheRegisters) {
    useRewrittenPort();
    layFrame(area, 68);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area), ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM0_EXC_RETURN"), area), valuesOf(registers));
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosPortARMCM0Integration, AFrameOfTheRealRewrittenPort) {
    useRewrittenPort();
    writeWords(area, kRewrittenPortFrame);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    ::testing::internal::GetCapturedStdout();
    RegisterValues expected = {{RegisterId::REG_SP, area + 68},    {RegisterId::REG_LR_PENDSV, 0xfffffffdu},
                               {RegisterId::REG_R0, 0x00000000u},  {RegisterId::REG_R1, 0x000000ffu},
                               {RegisterId::REG_R2, 0x10000000u},  {RegisterId::REG_R3, 0xe000ed04u},
                               {RegisterId::REG_R4, 0x04040404u},  {RegisterId::REG_R5, 0x05050505u},
                               {RegisterId::REG_R6, 0x06060606u},  {RegisterId::REG_R7, 0x20000bc0u},
                               {RegisterId::REG_R8, 0x08080808u},  {RegisterId::REG_R9, 0x09090909u},
                               {RegisterId::REG_R10, 0x10101010u}, {RegisterId::REG_R11, 0x11111111u},
                               {RegisterId::REG_R12, 0x12121212u}, {RegisterId::REG_LR, 0x00003da7u},
                               {RegisterId::REG_PC, 0x00005edcu},  {RegisterId::REG_XPSR, 0x01000000u}};
    EXPECT_EQ(expected, valuesOf(registers));
}

TEST_F(FreeRtosPortARMCM0Integration, TheRewrittenPortsAlignedStackReportsOneMoreWord) {
    useRewrittenPort();
    std::map<unsigned int, unsigned int> aligned = {{64, 0x21000200u}};
    layFrame(area, 68, aligned);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM0"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(savedSpLine(area) + "Add alignment\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(area + 72, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(0x21000200u, registers.getRegisterValue(RegisterId::REG_XPSR, 0u));
}
