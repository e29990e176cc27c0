#include "rtos/threadx/ThreadxFrameLayouts.h"

#include "ThreadxFrameExpectations.h"

#include <gtest/gtest.h>

using namespace threadxframes;

namespace {

struct LayoutCase {
    const FrameLayout& layout;
    const ExpectedLayout& expected;
};

void expectLayout(const FrameLayout& layout, const ExpectedLayout& expected) {
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(expected.size, layout.getSize());
    EXPECT_EQ(expected.offsets, layout.getOffsets());
    // No register may lie outside the frame.
    for (const auto& pair : layout.getOffsets()) {
        EXPECT_LE(pair.second + 4, layout.getSize());
    }
}

} // namespace

TEST(ThreadxFrameLayoutsTest, EveryLayoutHasItsSizeAndOffsets) {
    const LayoutCase cases[] = {
        {THREADX_FRAME_CM0, kCm0},
        {THREADX_FRAME_CM3_BASIC, kCm3Basic},
        {THREADX_FRAME_CM3_EXTENDED, kCm3Extended},
        {THREADX_FRAME_CA7_INTERRUPTED, kCa7Interrupted},
        {THREADX_FRAME_CA7_INTERRUPTED_VFP, kCa7InterruptedVfp},
        {THREADX_FRAME_CA7_SOLICITED, kCa7Solicited},
        {THREADX_FRAME_CA7_SOLICITED_VFP, kCa7SolicitedVfp},
    };
    for (const LayoutCase& entry : cases) {
        expectLayout(entry.layout, entry.expected);
    }
}

TEST(ThreadxFrameLayoutsTest, SpotChecksAgainstTheTable) {
    unsigned int offset = 0;
    ASSERT_TRUE(THREADX_FRAME_CM0.getOffset(RegisterId::REG_R8, offset));
    EXPECT_EQ(4u, offset);
    ASSERT_TRUE(THREADX_FRAME_CM0.getOffset(RegisterId::REG_R7, offset));
    EXPECT_EQ(32u, offset);
    ASSERT_TRUE(THREADX_FRAME_CM3_EXTENDED.getOffset(RegisterId::REG_S16, offset));
    EXPECT_EQ(4u, offset);
    ASSERT_TRUE(THREADX_FRAME_CA7_SOLICITED_VFP.getOffset(RegisterId::REG_LR, offset));
    EXPECT_EQ(236u, offset);
    // The Cortex-A7 frames carry no xPSR, the solicited ones no pc.
    offset = 99;
    EXPECT_FALSE(THREADX_FRAME_CA7_INTERRUPTED.getOffset(RegisterId::REG_XPSR, offset));
    EXPECT_FALSE(THREADX_FRAME_CA7_SOLICITED.getOffset(RegisterId::REG_PC, offset));
    EXPECT_EQ(99u, offset);
}
