#include "FreeRtosFrameTestSupport.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/freertos/FreeRtosBuildFacts.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

// Where the task's own stack lies: the saved stack pointer in the context points here.
const unsigned int kTaskStackOffset = 0x400;

class FreeRtosPortMpuContextIntegration : public FreeRtosFrameTest {
protected:
    void SetUp() override {
        FreeRtosFrameTest::SetUp();
        taskStack = area + kTaskStackOffset;
    }

    // The function that only the ports keeping the context in the control block define.
    static void useControlBlockPort() {
        SymbolTable::getInstance().addSymbol(Symbol("vSVCHandler_C", "1d41"));
    }

    // The context as xPortPendSVHandler of ARM_CM4_MPU (V11.1.0) leaves it in the control block, ending
    // where pxTopOfStack points: every word known, the exception return value and xPSR as given.
    unsigned int layContext(const char* shape, unsigned int excReturn, unsigned int xpsr) {
        const FrameShape& frame = frameShape(shape);
        std::map<RegisterId, unsigned int> offsets = parseEntries(frame.entries);
        layFrame(area, frame.size,
                 {{offsets[RegisterId::REG_LR_PENDSV], excReturn},
                  {offsets[RegisterId::REG_SP], taskStack},
                  {offsets[RegisterId::REG_XPSR], xpsr}});
        return area + frame.size;
    }

    RegisterValues expected(const char* shape, unsigned int excReturn, unsigned int xpsr, unsigned int sp) {
        const FrameShape& frame = frameShape(shape);
        std::map<RegisterId, unsigned int> offsets = parseEntries(frame.entries);
        RegisterValues values = expectedRegisters(
            frame, area,
            {{offsets[RegisterId::REG_LR_PENDSV], excReturn}, {offsets[RegisterId::REG_XPSR], xpsr}});
        values[RegisterId::REG_SP] = sp;
        return values;
    }

    // The context that ends at end, read by the ARM_CM4_MPU port of a build that keeps it in the control
    // block.
    bool readContext(unsigned int end, RegisterList& registers) {
        useControlBlockPort();
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM4_MPU"));
        TargetThread thread(1, end);
        return port->getRegisters(kernel->server(), thread, registers);
    }

    static bool keptInControlBlock() {
        return (FreeRtosBuildFacts::ofProgram().bits() & FreeRtosBuildFacts::kContextInControlBlock) != 0;
    }

    unsigned int taskStack = 0;
};

std::string contextLine(unsigned int address) {
    char line[48];
    snprintf(line, sizeof(line), "Saved context ends at: 0x%x\n", address);
    return line;
}

} // namespace

TEST_F(FreeRtosPortMpuContextIntegration, ABasicContextEndsAtTheTopOfStack) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    EXPECT_EQ(contextLine(end), ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expected("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u, taskStack + 32),
              valuesOf(registers));
    EXPECT_EQ(2u, kernel->memoryReads());
}

TEST_F(FreeRtosPortMpuContextIntegration, AnExtendedContextHoldsTheFloatingPointRegisters) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_EXT", 0xffffffedu, 0x61000000u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(expected("FRAMELAYOUT_MPU_CONTEXT_EXT", 0xffffffedu, 0x61000000u, taskStack + 104),
              valuesOf(registers));
}

TEST_F(FreeRtosPortMpuContextIntegration, AnAlignedStackReportsOneMoreWord) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x21000200u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    EXPECT_EQ(contextLine(end) + "Add alignment\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(taskStack + 36, registers.getRegisterValue(RegisterId::REG_SP, 0u));
}

TEST_F(FreeRtosPortMpuContextIntegration, AnUnreadableContextFails) {
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(readContext(0x70000100u, registers));
    EXPECT_EQ(contextLine(0x70000100u) + "Failed reading saved context\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosPortMpuContextIntegration, OnlyTheNewerPortsKeepTheContextInTheControlBlock) {
    EXPECT_FALSE(keptInControlBlock());
    useControlBlockPort();
    EXPECT_TRUE(keptInControlBlock());
}

TEST_F(FreeRtosPortMpuContextIntegration, TheMpuPortsReadTheControlBlock) {
    useControlBlockPort();
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u);
    RegisterValues context =
        expected("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u, taskStack + 32);
    TargetThread thread(1, end);
    for (const char* variant : {"ARM_CM3_MPU", "ARM_CM4_MPU"}) {
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(variant));
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        EXPECT_EQ(contextLine(end), ::testing::internal::GetCapturedStdout());
        EXPECT_EQ(context, valuesOf(registers));
    }
}

TEST_F(FreeRtosPortMpuContextIntegration, WithoutTheMpuTheStackHoldsTheFrame) {
    useControlBlockPort();
    layFrame(area, 64);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM3"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM3"), area), valuesOf(registers));
}
