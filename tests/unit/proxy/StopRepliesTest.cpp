#include "proxy/StopReplies.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "TwoTaskRig.h"
#include "TwoTaskSession.h"
#include "proxy/Tarnwick.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(StopRepliesIntegration, AStopIsRebuiltFromTheKernelBeforeGdbHearsOfIt) {
    FakeRtosDriver driver;
    useCheckedTwoTaskSnapshot(driver);
    driver.reads[FakeRtosDriver::kCallGetThreads] = {0x20000200, 0x20000a40};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    ASSERT_TRUE(rig.gdb().sendPacket("c"));
    serverAnswers(rig, "c", "T05thread:1;hwbreak:;");
    serverAnswers(rig, "m20000104,4", "01000000");
    serverAnswers(rig, "m20000200,4", "03000000");
    EXPECT_EQ("m20000a40,4", rig.server().nextPayload());
    ASSERT_TRUE(rig.gdb().quietFor(20)) << "GDB hears of the stop only after the reads";
    ASSERT_TRUE(rig.server().sendPacket("00070020"));
    EXPECT_EQ("T05thread:20000a40;hwbreak:;", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(2u, Tarnwick::getInstance().getSnapshot().getStopCount());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nLost connection to GDB Client\n", rig.log());
}

TEST(StopRepliesIntegration, StopRepliesNameTheActiveThreadAndKeepTheServersFields) {
    TwoTaskRig session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("T05thread:1;", rig.stop("S05"));
    EXPECT_EQ(1u, Tarnwick::getInstance().getSnapshot().getStopCount());
    EXPECT_EQ("T0bthread:20000a40;core:0;watch:20000100;", rig.stop("T0bthread:2;core:0;watch:20000100;"));
    EXPECT_EQ("T05awatch:20000104;thread:20000a40;0d:00010020;0f:12040000;",
              rig.stop("T05awatch:20000104;thread:2;0d:00010020;0f:12040000;"));
    EXPECT_EQ("T02thread:20000a40;", rig.stop("S02"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(4u, Tarnwick::getInstance().getSnapshot().getStopCount());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 11\nReply: T Signal: 5\nReply: S Signal: 2\n"
              "Lost connection to GDB Client\n",
              rig.log());
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

TEST(StopRepliesIntegration, StopRepliesTheParserRefusesPassAsTheyStand) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    for (const std::string reply : {"T05a:1;", "X0", "S5", "Tzz"}) {
        ASSERT_TRUE(rig.server().sendPacket(reply));
        EXPECT_EQ(framed(reply), rig.gdb().nextRaw());
    }
    EXPECT_EQ("m20000810,20000a40", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(2u, Tarnwick::getInstance().getSnapshot().getStopCount());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(StopRepliesIntegration, AnExitClearsTheListAndIsForwarded) {
    for (const std::string exit : {"W00", "W00;process:1a", "X09", "X0f;process:2"}) {
        SCOPED_TRACE(exit);
        TwoTaskSession session(7);
        ProxyRig& rig = session.rig;
        ASSERT_TRUE(rig.ready());
        ASSERT_TRUE(rig.server().sendPacket(exit));
        EXPECT_EQ(framed(exit), rig.gdb().nextRaw());
        EXPECT_EQ("l", rig.ask("qfThreadInfo"));
        EXPECT_TRUE(rig.finish());
        EXPECT_EQ(2u, Tarnwick::getInstance().getSnapshot().getStopCount());
    }
}

TEST(StopRepliesIntegration, AnUnknownSelectionGivesE05UntilAStopMovesIt) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"Hg12345678", "OK"}, {"g", "E05"}, {"g", "E05"}});
    // The pending selection moves to the thread that stopped, which the core answers for.
    EXPECT_EQ("T05thread:20000a40;", rig.stop("T05"));
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    serverAnswers(rig, "g", "00112233");
    EXPECT_EQ("00112233", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    const std::string e5 =
        "Failed finding thread 305419896.\nRead registers. No valid thread (prev g packet)\n";
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\n" + e5 + e5 +
                  "Reply: T Signal: 5\nPayload size: 4\nLost connection to GDB Client\n",
              rig.log());
}

TEST(StopRepliesIntegration, AnHcStaysAcrossAStopAndTheGeneralSelectionMovesToTheStoppedThread) {
    TwoTaskRig session(TwoTaskRig::kAnswersAtOnce, 7);
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    const ThreadSelection& selection = Tarnwick::getInstance().getThreadSelection();
    EXPECT_EQ("OK", rig.ask("Hc20000810"));
    EXPECT_EQ("OK", rig.ask("Hg0"));
    rig.passFirstStop();
    unsigned int general = 0;
    EXPECT_TRUE(selection.get("g", general));
    EXPECT_EQ(1u, general);
    rig.stop("T05");
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    rig.stop("T05");
    EXPECT_TRUE(rig.finish());
    unsigned int resume = 0;
    EXPECT_TRUE(selection.get("c", resume));
    EXPECT_EQ(kSwitchedOut, resume);
    EXPECT_TRUE(selection.get("g", general));
    EXPECT_EQ(0x20000a40u, general);
}

TEST(StopRepliesIntegration, AfterAKillTheListIsEmptyAndValid) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("k"));
    EXPECT_EQ("$k#6b", rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendPacket("X09"));
    EXPECT_EQ("X09", rig.gdb().nextPayload());
    EXPECT_EQ("l", rig.ask("qfThreadInfo"));
    EXPECT_EQ("OK", rig.ask("qC"));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
    EXPECT_EQ((std::vector<std::string>{"$k#6b"}), rig.server().receivedLog());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nGet active thread. No active thread found\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

} // namespace
