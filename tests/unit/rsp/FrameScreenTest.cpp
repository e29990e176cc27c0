#include "rsp/FrameScreen.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Verdict = FrameScreen::Verdict;

Verdict judge(const FrameScreen& screen, const std::string& head) {
    return screen.judge(reinterpret_cast<const unsigned char*>(head.data()), static_cast<int>(head.size()));
}

} // namespace

TEST(FrameScreenTest, JudgesTheFirstBytesAgainstEveryPrefix) {
    const FrameScreen screen({"$qC", "$qXfer:threads:read::", "$g"});
    const struct {
        const char* head;
        Verdict verdict;
    } rows[] = {
        {"$m20000000,4#93", Verdict::PASS},
        {"$m", Verdict::PASS},
        {"$qC#b4", Verdict::WHOLE},
        {"$qCRC:0,4", Verdict::WHOLE},
        {"$g", Verdict::WHOLE},
        {"$q", Verdict::UNDECIDED},
        {"$", Verdict::UNDECIDED},
        {"$qXfer:threads", Verdict::UNDECIDED},
        {"$qXfer:features:read", Verdict::PASS},
        {"%Stop:T05", Verdict::PASS},
        {"", Verdict::UNDECIDED},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.head);
        EXPECT_EQ(row.verdict, judge(screen, row.head));
    }
}

TEST(FrameScreenTest, AnEmptyScreenPassesEverything) {
    EXPECT_EQ(Verdict::PASS, judge(FrameScreen(), "$qC"));
    EXPECT_EQ(Verdict::PASS, judge(FrameScreen(), ""));
}

TEST(FrameScreenTest, EitherTakesTheStricterVerdict) {
    EXPECT_EQ(Verdict::PASS, FrameScreen::either(Verdict::PASS, Verdict::PASS));
    EXPECT_EQ(Verdict::UNDECIDED, FrameScreen::either(Verdict::PASS, Verdict::UNDECIDED));
    EXPECT_EQ(Verdict::UNDECIDED, FrameScreen::either(Verdict::UNDECIDED, Verdict::PASS));
    EXPECT_EQ(Verdict::WHOLE, FrameScreen::either(Verdict::UNDECIDED, Verdict::WHOLE));
    EXPECT_EQ(Verdict::WHOLE, FrameScreen::either(Verdict::WHOLE, Verdict::PASS));
}
