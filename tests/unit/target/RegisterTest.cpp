#include "target/Register.h"

#include <gtest/gtest.h>

TEST(RegisterTest, DefaultIsNoneWithZeroes) {
    Register reg;
    EXPECT_EQ(RegisterId::REG_NONE, reg.getId());
    EXPECT_EQ(0u, reg.getValue());
    EXPECT_EQ(0u, reg.getRegNumber());
}

TEST(RegisterTest, SettersChangeOnlyTheirField) {
    Register reg(RegisterId::REG_PC, 0x08000b4e, 15);
    reg.setValue(0x08000100);
    reg.setId(RegisterId::REG_LR);
    EXPECT_EQ(RegisterId::REG_LR, reg.getId());
    EXPECT_EQ(0x08000100u, reg.getValue());
    EXPECT_EQ(15u, reg.getRegNumber());
}

TEST(RegisterTest, CopiesAreIndependent) {
    Register original(RegisterId::REG_R0, 1, 0);
    Register copy = original;
    copy.setValue(2);
    EXPECT_EQ(1u, original.getValue());
    EXPECT_EQ(2u, copy.getValue());
}

// Drivers and frame tables store these numbers; they must never move.
TEST(RegisterTest, IdValuesAreFixed) {
    struct Row {
        RegisterId id;
        unsigned int value;
    };
    const Row rows[] = {
        {RegisterId::REG_NONE, 0},       {RegisterId::REG_SP, 1},     {RegisterId::REG_R0, 2},
        {RegisterId::REG_R1, 3},         {RegisterId::REG_R7, 9},     {RegisterId::REG_R12, 14},
        {RegisterId::REG_LR, 15},        {RegisterId::REG_PC, 16},    {RegisterId::REG_XPSR, 17},
        {RegisterId::REG_S0, 18},        {RegisterId::REG_S1, 19},    {RegisterId::REG_S15, 33},
        {RegisterId::REG_S16, 34},       {RegisterId::REG_S17, 35},   {RegisterId::REG_S31, 49},
        {RegisterId::REG_LR_PENDSV, 50}, {RegisterId::REG_FPSCR, 51}, {RegisterId::REG_CONTROL, 52},
        {RegisterId::REG_PSPLIM, 53},    {RegisterId::REG_CPSR, 54},  {RegisterId::REG_D16_LOW, 55},
        {RegisterId::REG_D31_HIGH, 86},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.value, static_cast<unsigned int>(row.id));
    }
    EXPECT_EQ(4u, sizeof(RegisterId));
}
