#include "debuginfo/MemberInfo.h"

#include <gtest/gtest.h>

TEST(MemberInfoTest, DefaultIsEmptyAtOffsetZero) {
    MemberInfo member;
    EXPECT_EQ("", member.getName());
    EXPECT_EQ(0u, member.getOffset());
    EXPECT_TRUE(member.getData().empty());
}

TEST(MemberInfoTest, StoresNameOffsetAndAddress) {
    MemberInfo member("uxNumberOfItems", 12);
    member.setAddress(0x20000010);
    EXPECT_EQ("uxNumberOfItems", member.getName());
    EXPECT_EQ(12u, member.getOffset());
    EXPECT_EQ(0x20000010u, member.getAddress());
}

TEST(MemberInfoTest, DecodesTheStartOfTheDataLittleEndian) {
    MemberInfo member("pxNext", 4);
    member.getData() = {0x78, 0x56, 0x34, 0x12, 0xff};
    EXPECT_EQ(0x12345678u, member.getDataUINT32());
    EXPECT_EQ(0x5678u, member.getDataUINT16());
    EXPECT_EQ(0x78u, member.getDataUINT8());
}

TEST(MemberInfoTest, ShortDataDecodesWithZeroesBehindIt) {
    MemberInfo member("ucQueueType", 76);
    member.getData() = {0x04, 0x01};
    EXPECT_EQ(0x0104u, member.getDataUINT32());
    member.getData().clear();
    EXPECT_EQ(0u, member.getDataUINT32());
    EXPECT_EQ(0u, member.getDataUINT8());
}

TEST(MemberInfoTest, CopiesCarryAddressAndData) {
    MemberInfo member("pvOwner", 12);
    member.setAddress(0x100c);
    member.getData() = {1, 2, 3, 4};
    MemberInfo copy;
    copy = member;
    EXPECT_EQ("pvOwner", copy.getName());
    EXPECT_EQ(12u, copy.getOffset());
    EXPECT_EQ(0x100cu, copy.getAddress());
    EXPECT_EQ(std::vector<unsigned char>({1, 2, 3, 4}), copy.getData());
}
