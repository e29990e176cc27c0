#include "target_sim/RegisterFile.h"

#include <gtest/gtest.h>

using targetsim::Profile;
using targetsim::RegisterFile;

TEST(RegisterFileTest, EncodesSeventeenLittleEndianWordsInTableOrder) {
    RegisterFile registers;
    registers.set(0, 0x11223344);
    registers.set(RegisterFile::kStatus, 0x01000000);
    std::string hex = registers.encode();
    ASSERT_EQ(17u * 8, hex.size());
    EXPECT_EQ("44332211", hex.substr(0, 8));
    EXPECT_EQ("00000001", hex.substr(16 * 8));
}

TEST(RegisterFileTest, NumbersFollowGdbsArmNumbering) {
    RegisterFile registers;
    ASSERT_TRUE(registers.setByName("xpsr", 0x21000000));
    ASSERT_TRUE(registers.setByName("r13", 0x20001000));
    std::uint32_t value = 0;
    ASSERT_TRUE(registers.getByNumber(25, value));
    EXPECT_EQ(0x21000000u, value);
    ASSERT_TRUE(registers.getByNumber(13, value));
    EXPECT_EQ(0x20001000u, value);
    EXPECT_FALSE(registers.getByNumber(16, value)) << "16 to 24 were the FPA registers, absent here";
    EXPECT_FALSE(registers.setByNumber(26, 0));
    EXPECT_FALSE(registers.setByName("cpsr", 0)) << "an M-profile core has no cpsr";
}

TEST(RegisterFileTest, DecodeTakesExactlyAWholeRegisterSet) {
    RegisterFile registers;
    std::string hex(17 * 8, '0');
    hex.replace(15 * 8, 8, "f0000000");
    ASSERT_TRUE(registers.decode(hex));
    EXPECT_EQ(0xf0u, registers.get(RegisterFile::kPc));
    EXPECT_FALSE(registers.decode(hex + "00"));
    EXPECT_FALSE(registers.decode(std::string(17 * 8, 'g')));
    EXPECT_EQ(0xf0u, registers.get(RegisterFile::kPc));
}

TEST(RegisterFileTest, DescriptionOfAnMProfileCore) {
    std::string xml = RegisterFile(Profile::M).targetXml();
    EXPECT_NE(std::string::npos, xml.find("<feature name=\"org.gnu.gdb.arm.m-profile\">\n"));
    EXPECT_NE(std::string::npos, xml.find("<reg name=\"r0\" bitsize=\"32\" regnum=\"0\" type=\"int\"/>\n"));
    EXPECT_NE(std::string::npos,
              xml.find("<reg name=\"pc\" bitsize=\"32\" regnum=\"15\" type=\"code_ptr\"/>\n"
                       "<reg name=\"xpsr\" bitsize=\"32\" regnum=\"25\" type=\"int\"/>\n"
                       "</feature>\n</target>\n"));
    EXPECT_EQ(std::string::npos, xml.find("cpsr"));
}

TEST(RegisterFileTest, DescriptionOfAnAProfileCore) {
    RegisterFile registers(Profile::A);
    std::string xml = registers.targetXml();
    EXPECT_NE(std::string::npos, xml.find("<feature name=\"org.gnu.gdb.arm.core\">\n"));
    EXPECT_NE(std::string::npos,
              xml.find("<reg name=\"cpsr\" bitsize=\"32\" regnum=\"25\" type=\"int\"/>\n"));
    EXPECT_EQ(std::string::npos, xml.find("xpsr"));
    EXPECT_TRUE(registers.setByName("cpsr", 0x1d3));
}
