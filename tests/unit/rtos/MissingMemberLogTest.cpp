#include "rtos/MissingMemberLog.h"

#include "base/Logger.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class MissingMemberLogTest : public ::testing::Test {
protected:
    void SetUp() override {
        Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR);
        MissingMemberLog::getInstance().forget();
    }

    static std::string report(const std::string& structure, const std::string& member) {
        ::testing::internal::CaptureStdout();
        MissingMemberLog::getInstance().report(structure, member);
        return ::testing::internal::GetCapturedStdout();
    }
};

TEST_F(MissingMemberLogTest, NamesAMemberOnlyTheFirstTime) {
    EXPECT_EQ("Member not in this kernel build: tskTaskControlBlock.ulRunTimeCounter.\n",
              report("tskTaskControlBlock", "ulRunTimeCounter"));
    EXPECT_EQ("", report("tskTaskControlBlock", "ulRunTimeCounter"));
    EXPECT_EQ("Member not in this kernel build: TX_THREAD.tx_thread_name.\n",
              report("TX_THREAD", "tx_thread_name"));
}

TEST_F(MissingMemberLogTest, TheSameMemberOfAnotherStructureIsNews) {
    report("xLIST_ITEM", "pxContainer");
    EXPECT_EQ("Member not in this kernel build: xMINI_LIST_ITEM.pxContainer.\n",
              report("xMINI_LIST_ITEM", "pxContainer"));
}

TEST_F(MissingMemberLogTest, ForgetTellsEveryMemberAnew) {
    report("tskTaskControlBlock", "uxBasePriority");
    MissingMemberLog::getInstance().forget();
    EXPECT_EQ("Member not in this kernel build: tskTaskControlBlock.uxBasePriority.\n",
              report("tskTaskControlBlock", "uxBasePriority"));
}

TEST_F(MissingMemberLogTest, InformationLevelOffKeepsItQuiet) {
    Logger::getInstance().setLogLevel(Logger::LOG_WARNING | Logger::LOG_ERROR);
    EXPECT_EQ("", report("tskTaskControlBlock", "uxBasePriority"));
}

} // namespace
