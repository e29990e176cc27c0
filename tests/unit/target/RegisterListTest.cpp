#include "target/RegisterList.h"

#include <gtest/gtest.h>

TEST(RegisterListTest, IdConstructorGivesZeroedRegisters) {
    RegisterList list({RegisterId::REG_R4, RegisterId::REG_SP, RegisterId::REG_R0});
    ASSERT_EQ(3u, list.getRegisters().size());
    Register reg;
    ASSERT_TRUE(list.getRegister(RegisterId::REG_R4, reg));
    EXPECT_EQ(RegisterId::REG_R4, reg.getId());
    EXPECT_EQ(0u, reg.getValue());
    EXPECT_EQ(0u, reg.getRegNumber());
}

TEST(RegisterListTest, IteratesByAscendingId) {
    RegisterList list;
    list.addRegister(RegisterId::REG_XPSR, 0x01000000);
    list.addRegister(RegisterId::REG_R0, 7);
    list.addRegister(RegisterId::REG_SP, 0x20001000);
    std::vector<RegisterId> order;
    for (const auto& entry : list.getRegisters()) {
        order.push_back(entry.first);
    }
    EXPECT_EQ(std::vector<RegisterId>({RegisterId::REG_SP, RegisterId::REG_R0, RegisterId::REG_XPSR}), order);
}

TEST(RegisterListTest, AddRegisterKeepsTheOldValueOfAPresentId) {
    RegisterList list;
    list.addRegister(RegisterId::REG_PC, 0x08000100);
    list.addRegister(RegisterId::REG_PC, 0x08000200);
    unsigned int value = 0;
    ASSERT_TRUE(list.getRegisterValue(RegisterId::REG_PC, value));
    EXPECT_EQ(0x08000100u, value);
    EXPECT_EQ(0x08000100u, list.getRegisterValue(RegisterId::REG_PC, 0xdeadu));
    EXPECT_EQ(1u, list.getRegisters().size());
}

TEST(RegisterListTest, AbsentIdLeavesOutputsAlone) {
    RegisterList list;
    list.addRegister(RegisterId::REG_R0, 1);
    unsigned int value = 0x5a5a5a5a;
    EXPECT_FALSE(list.getRegisterValue(RegisterId::REG_LR, value));
    EXPECT_EQ(0x5a5a5a5au, value);
    Register reg(RegisterId::REG_CPSR, 9, 25);
    EXPECT_FALSE(list.getRegister(RegisterId::REG_LR, reg));
    EXPECT_EQ(RegisterId::REG_CPSR, reg.getId());
    EXPECT_EQ(9u, reg.getValue());
    EXPECT_EQ(0xdeadu, list.getRegisterValue(RegisterId::REG_LR, 0xdeadu));
}

TEST(RegisterListTest, ClearEmpties) {
    RegisterList list({RegisterId::REG_R0, RegisterId::REG_R1});
    list.clear();
    EXPECT_TRUE(list.getRegisters().empty());
}
