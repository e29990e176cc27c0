#include "proxy/ThreadSelection.h"

#include <gtest/gtest.h>

namespace {

TEST(ThreadSelection, NothingIsSelectedAtFirst) {
    ThreadSelection selection;
    unsigned int thread = 7;
    EXPECT_FALSE(selection.get("g", thread));
    EXPECT_EQ(7u, thread);
}

TEST(ThreadSelection, EachOperationKeepsItsOwnLatestSelection) {
    ThreadSelection selection;
    selection.select("g", 0x20000810);
    selection.select("c", 0x20000a40);
    selection.select("g", 0x20000900);
    unsigned int general = 0;
    unsigned int resume = 0;
    EXPECT_TRUE(selection.get("g", general));
    EXPECT_TRUE(selection.get("c", resume));
    EXPECT_EQ(0x20000900u, general);
    EXPECT_EQ(0x20000a40u, resume);
}

TEST(ThreadSelection, AStopMovesOnlyTheGeneralSelection) {
    ThreadSelection selection;
    selection.select("c", 0xFFFFFFFFu);
    selection.moveGeneralTo(0x20000a40);
    unsigned int general = 0;
    unsigned int resume = 0;
    EXPECT_TRUE(selection.get("g", general));
    EXPECT_TRUE(selection.get("c", resume));
    EXPECT_EQ(0x20000a40u, general);
    EXPECT_EQ(0xFFFFFFFFu, resume);
}

TEST(ThreadSelection, ForgetClearsEverySelection) {
    ThreadSelection selection;
    selection.select("g", 1);
    selection.select("c", 2);
    selection.forget();
    unsigned int thread = 0;
    EXPECT_FALSE(selection.get("g", thread));
    EXPECT_FALSE(selection.get("c", thread));
}

} // namespace
