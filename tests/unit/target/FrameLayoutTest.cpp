#include "target/FrameLayout.h"

#include <gtest/gtest.h>

namespace {

// The shape of a basic Cortex-M frame as a context switch leaves it: r4-r11 saved by software,
// then the eight words the hardware stacks.
const FrameLayout kBasicFrame(64, {{RegisterId::REG_R4, 0},
                                   {RegisterId::REG_R5, 4},
                                   {RegisterId::REG_R6, 8},
                                   {RegisterId::REG_R7, 12},
                                   {RegisterId::REG_R8, 16},
                                   {RegisterId::REG_R9, 20},
                                   {RegisterId::REG_R10, 24},
                                   {RegisterId::REG_R11, 28},
                                   {RegisterId::REG_R0, 32},
                                   {RegisterId::REG_R1, 36},
                                   {RegisterId::REG_R2, 40},
                                   {RegisterId::REG_R3, 44},
                                   {RegisterId::REG_R12, 48},
                                   {RegisterId::REG_LR, 52},
                                   {RegisterId::REG_PC, 56},
                                   {RegisterId::REG_XPSR, 60}});

} // namespace

TEST(FrameLayoutTest, SizeAndOffsetsAsBuilt) {
    EXPECT_EQ(64u, kBasicFrame.getSize());
    EXPECT_EQ(16u, kBasicFrame.getOffsets().size());
    unsigned int offset = 0;
    ASSERT_TRUE(kBasicFrame.getOffset(RegisterId::REG_PC, offset));
    EXPECT_EQ(56u, offset);
    ASSERT_TRUE(kBasicFrame.getOffset(RegisterId::REG_R4, offset));
    EXPECT_EQ(0u, offset);
}

TEST(FrameLayoutTest, RegisterTheFrameDoesNotHoldIsRefused) {
    unsigned int offset = 0xabcd;
    EXPECT_FALSE(kBasicFrame.getOffset(RegisterId::REG_LR_PENDSV, offset));
    EXPECT_EQ(0xabcdu, offset);
    EXPECT_FALSE(kBasicFrame.getOffset(RegisterId::REG_S16, offset));
    EXPECT_EQ(0xabcdu, offset);
}

TEST(FrameLayoutTest, OffsetsIterateByAscendingId) {
    auto first = kBasicFrame.getOffsets().begin();
    EXPECT_EQ(RegisterId::REG_R0, first->first);
    EXPECT_EQ(32u, first->second);
    EXPECT_EQ(RegisterId::REG_XPSR, kBasicFrame.getOffsets().rbegin()->first);
}
