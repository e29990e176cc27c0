#include "base/ProxyUtils.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

// The timing lines of the log print the difference of two readings: it must count the time that passed.
TEST(ProxyUtilsTest, TheTimeStampCountsTheMillisecondsThatPass) {
    unsigned int start = ProxyUtils::getTimeStamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    unsigned int elapsed = ProxyUtils::getTimeStamp() - start;
    EXPECT_GE(elapsed, 30u);
    // Room for a loaded machine, not for a clock in other units.
    EXPECT_LT(elapsed, 3000u);
}

} // namespace
