#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

using namespace freertostest;

namespace {

class FreeRtosPortARMCM3Integration : public FreeRtosFrameTest {
protected:
    RegisterValues read(bool mpu, unsigned int size) {
        layFrame(area, size);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(mpu ? "ARM_CM3_MPU" : "ARM_CM3"));
        TargetThread thread(1, area);
        RegisterList registers;
        EXPECT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        EXPECT_EQ(1u, kernel->memoryReads());
        return valuesOf(registers);
    }
};

} // namespace

TEST_F(FreeRtosPortARMCM3Integration, PlainPortReadsTheCortexM3Frame) {
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM3"), area), read(false, 64));
}

// The memory protection port saves CONTROL below the software-saved registers; it is reported like any
// other entry.
TEST_F(FreeRtosPortARMCM3Integration, MpuPortReadsControlToo) {
    RegisterValues values = read(true, 68);
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM3_MPU"), area), values);
    EXPECT_EQ(frameWord(0), values.at(RegisterId::REG_CONTROL));
}

TEST_F(FreeRtosPortARMCM3Integration, AlignedStackReportsOneMoreWord) {
    std::map<unsigned int, unsigned int> aligned = {{64, 0x01000200u}};
    layFrame(area, 68, aligned);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM3_MPU"));
    TargetThread thread(1, area);
    RegisterList registers;
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM3_MPU"), area, aligned, 4), valuesOf(registers));
}
