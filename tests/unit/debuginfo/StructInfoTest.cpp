#include "debuginfo/StructInfo.h"

#include <gtest/gtest.h>

TEST(StructInfoTest, DefaultIsEmpty) {
    StructInfo info;
    EXPECT_EQ("", info.getName());
    EXPECT_EQ(0u, info.getSize());
    EXPECT_TRUE(info.getMembers().empty());
}

TEST(StructInfoTest, SettersReplaceNameAndSize) {
    StructInfo info("xLIST", 20);
    EXPECT_EQ("xLIST", info.getName());
    EXPECT_EQ(20u, info.getSize());
    info.setName("xLIST_ITEM");
    info.setSize(24);
    EXPECT_EQ("xLIST_ITEM", info.getName());
    EXPECT_EQ(24u, info.getSize());
}

TEST(StructInfoTest, AddKeepsTheFirstEntryOfAName) {
    StructInfo info("xLIST", 20);
    EXPECT_TRUE(info.addMemberInfo(MemberInfo("pxIndex", 4)));
    EXPECT_TRUE(info.addMemberInfo(MemberInfo("pxIndex", 8)));
    ASSERT_EQ(1u, info.getMembers().size());
    EXPECT_EQ(4u, info.getMembers().at("pxIndex").getOffset());
}

TEST(StructInfoTest, LookupCopiesAnExactMatch) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("xListEnd", 8));
    MemberInfo out;
    ASSERT_TRUE(info.lookup("xListEnd", out));
    EXPECT_EQ("xListEnd", out.getName());
    EXPECT_EQ(8u, out.getOffset());
    out.setAddress(99);
    EXPECT_EQ(0u, info.getMembers().at("xListEnd").getAddress());
}

TEST(StructInfoTest, LookupOfAnUnknownNameLeavesOutAlone) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("xListEnd", 8));
    MemberInfo out("before", 3);
    EXPECT_FALSE(info.lookup("xlistend", out));
    EXPECT_FALSE(info.lookup("xListEn", out));
    EXPECT_EQ("before", out.getName());
    EXPECT_EQ(3u, out.getOffset());
}

TEST(StructInfoTest, CopiesIncludeTheMembers) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("uxNumberOfItems", 0));
    StructInfo copy;
    copy = info;
    copy.getMembers().at("uxNumberOfItems").setAddress(7);
    EXPECT_EQ("xLIST", copy.getName());
    EXPECT_EQ(20u, copy.getSize());
    EXPECT_EQ(7u, copy.getMembers().at("uxNumberOfItems").getAddress());
    EXPECT_EQ(0u, info.getMembers().at("uxNumberOfItems").getAddress());
}
