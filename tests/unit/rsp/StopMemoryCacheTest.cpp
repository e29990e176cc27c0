#include "rsp/StopMemoryCache.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(StopMemoryCacheTest, AnEmptyCacheHoldsNothing) {
    StopMemoryCache cache;
    Bytes data = {9};
    EXPECT_TRUE(cache.isEmpty());
    EXPECT_FALSE(cache.lookup(0x1000, 4, data));
    EXPECT_EQ(Bytes({9}), data);
}

TEST(StopMemoryCacheTest, APartOfAStoredBlockIsServed) {
    StopMemoryCache cache;
    cache.store(0x1000, {1, 2, 3, 4, 5, 6, 7, 8});
    Bytes data;
    EXPECT_TRUE(cache.lookup(0x1002, 4, data));
    EXPECT_EQ(Bytes({3, 4, 5, 6}), data);
    EXPECT_TRUE(cache.lookup(0x1000, 8, data));
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8}), data);
}

TEST(StopMemoryCacheTest, ARangeThatLeavesTheBlockIsNotServed) {
    StopMemoryCache cache;
    cache.store(0x1000, {1, 2, 3, 4});
    Bytes data;
    EXPECT_FALSE(cache.lookup(0x1002, 4, data));
    EXPECT_FALSE(cache.lookup(0x0ffe, 4, data));
    EXPECT_FALSE(cache.covers(0x1004, 1));
    EXPECT_TRUE(cache.covers(0x1003, 1));
}

// A small block read first, above the start of a large one read later, does not hide the large one.
TEST(StopMemoryCacheTest, ALargeBlockBelowASmallOneStillServes) {
    StopMemoryCache cache;
    cache.store(0x1010, {0x10, 0x11});
    Bytes large;
    for (unsigned char byte = 0; byte < 0x40; ++byte) {
        large.push_back(byte);
    }
    cache.store(0x1000, large);
    Bytes data;
    EXPECT_TRUE(cache.lookup(0x1020, 4, data));
    EXPECT_EQ(Bytes({0x20, 0x21, 0x22, 0x23}), data);
    EXPECT_TRUE(cache.lookup(0x1010, 2, data));
    EXPECT_EQ(Bytes({0x10, 0x11}), data);
}

TEST(StopMemoryCacheTest, ALongerReadAtTheSameAddressReplacesTheShorterOne) {
    StopMemoryCache cache;
    cache.store(0x2000, {1, 2});
    cache.store(0x2000, {1, 2, 3, 4});
    Bytes data;
    EXPECT_TRUE(cache.lookup(0x2000, 4, data));
    EXPECT_EQ(Bytes({1, 2, 3, 4}), data);
}

TEST(StopMemoryCacheTest, ABlockAtTheTopOfTheAddressSpaceIsServed) {
    StopMemoryCache cache;
    cache.store(0xfffffffc, {1, 2, 3, 4});
    Bytes data;
    EXPECT_TRUE(cache.lookup(0xfffffffe, 2, data));
    EXPECT_EQ(Bytes({3, 4}), data);
}

TEST(StopMemoryCacheTest, ClearForgetsEverything) {
    StopMemoryCache cache;
    cache.store(0x1000, {1, 2, 3, 4});
    cache.clear();
    Bytes data;
    EXPECT_TRUE(cache.isEmpty());
    EXPECT_FALSE(cache.lookup(0x1000, 4, data));
}

} // namespace
