#include "proxy/ThreadSnapshot.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "TwoTaskRig.h"
#include "TwoTaskSession.h"
#include "UnconnectedEndpoints.h"
#include "base/Logger.h"
#include "proxy/Tarnwick.h"
#include "target/ThreadList.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;
const Calls kSnapshotCalls = {FakeRtosDriver::kCallCheckKernelRunning, FakeRtosDriver::kCallGetThreads};

TEST(ThreadSnapshotTest, WithoutADriverTheListHoldsTheFallbackThread) {
    IRtosDriver* const noDriver = nullptr;
    ThreadSnapshot snapshot(noDriver);
    UnconnectedEndpoints endpoints;
    Logger::getInstance().setLogLevel(15);
    testing::internal::CaptureStdout();
    snapshot.rebuildWhole(endpoints.server);
    Logger::getInstance().setLogLevel(0);
    EXPECT_EQ("Driver not loaded.\n", testing::internal::GetCapturedStdout());
    ThreadList& list = snapshot.getThreads(endpoints.server);
    EXPECT_TRUE(list.isValid());
    EXPECT_EQ("<?xml version=\"1.0\"?><threads><thread id=\"1\" name=\"1\">RUNNING</thread></threads>",
              list.getXML());
}

TEST(ThreadSnapshotIntegration, UntilTheSecondStopThreadOneStandsAloneAndTheTargetIsNotRead) {
    TwoTaskRig session(TwoTaskRig::kReadsTarget);
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_EQ("T05thread:1;", rig.stop("T05"));
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_EQ("l", rig.ask("qsThreadInfo"));
    EXPECT_TRUE(rig.server().quietFor(50));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
    EXPECT_TRUE(driver.calls().empty());
}

// Whatever keeps the kernel from being shown leaves the core as thread 1, alone, for the whole stop.
TEST(ThreadSnapshotIntegration, AKernelThatCannotBeShownLeavesThreadOneAlone) {
    struct Row {
        const char* what;
        std::function<void(FakeRtosDriver&)> setUp;
        std::string stopReply;
        std::string gdbStop;
        // What the second stop logs.
        std::string stopLog;
        Calls calls;
    };
    const Row rows[] = {
        {"a kernel not yet started", [](FakeRtosDriver& driver) { driver.kernelRunning = false; }, "S05",
         "T05thread:1;", "Reply: S Signal: 5\nNo kernel running.\n",
         Calls{FakeRtosDriver::kCallCheckKernelRunning}},
        {"a kernel state that cannot be read", [](FakeRtosDriver& driver) { driver.checkResult = false; },
         "S02", "T02thread:1;", "Reply: S Signal: 2\nNo kernel found.\n",
         Calls{FakeRtosDriver::kCallCheckKernelRunning}},
        {"a failed walk, nothing of it half read",
         [](FakeRtosDriver& driver) { driver.threadsResult = false; }, "T05", "T05thread:1;",
         "Reply: T Signal: 5\nUpdate threads. Failed collecting threads.\n", kSnapshotCalls},
        {"an empty walk", [](FakeRtosDriver& driver) { driver.threads.clear(); }, "T05", "T05thread:1;",
         "Reply: T Signal: 5\n", kSnapshotCalls},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeRtosDriver driver;
        useTwoTaskSnapshot(driver);
        row.setUp(driver);
        ProxyRig rig(driver);
        ASSERT_TRUE(rig.ready());
        rig.passFirstStop();
        EXPECT_EQ(row.gdbStop, rig.stop(row.stopReply));
        EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
        EXPECT_TRUE(rig.finish());
        EXPECT_EQ("Reply: S Signal: 5\n" + row.stopLog + "Lost connection to GDB Client\n", rig.log());
        EXPECT_EQ(row.calls, driver.calls());
    }
}

TEST(ThreadSnapshotIntegration, TasksOfWhichNoneIsActiveLeaveThreadOneActiveBesideThem) {
    FakeRtosDriver driver;
    driver.threads = {TargetThread(0x20000810, 0x20000700, false, "Tmr Svc"),
                      TargetThread(0x20000a40, 0x20000900, false, "IDLE")};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:1;", rig.stop("T05"));
    EXPECT_EQ("m1,20000810,20000a40", rig.ask("qfThreadInfo"));
    EXPECT_EQ("QC1", rig.ask("qC"));
    EXPECT_TRUE(rig.finish());
}

TEST(ThreadSnapshotIntegration, ADriversOwnSwitchedOutThreadOneLeavesNoActiveThreadAndEndsTheWork) {
    FakeRtosDriver driver;
    driver.threads = {TargetThread(1, 0x20000700, false, "odd")};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    ASSERT_TRUE(rig.server().sendPacket("T05"));
    ASSERT_TRUE(rig.ended());
    EXPECT_FALSE(rig.finish());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\n"
              "Target stopped. No active thread\n"
              "failure S/T (stop reply)\n"
              "Packet intercept failed: GDB Server to: GDB Client\n"
              "Failed handle packet from: GDB Server to: GDB Client\n",
              rig.log());
    EXPECT_TRUE(rig.gdb().quietFor(50)) << "GDB hears nothing of that stop";
}

TEST(ThreadSnapshotIntegration, TheKernelIsReadOncePerStopNotPerQueryNorOnContinue) {
    TwoTaskRig session(TwoTaskRig::kReadsTarget);
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    ASSERT_TRUE(rig.server().sendPacket("T05"));
    serverAnswers(rig, "m20000104,4", "01000000");
    EXPECT_EQ("T05thread:20000a40;", rig.gdb().nextPayload());
    EXPECT_EQ("m20000810,20000a40", rig.ask("qfThreadInfo"));
    ASSERT_TRUE(rig.gdb().sendPacket("c"));
    EXPECT_EQ("c", rig.server().nextPayload());
    // While the target runs the queries are answered from the last stop.
    EXPECT_EQ("QC20000a40", rig.ask("qC"));
    EXPECT_EQ("OK", rig.ask("T20000810"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(kSnapshotCalls, driver.calls());
    EXPECT_EQ((std::vector<std::string>{framed("m20000104,4"), framed("c")}), rig.server().receivedLog());
}

} // namespace
