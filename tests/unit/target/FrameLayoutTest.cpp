#include "target/FrameLayout.h"

#include <gtest/gtest.h>

namespace {

using R = RegisterId;
using Piece = FrameLayout::Piece;

// The shape of a basic Cortex-M frame as a context switch leaves it: r4-r11 saved by software,
// then the eight words the hardware stacks.
const std::map<RegisterId, unsigned int> kBasicOffsets = {
    {R::REG_R4, 0},   {R::REG_R5, 4},   {R::REG_R6, 8},  {R::REG_R7, 12},  {R::REG_R8, 16}, {R::REG_R9, 20},
    {R::REG_R10, 24}, {R::REG_R11, 28}, {R::REG_R0, 32}, {R::REG_R1, 36},  {R::REG_R2, 40}, {R::REG_R3, 44},
    {R::REG_R12, 48}, {R::REG_LR, 52},  {R::REG_PC, 56}, {R::REG_XPSR, 60}};
const FrameLayout kBasicFrame(64, kBasicOffsets);

} // namespace

TEST(FrameLayoutTest, SizeAndOffsetsAsBuilt) {
    EXPECT_EQ(64u, kBasicFrame.getSize());
    EXPECT_EQ(16u, kBasicFrame.getOffsets().size());
    unsigned int offset = 0;
    ASSERT_TRUE(kBasicFrame.getOffset(R::REG_PC, offset));
    EXPECT_EQ(56u, offset);
    ASSERT_TRUE(kBasicFrame.getOffset(R::REG_R4, offset));
    EXPECT_EQ(0u, offset);
}

TEST(FrameLayoutTest, RegisterTheFrameDoesNotHoldIsRefused) {
    unsigned int offset = 0xabcd;
    for (RegisterId id : {R::REG_LR_PENDSV, R::REG_S16}) {
        EXPECT_FALSE(kBasicFrame.getOffset(id, offset));
        EXPECT_EQ(0xabcdu, offset);
    }
}

TEST(FrameLayoutTest, OffsetsIterateByAscendingId) {
    auto first = kBasicFrame.getOffsets().begin();
    EXPECT_EQ(R::REG_R0, first->first);
    EXPECT_EQ(32u, first->second);
    EXPECT_EQ(R::REG_XPSR, kBasicFrame.getOffsets().rbegin()->first);
}

// Pieces lie one after the other from the lowest address; a run covers its registers in id order.
TEST(FrameLayoutTest, PiecesInOrderMakeTheSameFrame) {
    const FrameLayout pieces{{R::REG_R4, R::REG_R11}, FrameLayout::basicExceptionFrame()};
    EXPECT_EQ(64u, pieces.getSize());
    EXPECT_EQ(kBasicOffsets, pieces.getOffsets());
}

// Unnamed words count in the offsets and the size but hold no register; REG_NONE named is a register.
TEST(FrameLayoutTest, UnnamedWordsTakeRoomOnly) {
    const FrameLayout frame{Piece::unnamed(2), R::REG_NONE, Piece::join({R::REG_CPSR, Piece::unnamed(1)}),
                            R::REG_PC};
    EXPECT_EQ(24u, frame.getSize());
    std::map<RegisterId, unsigned int> expected = {{R::REG_NONE, 8}, {R::REG_CPSR, 12}, {R::REG_PC, 20}};
    EXPECT_EQ(expected, frame.getOffsets());
}

// What the processor stacks with floating point: s0-s15 and FPSCR behind the basic frame, and a reserved
// word.
TEST(FrameLayoutTest, ExtendedExceptionFrame) {
    const FrameLayout frame{FrameLayout::extendedExceptionFrame()};
    EXPECT_EQ(104u, frame.getSize());
    unsigned int offset = 0;
    ASSERT_TRUE(frame.getOffset(R::REG_XPSR, offset));
    EXPECT_EQ(28u, offset);
    ASSERT_TRUE(frame.getOffset(R::REG_S0, offset));
    EXPECT_EQ(32u, offset);
    ASSERT_TRUE(frame.getOffset(R::REG_FPSCR, offset));
    EXPECT_EQ(96u, offset);
    EXPECT_EQ(25u, frame.getOffsets().size());
}
