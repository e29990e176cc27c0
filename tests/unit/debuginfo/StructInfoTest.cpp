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

TEST(StructInfoTest, ACopyKeepsItsMembersWhenTheOriginalGrows) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("uxNumberOfItems", 0));
    StructInfo copy(info);
    info.addMemberInfo(MemberInfo("pxIndex", 4));
    copy.addMemberInfo(MemberInfo("xListEnd", 8));
    MemberInfo out;
    EXPECT_TRUE(info.lookup("pxIndex", out));
    EXPECT_FALSE(info.lookup("xListEnd", out));
    EXPECT_FALSE(copy.lookup("pxIndex", out));
    EXPECT_TRUE(copy.lookup("xListEnd", out));
}

TEST(StructInfoTest, BindingGivesEveryMemberTheInstanceAddressPlusItsOffset) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("uxNumberOfItems", 0));
    info.addMemberInfo(MemberInfo("xListEnd", 8));
    StructInfo bound(info);
    bound.bindTo(0x20000400);
    MemberInfo out;
    ASSERT_TRUE(bound.lookup("xListEnd", out));
    EXPECT_EQ(0x20000408u, out.getAddress());
    EXPECT_EQ(0x20000400u, bound.getMembers().at("uxNumberOfItems").getAddress());
    ASSERT_TRUE(info.lookup("xListEnd", out));
    EXPECT_EQ(0u, out.getAddress()) << "the layout it was copied from stays unbound";

    StructInfo rebound(bound);
    rebound.bindTo(0x100);
    ASSERT_TRUE(rebound.lookup("xListEnd", out));
    EXPECT_EQ(0x108u, out.getAddress());
    ASSERT_TRUE(bound.lookup("xListEnd", out));
    EXPECT_EQ(0x20000408u, out.getAddress());
}

TEST(StructInfoTest, MembersHandedOutAreNotSharedWithLaterCopies) {
    StructInfo info("xLIST", 20);
    info.addMemberInfo(MemberInfo("xListEnd", 8));
    StructInfo::Members& held = info.getMembers();
    StructInfo copy(info);
    held.at("xListEnd").setAddress(5);
    MemberInfo out;
    ASSERT_TRUE(copy.lookup("xListEnd", out));
    EXPECT_EQ(0u, out.getAddress());

    StructInfo other("xMINI_LIST_ITEM", 12);
    other.addMemberInfo(MemberInfo("pxNext", 4));
    info = other;
    EXPECT_EQ(1u, held.count("pxNext")) << "the reference handed out sees what was assigned";
    held.at("pxNext").setAddress(9);
    ASSERT_TRUE(other.lookup("pxNext", out));
    EXPECT_EQ(0u, out.getAddress());
}
