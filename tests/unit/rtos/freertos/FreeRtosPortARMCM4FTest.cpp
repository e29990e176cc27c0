#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

const unsigned int kExcReturnBasic = 0xFFFFFFFDu;    // bit 4 set: no floating-point context
const unsigned int kExcReturnExtended = 0xFFFFFFEDu; // bit 4 clear

class FreeRtosPortARMCM4FIntegration : public FreeRtosFrameTest {
protected:
    // Lays a frame of the shape with excReturn at its LR_PENDSV offset, reads it through the port and
    // checks registers and log.
    void expectFrame(bool mpu, unsigned int excReturn, const std::string& shapeName,
                     const std::string& frameLine) {
        const FrameShape& shape = frameShape(shapeName);
        std::map<unsigned int, unsigned int> words = {
            {parseEntries(shape.entries).at(RegisterId::REG_LR_PENDSV), excReturn}};
        layFrame(area, shape.size, words);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(mpu ? "ARM_CM4_MPU" : "ARM_CM4F"));
        TargetThread thread(1, area);
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        char expected[120];
        snprintf(expected, sizeof(expected), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n%s", excReturn, area,
                 frameLine.c_str());
        EXPECT_EQ(expected, ::testing::internal::GetCapturedStdout());
        EXPECT_EQ(expectedRegisters(shape, area, words), valuesOf(registers));
        EXPECT_EQ(2u, kernel->memoryReads());
    }
};

const char* const kBasicLine = "Frame type: Basic, OS frame Basic\n";
const char* const kExtendedLine = "Frame type: Extended, OS frame: Extended\n";

} // namespace

TEST_F(FreeRtosPortARMCM4FIntegration, BitFourSetSelectsTheBasicFrame) {
    expectFrame(false, kExcReturnBasic, "FRAMELAYOUT_CM4F_BASIC", kBasicLine);
}

TEST_F(FreeRtosPortARMCM4FIntegration, BitFourClearSelectsTheExtendedFrame) {
    expectFrame(false, kExcReturnExtended, "FRAMELAYOUT_CM4F_EXT", kExtendedLine);
}

TEST_F(FreeRtosPortARMCM4FIntegration, MpuPortBasicFrame) {
    expectFrame(true, kExcReturnBasic, "FRAMELAYOUT_CM4F_BASIC_MPU", kBasicLine);
}

TEST_F(FreeRtosPortARMCM4FIntegration, MpuPortExtendedFrame) {
    expectFrame(true, kExcReturnExtended, "FRAMELAYOUT_CM4F_EXT_MPU", kExtendedLine);
}

// The exception return value and the saved status word go into the list like any other entry.
TEST_F(FreeRtosPortARMCM4FIntegration, AlignedExtendedFrame) {
    std::map<unsigned int, unsigned int> words = {{32, kExcReturnExtended}, {128, 0x61000200u}};
    layFrame(area, 204, words);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM4F"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(kExtendedLine + std::string("Add alignment\n"), log.substr(log.find("Frame type")));
    RegisterValues values = valuesOf(registers);
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM4F_EXT"), area, words, 4), values);
    EXPECT_EQ(area + 208, values.at(RegisterId::REG_SP));
    EXPECT_EQ(kExcReturnExtended, values.at(RegisterId::REG_LR_PENDSV));
}

TEST_F(FreeRtosPortARMCM4FIntegration, UnreadableExceptionReturnFails) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM4F"));
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Failed reading saved stack ptr\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
    EXPECT_EQ(1u, kernel->memoryReads());
}

// The word can be read, but the extended frame runs past the end of memory.
TEST_F(FreeRtosPortARMCM4FIntegration, UnreadableFrameFails) {
    unsigned int nearEnd = 0x20010000 - 68;
    layFrame(nearEnd, 68, {{32, kExcReturnExtended}});
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM4F"));
    TargetThread thread(1, nearEnd);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port->getRegisters(kernel->server(), thread, registers));
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::string(kExtendedLine) + "failed reading frame\n", log.substr(log.find("Frame type")));
    EXPECT_TRUE(registers.getRegisters().empty());
}
