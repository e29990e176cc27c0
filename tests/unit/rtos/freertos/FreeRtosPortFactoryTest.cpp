#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "rtos/RtosPort.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <memory>

using namespace freertostest;

namespace {

// Each variant name, the first variant of its row, and the frame it reads from one and the same stack: a non-secure basic
// exception return value at every offset where a port looks for one, and a non-zero first word.
struct VariantCase {
    const char* variant;
    const char* row;
    const char* layout;
};

const VariantCase kVariants[] = {
    {"ARM_CM0", "ARM_CM0", "FRAMELAYOUT_CM0"},
    {"ARM_CM3", "ARM_CM3", "FRAMELAYOUT_CM3"},
    {"ARM_CM3_MPU", "ARM_CM3_MPU", "FRAMELAYOUT_CM3_MPU"},
    {"ARM_CM4F", "ARM_CM4F", "FRAMELAYOUT_CM4F_BASIC"},
    {"ARM_CM7", "ARM_CM4F", "FRAMELAYOUT_CM4F_BASIC"},
    {"ARM_CM4_MPU", "ARM_CM4_MPU", "FRAMELAYOUT_CM4F_BASIC_MPU"},
    {"ARM_CM23", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM23_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM33", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM55", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM85", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM33_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM55_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM85_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CA9", "ARM_CA9", "FRAMELAYOUT_CA9_FPU"},
};

class FreeRtosPortFactoryIntegration : public FreeRtosFrameTest {};

} // namespace

TEST_F(FreeRtosPortFactoryIntegration, EveryVariantMakesItsPort) {
    std::map<unsigned int, unsigned int> words;
    for (unsigned int probe : {4u, 8u, 32u, 36u}) {
        words[probe] = kExcReturnNonSecureBasic;
    }
    layFrame(area, 332, words);
    for (const VariantCase& variant : kVariants) {
        SCOPED_TRACE(variant.variant);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(variant.variant));
        ASSERT_NE(nullptr, port);
        EXPECT_EQ(FreeRtosPortFactory::frames(variant.row), &dynamic_cast<RtosPort&>(*port).getFrames());
        TargetThread thread(1, area);
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(expectedRegisters(frameShape(variant.layout), area, words), valuesOf(registers));
    }
}

TEST(FreeRtosPortFactoryTest, NamesAreComparedExactly) {
    for (const char* name : {"ARM_CM4", "arm_cm3", "ARM_CM3 ", " ARM_CM3", "ARM_CM33_TZ", "ARM_CA7", ""}) {
        SCOPED_TRACE(name);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(name));
        EXPECT_EQ(nullptr, port);
    }
}

// Nothing can be told from the target yet, so the variant has to be given.
TEST_F(FreeRtosPortFactoryIntegration, DetectionFindsNothing) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(kernel->server()));
    EXPECT_EQ(nullptr, port);
    EXPECT_EQ(0u, kernel->memoryReads());
}
