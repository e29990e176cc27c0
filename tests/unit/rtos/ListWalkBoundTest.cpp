#include "rtos/ListWalkBound.h"

#include "base/Logger.h"

#include <gtest/gtest.h>

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

} // namespace
