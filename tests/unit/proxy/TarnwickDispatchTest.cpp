#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestValues.h"
#include "UnconnectedEndpoints.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;
const Calls kSnapshotCalls = {FakeRtosDriver::kCallCheckKernelRunning, FakeRtosDriver::kCallGetThreads};

TEST(TarnwickDispatchIntegration, APacketNoHandlerTakesPassesAndOneThatIsTakenStaysHere) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:20000a40;hwbreak:;", rig.stop("T05thread:1;hwbreak:;"));

    ASSERT_TRUE(rig.gdb().sendPacket("qCRC:8000000,100"));
    EXPECT_EQ(framed("qCRC:8000000,100"), rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendPacket("C1a2b3c4"));
    EXPECT_EQ(framed("C1a2b3c4"), rig.gdb().nextRaw());
    EXPECT_EQ("QC20000a40", rig.ask("qC"));

    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(std::vector<std::string>{framed("qCRC:8000000,100")}, rig.server().receivedLog());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nLost connection to GDB Client\n", rig.log());
    EXPECT_EQ(kSnapshotCalls, driver.calls());
}

TEST(TarnwickDispatchIntegration, AnHWithoutThreadFieldGoesToTheServer) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("Hc"));
    EXPECT_EQ("$Hc#ab", rig.server().nextRaw());
    EXPECT_TRUE(rig.finish());
    unsigned int selected = 0;
    EXPECT_FALSE(Tarnwick::getInstance().getThreadSelection().get("c", selected));
}

TEST(TarnwickDispatchIntegration, GibberishBehindTheGPrefixIsForwardedWithoutTheRegisterInterceptor) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("gibberish"));
    EXPECT_EQ(framed("gibberish"), rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendPacket("E01"));
    EXPECT_EQ("E01", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    // The register interceptor would have learned a payload size from the reply.
    EXPECT_EQ(0u, Tarnwick::getInstance().getRegisterRequests().getPayloadSize());
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(TarnwickDispatchIntegration, UntilTheSecondStopThreadOneStandsAloneAndTheTargetIsNotRead) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.reads[FakeRtosDriver::kCallCheckKernelRunning] = {0x20000104};
    ProxyRig rig(driver);
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

TEST(TarnwickDispatchIntegration, AKernelNotYetStartedShowsThreadOne) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.kernelRunning = false;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:1;", rig.stop("S05"));
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("Reply: S Signal: 5\nReply: S Signal: 5\nNo kernel running.\nLost connection to GDB Client\n",
              rig.log());
    EXPECT_EQ(Calls{FakeRtosDriver::kCallCheckKernelRunning}, driver.calls());
}

TEST(TarnwickDispatchIntegration, AKernelStateThatCannotBeReadShowsThreadOne) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.checkResult = false;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T02thread:1;", rig.stop("S02"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("Reply: S Signal: 5\nReply: S Signal: 2\nNo kernel found.\nLost connection to GDB Client\n",
              rig.log());
}

TEST(TarnwickDispatchIntegration, TasksOfWhichNoneIsActiveLeaveThreadOneActiveBesideThem) {
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

TEST(TarnwickDispatchIntegration, AFailedThreadWalkLeavesNothingHalfRead) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.threadsResult = false;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:1;", rig.stop("T05"));
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nUpdate threads. Failed collecting threads.\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

TEST(TarnwickDispatchIntegration, AnEmptyThreadWalkShowsThreadOne) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:1;", rig.stop("T05"));
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(kSnapshotCalls, driver.calls());
}

TEST(TarnwickDispatchIntegration, ADriversOwnSwitchedOutThreadOneLeavesNoActiveThreadAndEndsTheWork) {
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

TEST(TarnwickDispatchIntegration, AfterAKillTheListIsEmptyAndValid) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    rig.stop("T05");
    driver.clearRecord();
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

TEST(TarnwickDispatchIntegration, AnAcknowledgementIsForwarded) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendRaw("+"));
    EXPECT_EQ("+", rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendRaw("+"));
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_TRUE(rig.finish());
}

TEST(TarnwickDispatchIntegration, TheKernelIsReadOncePerStopNotPerQueryNorOnContinue) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.reads[FakeRtosDriver::kCallCheckKernelRunning] = {0x20000104};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    ASSERT_TRUE(rig.server().sendPacket("T05"));
    EXPECT_EQ("m20000104,4", rig.server().nextPayload());
    ASSERT_TRUE(rig.server().sendPacket("01000000"));
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
