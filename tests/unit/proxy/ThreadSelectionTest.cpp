#include "proxy/ThreadSelection.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

// The thread selected for operation; none if get says so.
std::optional<unsigned int> selected(const ThreadSelection& selection, const std::string& operation) {
    unsigned int thread = 0;
    if (!selection.get(operation, thread)) {
        return std::nullopt;
    }
    return thread;
}

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
    EXPECT_EQ(0x20000900u, selected(selection, "g"));
    EXPECT_EQ(0x20000a40u, selected(selection, "c"));
}

TEST(ThreadSelection, AStopMovesOnlyTheGeneralSelection) {
    ThreadSelection selection;
    selection.select("c", 0xFFFFFFFFu);
    selection.moveGeneralTo(0x20000a40);
    EXPECT_EQ(0x20000a40u, selected(selection, "g"));
    EXPECT_EQ(0xFFFFFFFFu, selected(selection, "c"));
}

TEST(ThreadSelection, ForgetClearsEverySelection) {
    ThreadSelection selection;
    selection.select("g", 1);
    selection.select("c", 2);
    selection.forget();
    EXPECT_EQ(std::nullopt, selected(selection, "g"));
    EXPECT_EQ(std::nullopt, selected(selection, "c"));
}

} // namespace
