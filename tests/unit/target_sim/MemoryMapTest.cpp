#include "target_sim/MemoryMap.h"

#include <gtest/gtest.h>

using targetsim::MemoryMap;
using Bytes = std::vector<std::uint8_t>;

TEST(MemoryMapTest, MappedRangesStartZeroedAndUnmappedReadsAreEmpty) {
    MemoryMap memory;
    ASSERT_TRUE(memory.map(0x1000, 4));
    Bytes bytes{9};
    memory.read(0x1000, 4, bytes);
    EXPECT_EQ(Bytes({0, 0, 0, 0}), bytes);
    memory.read(0x2000, 4, bytes);
    EXPECT_TRUE(bytes.empty());
    EXPECT_TRUE(memory.isMapped(0x1003));
    EXPECT_FALSE(memory.isMapped(0x1004));
    EXPECT_FALSE(memory.isMapped(0x0fff));
}

TEST(MemoryMapTest, ReadStopsAtTheFirstUnmappedByte) {
    MemoryMap memory;
    ASSERT_TRUE(memory.load(0x100, {1, 2, 3}));
    Bytes bytes;
    memory.read(0x101, 8, bytes);
    EXPECT_EQ(Bytes({2, 3}), bytes);
}

TEST(MemoryMapTest, ReadAndWriteCrossAdjacentRegions) {
    MemoryMap memory;
    ASSERT_TRUE(memory.load(0x100, {1, 2}));
    ASSERT_TRUE(memory.load(0x102, {3, 4}));
    ASSERT_TRUE(memory.write(0x101, {0xa, 0xb, 0xc}));
    Bytes bytes;
    memory.read(0x100, 4, bytes);
    EXPECT_EQ(Bytes({1, 0xa, 0xb, 0xc}), bytes);
}

TEST(MemoryMapTest, MappingAgainKeepsContentsAndFillsOnlyGaps) {
    MemoryMap memory;
    ASSERT_TRUE(memory.load(0x104, {7, 7}));
    ASSERT_TRUE(memory.map(0x100, 0x10));
    Bytes bytes;
    memory.read(0x100, 0x10, bytes);
    EXPECT_EQ(Bytes({0, 0, 0, 0, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), bytes);
}

TEST(MemoryMapTest, LoadOverwritesWhatLiesThere) {
    MemoryMap memory;
    ASSERT_TRUE(memory.map(0x20000000, 0x100));
    ASSERT_TRUE(memory.load(0x200000fe, {0x11, 0x22, 0x33, 0x44}));
    Bytes bytes;
    memory.read(0x200000fc, 8, bytes);
    EXPECT_EQ(Bytes({0, 0, 0x11, 0x22, 0x33, 0x44}), bytes);
}

TEST(MemoryMapTest, WriteIsAllOrNothing) {
    MemoryMap memory;
    ASSERT_TRUE(memory.load(0x100, {1, 2}));
    EXPECT_FALSE(memory.write(0x101, {8, 9}));
    Bytes bytes;
    memory.read(0x100, 2, bytes);
    EXPECT_EQ(Bytes({1, 2}), bytes);
}

TEST(MemoryMapTest, RangesThatWrapOrAreTooLargeAreRefused) {
    MemoryMap memory;
    EXPECT_FALSE(memory.map(0xfffffff0, 0x20));
    EXPECT_FALSE(memory.map(0, MemoryMap::kMaxRangeSize + 1));
    EXPECT_TRUE(memory.map(0xfffffff0, 0x10));
    Bytes bytes;
    memory.read(0xfffffffe, 0x10, bytes);
    EXPECT_EQ(Bytes({0, 0}), bytes);
}
