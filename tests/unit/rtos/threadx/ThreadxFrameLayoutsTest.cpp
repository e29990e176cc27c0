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
    // r8-r11 before r4-r7 on the Cortex-M0; s16-s31 right behind EXC_RETURN; lr last of a solicited VFP
    // frame.
    const struct {
        const FrameLayout& layout;
        RegisterId id;
        unsigned int offset;
    } spots[] = {{THREADX_FRAME_CM0, RegisterId::REG_R8, 4},
                 {THREADX_FRAME_CM0, RegisterId::REG_R7, 32},
                 {THREADX_FRAME_CM3_EXTENDED, RegisterId::REG_S16, 4},
                 {THREADX_FRAME_CA7_SOLICITED_VFP, RegisterId::REG_LR, 236}};
    for (const auto& spot : spots) {
        unsigned int offset = 0;
        EXPECT_TRUE(spot.layout.getOffset(spot.id, offset));
        EXPECT_EQ(spot.offset, offset);
    }
    // The Cortex-A7 frames carry no xPSR, the solicited ones no pc.
    EXPECT_EQ(0u, THREADX_FRAME_CA7_INTERRUPTED.getOffsets().count(RegisterId::REG_XPSR));
    EXPECT_EQ(0u, THREADX_FRAME_CA7_SOLICITED.getOffsets().count(RegisterId::REG_PC));
}
