#include "rsp/FramePassage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Feeds the reads in turn; returns how many bytes of each the frame took, and whether it was open after.
std::vector<std::pair<int, bool>> feed(const std::vector<std::string>& reads) {
    FramePassage passage;
    std::vector<std::pair<int, bool>> taken;
    for (const std::string& read : reads) {
        int count =
            passage.take(reinterpret_cast<const unsigned char*>(read.data()), static_cast<int>(read.size()));
        taken.emplace_back(count, passage.isOpen());
    }
    return taken;
}

using Taken = std::vector<std::pair<int, bool>>;

} // namespace

TEST(FramePassageTest, EndsTwoDigitsBehindTheFirstMark) {
    EXPECT_EQ((Taken{{6, false}}), feed({"$qC#b4"}));
    EXPECT_EQ((Taken{{6, false}}), feed({"$qC#b4$g#67"}));
    EXPECT_EQ((Taken{{6, false}}), feed({"$qC#b4+"}));
}

TEST(FramePassageTest, FollowsAFrameOverSeveralReads) {
    EXPECT_EQ((Taken{{3, true}, {1, true}, {4, false}}), feed({"$12", "3", "4#00$"}));
    EXPECT_EQ((Taken{{4, true}, {2, false}}), feed({"$qC#", "b4$g"}));
    EXPECT_EQ((Taken{{5, true}, {1, false}}), feed({"$qC#b", "4+"}));
    EXPECT_EQ((Taken{{3, true}, {0, true}, {3, false}}), feed({"$qC", "", "#b4"}));
}

TEST(FramePassageTest, ADollarInsideThePayloadIsPayload) {
    EXPECT_EQ((Taken{{7, false}}), feed({"$a$b#00"}));
}
