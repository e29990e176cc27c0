#include "rtos/ListWalkBound.h"

#include "base/Logger.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

class ListWalkBoundTest : public ::testing::Test {
protected:
    void SetUp() override { Logger::getInstance().setLogLevel(Logger::LOG_WARNING); }
};

TEST_F(ListWalkBoundTest, AdmitsDistinctLinksUpToTheLimit) {
    ListWalkBound bound("the list at 0x20000100", 3);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(bound.admit(0x20000200));
    EXPECT_TRUE(bound.admit(0x20000300));
    EXPECT_TRUE(bound.admit(0x20000400));
    EXPECT_FALSE(bound.wasCut());
    EXPECT_FALSE(bound.admit(0x20000500));
    EXPECT_TRUE(bound.wasCut());
    EXPECT_EQ("Walk of the list at 0x20000100 cut short at 0x20000500: more links than the list can hold.\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(ListWalkBoundTest, ALinkSeenBeforeCutsTheWalkWithOneWarning) {
    ListWalkBound bound("the list at 0x20000100", 0xffffffffu);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(bound.admit(0x20000200));
    EXPECT_TRUE(bound.admit(0x20000300));
    EXPECT_FALSE(bound.admit(0x20000200));
    EXPECT_FALSE(bound.admit(0x20000900)) << "a cut walk stays cut";
    EXPECT_EQ("Walk of the list at 0x20000100 cut short at 0x20000200: a link seen before.\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(ListWalkBoundTest, ALimitOfZeroAdmitsNothing) {
    ListWalkBound bound("the list at 0x20000100", 0);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(bound.admit(0x20000200));
    EXPECT_EQ("Walk of the list at 0x20000100 cut short at 0x20000200: more links than the list can hold.\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(ListWalkBoundTest, ALimitBeyondTheHardCapStopsAtTheCap) {
    ListWalkBound bound("the list at 0x20000100", 0xffffffffu + std::uint64_t{1000});
    testing::internal::CaptureStdout();
    std::uint64_t admitted = 0;
    for (unsigned int link = 0x20000000; bound.admit(link); link += 4) {
        ++admitted;
    }
    EXPECT_EQ(ListWalkBound::kMaxLinks, admitted);
    EXPECT_EQ(10000u, ListWalkBound::kMaxLinks);
    EXPECT_EQ("Walk of the list at 0x20000100 cut short at 0x20009c40: more links than the list can hold.\n",
              testing::internal::GetCapturedStdout());
}

// A list as a map from each link to the next, walked and each link taken noted.
struct Links {
    std::map<unsigned int, unsigned int> next;
    std::vector<unsigned int> taken;

    ListWalkBound::Step step() {
        return [this](unsigned int link, unsigned int& following) {
            taken.push_back(link);
            auto found = next.find(link);
            if (found == next.end()) {
                return false;
            }
            following = found->second;
            return true;
        };
    }
};

TEST_F(ListWalkBoundTest, WalkEndsAtTheEndMarkerOrANullLink) {
    Links links{{{0x100, 0x200}, {0x200, 0x300}, {0x300, 0x900}}, {}};
    ListWalkBound marked("the list at 0x00000900", 10);
    EXPECT_TRUE(marked.walk(0x100, 0x900, links.step()));
    EXPECT_EQ(std::vector<unsigned int>({0x100, 0x200, 0x300}), links.taken);
    links.next[0x300] = 0;
    links.taken.clear();
    ListWalkBound open("the list at 0x00000900", 10);
    EXPECT_TRUE(open.walk(0x100, 0x900, links.step()));
    EXPECT_EQ(std::vector<unsigned int>({0x100, 0x200, 0x300}), links.taken);
    links.taken.clear();
    ListWalkBound empty("the list at 0x00000900", 10);
    EXPECT_TRUE(empty.walk(0x900, 0x900, links.step()));
    EXPECT_TRUE(links.taken.empty());
}

TEST_F(ListWalkBoundTest, WalkIsCutAtALinkSeenBeforeOrPastItsLimit) {
    Links links{{{0x100, 0x200}, {0x200, 0x300}, {0x300, 0x200}}, {}};
    ListWalkBound looping("the list at 0x00000900", 10);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(looping.walk(0x100, 0x900, links.step()));
    EXPECT_EQ("Walk of the list at 0x00000900 cut short at 0x00000200: a link seen before.\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(std::vector<unsigned int>({0x100, 0x200, 0x300}), links.taken);
    links.taken.clear();
    ListWalkBound counted("the list at 0x00000900", 2);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(counted.walk(0x100, 0x900, links.step()));
    EXPECT_EQ("Walk of the list at 0x00000900 cut short at 0x00000300: more links than the list can hold.\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(std::vector<unsigned int>({0x100, 0x200}), links.taken);
}

TEST_F(ListWalkBoundTest, AStepThatFailsFailsTheWalk) {
    Links links{{{0x100, 0x200}}, {}};
    ListWalkBound bound("the list at 0x00000900", 10);
    EXPECT_FALSE(bound.walk(0x100, 0x900, links.step()));
    EXPECT_EQ(std::vector<unsigned int>({0x100, 0x200}), links.taken);
    EXPECT_FALSE(bound.wasCut());
}

} // namespace
