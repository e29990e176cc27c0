#include "base/StringUtil.h"

#include <gtest/gtest.h>

TEST(StringUtilTest, ToStringPadsByBase) {
    EXPECT_EQ("0x000000ff", StringUtil::to_string(255, 16, 8));
    EXPECT_EQ("005", StringUtil::to_string(5, 10, 3));
    EXPECT_EQ("5", StringUtil::to_string(5, 2, 3));
}

TEST(StringUtilTest, ToStringWidthIsAMinimumOfAnySize) {
    EXPECT_EQ("0xdeadbeef", StringUtil::to_string(0xdeadbeef, 16, 4));
    EXPECT_EQ("0x0", StringUtil::to_string(0, 16, 0));
    EXPECT_EQ("4294967295", StringUtil::to_string(0xffffffff, 10, 0));
    EXPECT_EQ("0x" + std::string(29, '0') + "1", StringUtil::to_string(1, 16, 30));
    EXPECT_EQ(std::string(38, '0') + "42", StringUtil::to_string(42, 10, 40));
    EXPECT_EQ("4294967295", StringUtil::to_string(0xffffffff, 8, 12)) << "another base: decimal, no width";
}

TEST(StringUtilTest, StackUsageCells) {
    EXPECT_EQ("0B/100B (0.0%)", StringUtil::toStackUsage(100, 100));
    EXPECT_EQ("Overflow!", StringUtil::toStackUsage(100, 0));
    EXPECT_EQ("N/A", StringUtil::toStackUsage(100, 101));
    EXPECT_EQ("N/A", StringUtil::toStackUsage(0, 0));
    EXPECT_EQ("768B/1024B (75.0%)", StringUtil::toStackUsage(1024, 256));
}

TEST(StringUtilTest, SplitAndSplit2) {
    EXPECT_TRUE(StringUtil::split("abc", '=').empty());
    EXPECT_EQ(std::vector<std::string>({"abc"}), StringUtil::split2("abc", '='));
    EXPECT_EQ(std::vector<std::string>({"a", "", "b"}), StringUtil::split("a==b", '='));
    EXPECT_EQ(std::vector<std::string>({"a", ""}), StringUtil::split("a=", '='));
    EXPECT_EQ(std::vector<std::string>({"", ""}), StringUtil::split("=", '='));
    EXPECT_EQ(std::vector<std::string>({""}), StringUtil::split2("", '='));
}

TEST(StringUtilTest, EscapeXmlWritesTheFiveSpecialCharactersAsEntities) {
    EXPECT_EQ("&amp;&lt;&gt;&quot;&apos;", StringUtil::escapeXml("&<>\"'"));
    EXPECT_EQ("Tmr Svc #1 $", StringUtil::escapeXml("Tmr Svc #1 $"));
    EXPECT_EQ("", StringUtil::escapeXml(""));
}
