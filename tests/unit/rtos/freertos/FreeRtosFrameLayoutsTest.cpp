#include "rtos/freertos/FreeRtosFrameLayouts.h"

#include "FreeRtosFrameTestSupport.h"

#include <gtest/gtest.h>

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

TEST(FreeRtosFrameLayoutsTest, TheCortexA9FpuFrameReportsNoSingleRegisters) {
    unsigned int offset = 0;
    EXPECT_FALSE(FRAMELAYOUT_CA9_FPU.getOffset(RegisterId::REG_S0, offset));
    EXPECT_FALSE(FRAMELAYOUT_CA9_FPU.getOffset(RegisterId::REG_S31, offset));
    ASSERT_TRUE(FRAMELAYOUT_CA9_FPU.getOffset(RegisterId::REG_FPSCR, offset));
    EXPECT_EQ(260u, offset);
}
