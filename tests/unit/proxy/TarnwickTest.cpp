#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "TwoTaskRig.h"
#include "UnconnectedEndpoints.h"

#include "FakeRspPeer.h"
#include "FakeRtosDriver.h"
#include "FreePort.h"
#include "ProcessRunner.h"
#include "ProxyUnderTest.h"
#include "TestPaths.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspClient.h"
#include "target/ThreadList.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>
#include <unistd.h>

namespace {

const std::string kBanner = "Veltrona Tarnwick. Version 0.17.0\n"
                            "Copyright (c) Veltrona. All rights reserved.\n"
                            "\n";

// fromGdb and fromServer sent at once by the two peers of session: each arrives whole and unchanged.
template <typename Session>
void expectPassedUnchanged(Session& session, const std::string& fromGdb, const std::string& fromServer) {
    ASSERT_TRUE(session.gdb().sendRaw(fromGdb));
    ASSERT_TRUE(session.server().sendRaw(fromServer));
    ASSERT_TRUE(session.server().waitReceivedBytes(fromGdb.size()));
    ASSERT_TRUE(session.gdb().waitReceivedBytes(fromServer.size()));
    EXPECT_EQ(fromGdb, session.server().receivedBytes());
    EXPECT_EQ(fromServer, session.gdb().receivedBytes());
}

// The proxy singleton is shared by every test of the process: each one loads its own driver first, which
// also puts the proxy back to where a process starts, and unloads it at the end.
class TarnwickTest : public ::testing::Test {
protected:
    void SetUp() override {
        Properties::getInstance().clear();
        Logger::getInstance().setLogLevel(0);
        Tarnwick::getInstance().loadDriver(&driver);
        driver.clearRecord();
        Logger::getInstance().setLogLevel(7);
    }
    void TearDown() override {
        Logger::getInstance().setLogLevel(0);
        Tarnwick::getInstance().loadDriver(nullptr);
        Properties::getInstance().clear();
    }

    FakeRtosDriver driver{"FreeRTOS", "freertos"};
};

TEST_F(TarnwickTest, InterceptPacketWithoutADriverFailsWithoutALine) {
    Logger::getInstance().setLogLevel(0);
    Tarnwick::getInstance().loadDriver(nullptr);
    Logger::getInstance().setLogLevel(15);
    UnconnectedEndpoints endpoints;
    UnconnectedEndpoints::receive(endpoints.gdb, "qC");
    bool handled = true;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().interceptPacket(endpoints.gdb, endpoints.server, handled));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_FALSE(handled);
}

TEST_F(TarnwickTest, InitFailsOnAMalformedServerConnection) {
    std::vector<std::string> args = {"--server_connection", "10.0.0.1"};
    Properties::getInstance().init(args);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().init());
    EXPECT_EQ("Invalid format: --server_connection <hostname/ip:portnumber>\n"
              "Failed initialize tarnwick\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(TarnwickTest, InitReadsTheProxyOptionsBeforeTheDriver) {
    std::vector<std::string> args = {"--server_connection", ":3333", "--port", "2000", "--rtos", "nosuch"};
    Properties::getInstance().init(args);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().init());
    EXPECT_EQ("Loading RTOS driver... Failed to load driver\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(3333, Tarnwick::getInstance().getServerPort());
    EXPECT_EQ(2000, Tarnwick::getInstance().getListenPort());
}

TEST_F(TarnwickTest, InitDetectsOverTheCacheWithoutRtosOption) {
    // A dump without any kernel structure: no row of the database matches.
    char pattern[] = "/tmp/tarnwick-cache-XXXXXX";
    int descriptor = mkstemp(pattern);
    ASSERT_GE(descriptor, 0);
    close(descriptor);
    std::vector<std::string> args = {"--debug_info_cache", pattern};
    Properties::getInstance().init(args);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().init());
    EXPECT_EQ("Loading RTOS driver (Auto)... Failed to load driver\n",
              testing::internal::GetCapturedStdout());
    std::remove(pattern);
}

TEST_F(TarnwickTest, LoadDriverNamesTheDriverAndInitialisesIt) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(Tarnwick::getInstance().loadDriver(&driver));
    EXPECT_EQ("FreeRTOS\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(std::vector<std::string>{FakeRtosDriver::kCallInit}, driver.calls());
}

TEST_F(TarnwickTest, ADriverThatFailsItsInitFailsTheStart) {
    driver.initResult = false;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().loadDriver(&driver));
    EXPECT_EQ("FreeRTOS\nFailed initialize rtos driver.\n", testing::internal::GetCapturedStdout());
}

TEST_F(TarnwickTest, NoDriverFailsTheStart) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().loadDriver(nullptr));
    EXPECT_EQ("Failed to load driver\n", testing::internal::GetCapturedStdout());
}

// Each row of the client table, with a packet that reaches its handler and makes it fail: every send on
// an endpoint that is connected to nothing fails.
TEST_F(TarnwickTest, ClientPrefixTableIsWalkedInOrder) {
    struct Row {
        const char* prefix;
        const char* failureLine;
        std::string packet;
        std::string handlerLine;
    };
    const Row rows[] = {
        {"$qSymbol::", "failure qSymbol::\n", "qSymbol::", "Symbol lookup. Failed close sequence\n"},
        {"$qXfer:threads:read::", "failure qXfer:threads:read::\n", "qXfer:threads:read::0,1",
         "Read threads. Failed sending\n"},
        {"$qXfer:features:read:target.xml", "failure qXfer:features:read:target.xml\n",
         "qXfer:features:read:target.xml:0,3ff", "Read target.xml. Failed send/wait command\n"},
        {"$qfThreadInfo", "failure qfThreadInfo\n", "qfThreadInfo", "Read threads. Failed sending\n"},
        {"$qsThreadInfo", "failure qsThreadInfo\n", "qsThreadInfo", "Read threads. Failed sending\n"},
        {"$qThreadExtraInfo", "failure qThreadExtraInfo\n", "qThreadExtraInfo,1",
         "Thread info. Failed sending\n"},
        {"$qC", "failure qC\n", "qC", "Get active thread. Failed sending response\n"},
        {"$T", "failure T\n", "T1", "Check thread alive. Failed sending response\n"},
        {"$H", "failure H\n", "Hg1", "Set next operation. Failed sending response\n"},
        {"$g", "failure g\n", "g", "Read registers. Failed determine pay-load size\n"},
        // With nothing selected the register packets are the core's, left to the loop: they cannot fail here.
        {"$p", "failure p\n", "p5", ""},
        {"$P", "failure P\n", "P5=5a5a5a5a", ""},
        {"$G", "failure G\n", "G00000000", ""},
        // k is observed and never taken, so it cannot fail.
        {"$k", "failure k\n", "k", ""},
        {"$qRcmd", "failure qRcmd\n", "qRcmd,72746f73", "intercept monitor. Failed sending reply.\n"},
    };
    const auto& table = Tarnwick::getClientPrefixes();
    ASSERT_EQ(std::size(rows), table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.packet);
        EXPECT_STREQ(row.prefix, table[i].prefix);
        EXPECT_STREQ(row.failureLine, table[i].failureLine);
        EXPECT_STREQ(i == 9 ? "g" : nullptr, table[i].exactPayload);

        Logger::getInstance().setLogLevel(0);
        Tarnwick::getInstance().loadDriver(&driver);
        Logger::getInstance().setLogLevel(7);
        UnconnectedEndpoints endpoints;
        UnconnectedEndpoints::receive(endpoints.gdb, row.packet);
        bool handled = false;
        testing::internal::CaptureStdout();
        bool result = Tarnwick::getInstance().interceptPacket(endpoints.gdb, endpoints.server, handled);
        std::string log = testing::internal::GetCapturedStdout();
        bool fails = !row.handlerLine.empty();
        EXPECT_EQ(!fails, result);
        EXPECT_EQ(fails ? row.handlerLine + row.failureLine : "", log);
    }
}

TEST_F(TarnwickTest, PacketsOfNoPrefixAreLeftToTheLoop) {
    for (const std::string packet : {"m20000000,4", "qSupported:swbreak+", "vCont;c", "+", "?"}) {
        SCOPED_TRACE(packet);
        UnconnectedEndpoints endpoints;
        if (packet == "+") {
            endpoints.gdb.getReceiveBuffer().addWoChecksum("+");
            endpoints.gdb.getReceiveBuffer().parseForPacket();
        } else {
            UnconnectedEndpoints::receive(endpoints.gdb, packet);
        }
        bool handled = true;
        EXPECT_TRUE(Tarnwick::getInstance().interceptPacket(endpoints.gdb, endpoints.server, handled));
        EXPECT_FALSE(handled);
        EXPECT_EQ(packet == "+" ? 1 : static_cast<int>(framed(packet).size()),
                  endpoints.gdb.getReceiveBuffer().getPacketLength());
    }
    EXPECT_TRUE(driver.calls().empty());
}

TEST_F(TarnwickTest, StopRepliesAreTheOnlyServerPacketsInspected) {
    UnconnectedEndpoints endpoints;
    for (const std::string packet : {"OK", "O48656c6c6f", "E01", "C1a2b3c4", "qSymbol::"}) {
        SCOPED_TRACE(packet);
        UnconnectedEndpoints::receive(endpoints.server, packet);
        bool handled = true;
        EXPECT_TRUE(Tarnwick::getInstance().interceptPacket(endpoints.server, endpoints.gdb, handled));
        EXPECT_FALSE(handled);
    }
    // A stop reply is taken, and the rewritten one cannot reach GDB here.
    UnconnectedEndpoints::receive(endpoints.server, "S05");
    bool handled = false;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().interceptPacket(endpoints.server, endpoints.gdb, handled));
    EXPECT_EQ("Target stopped. Failed forward reply\nfailure S/T (stop reply)\n",
              testing::internal::GetCapturedStdout());
    EXPECT_TRUE(handled);
    EXPECT_EQ(1u, Tarnwick::getInstance().getSnapshot().getStopCount());
}

// The proxy in this process, its loop between two fake peers: traffic that no interceptor takes.

TEST(TarnwickIntegration, ForwardsByteForByteInBothDirections) {
    FakeRtosDriver driver;
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    // Memory, execution, breakpoints, feature negotiation, a break; notifications and errors back.
    const std::string fromGdb = "$qSupported:multiprocess+;swbreak+#c9$m20000000,4#93$Z0,8000120,2#00"
                                "$vCont;c#a8$M0,1:ff#00\x03";
    const std::string fromServer = "$PacketSize=4000;qXfer:features:read+#00$78563412#08$OK#9a$E01#a6"
                                   "%Stop:T05#99$\x7d\x03#00";
    expectPassedUnchanged(rig, fromGdb, fromServer);
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(TarnwickIntegration, SeveralFramesInOneReadAllPass) {
    FakeRtosDriver driver;
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendRaw("$m0,4#fd$qC#b4$c#63"));
    EXPECT_EQ("$m0,4#fd", rig.server().nextRaw());
    EXPECT_EQ("$QC1#c5", rig.gdb().nextRaw());
    EXPECT_EQ("$c#63", rig.server().nextRaw());
    EXPECT_TRUE(rig.finish());
}

TEST(TarnwickIntegration, BypassForwardsAcknowledgementsBreaksAndSymbolTraffic) {
    FakeRtosDriver driver;
    ProxyRig rig(driver, 7, {"--bypass", "true"});
    ASSERT_TRUE(rig.ready());
    const std::string fromGdb = std::string("+-\x03") + "$qSymbol::#5b$qSymbol:20000000:7078437572#00$qC#b4";
    const std::string fromServer = "+$qSymbol:707843757272656e74544342#8c-$OK#9a$S05#b8";
    expectPassedUnchanged(rig, fromGdb, fromServer);
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
    EXPECT_EQ(0u, Tarnwick::getInstance().getSnapshot().getStopCount());
}

TEST(TarnwickIntegration, EitherSideDisconnectingEndsTheLoopInOrder) {
    for (const bool gdbLeaves : {true, false}) {
        SCOPED_TRACE(gdbLeaves ? "GDB leaves" : "the server leaves");
        FakeRtosDriver driver;
        ProxyRig rig(driver, 7);
        ASSERT_TRUE(rig.ready());
        (gdbLeaves ? rig.gdb() : rig.server()).close();
        ASSERT_TRUE(rig.ended());
        EXPECT_TRUE(rig.finish());
        EXPECT_EQ(std::string("Lost connection to ") + (gdbLeaves ? "GDB Client" : "GDB Server") + "\n",
                  rig.log());
    }
}

using Calls = std::vector<std::string>;
const Calls kSnapshotCalls = {FakeRtosDriver::kCallCheckKernelRunning, FakeRtosDriver::kCallGetThreads};

TEST(TarnwickDispatchIntegration, APacketNoHandlerTakesPassesAndOneThatIsTakenStaysHere) {
    TwoTaskRig session;
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
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

// The built program as a pass-through proxy between a fake GDB and a fake GDB server. It starts its proxy
// only with a kernel driver loaded, so these wait for a build that has one.
class TarnwickProgramIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ProxyUnderTest::driverBuiltIn()) {
            GTEST_SKIP() << "no kernel driver in this build: the program cannot start its proxy";
        }
    }
};

// Either side leaving ends the proxy in order, and the other side's connection with it.
TEST_F(TarnwickProgramIntegration, EitherSideDisconnectingEndsTheProxyInOrder) {
    for (const bool gdbLeaves : {true, false}) {
        SCOPED_TRACE(gdbLeaves ? "GDB leaves" : "the server leaves");
        ProxyUnderTest proxy;
        ASSERT_TRUE(proxy.ready());
        (gdbLeaves ? proxy.gdb() : proxy.server()).close();
        ASSERT_TRUE(proxy.process().waitExit());
        EXPECT_EQ(0, proxy.process().exitStatus());
        EXPECT_EQ(proxy.startOutput() + "Lost connection to " + (gdbLeaves ? "GDB Client" : "GDB Server") +
                      "\nProxy stopped.\n",
                  proxy.process().output());
        EXPECT_TRUE((gdbLeaves ? proxy.server() : proxy.gdb()).waitClosed());
    }
}

TEST_F(TarnwickProgramIntegration, ForwardsByteForByteInBothDirections) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    // Traffic that no interceptor takes: memory, execution, breakpoints, feature negotiation.
    const std::string fromGdb = "$qSupported:multiprocess+;swbreak+#c9$m20000000,4#93$Z0,8000120,2#00"
                                "$vCont;c#a8$M0,1:ff#00\x03";
    const std::string fromServer = "$PacketSize=4000;qXfer:features:read+#00$78563412#08$OK#9a$E01#a6"
                                   "%Stop:T05#99$\x7d\x03#00";
    expectPassedUnchanged(proxy, fromGdb, fromServer);
}

TEST_F(TarnwickProgramIntegration, SeveralFramesInOneReadAllPass) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    ASSERT_TRUE(proxy.gdb().sendRaw("$m0,4#fd$m4,4#01$c#63"));
    EXPECT_EQ("$m0,4#fd", proxy.server().nextRaw());
    EXPECT_EQ("$m4,4#01", proxy.server().nextRaw());
    EXPECT_EQ("$c#63", proxy.server().nextRaw());
}

TEST_F(TarnwickProgramIntegration, BypassForwardsAcknowledgementsBreaksAndSymbolTraffic) {
    ProxyUnderTest proxy({"--bypass", "true"});
    ASSERT_TRUE(proxy.ready());
    const std::string fromGdb = std::string("+-\x03") + "$qSymbol::#5b$qSymbol:20000000:7078437572#00";
    const std::string fromServer = "+$qSymbol:707843757272656e74544342#8c-$OK#9a";
    expectPassedUnchanged(proxy, fromGdb, fromServer);
}

TEST_F(TarnwickProgramIntegration, SigintWhileWaitingForTrafficEndsWithErrors) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    // A round trip shows the loop running; then it is idle in its wait.
    ASSERT_TRUE(proxy.gdb().sendPacket("c"));
    EXPECT_EQ("$c#63", proxy.server().nextRaw());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    proxy.process().sendSignal(SIGINT);
    ASSERT_TRUE(proxy.process().waitExit());
    EXPECT_EQ(255, proxy.process().exitStatus());
    EXPECT_EQ(proxy.startOutput() + "Failed running proxy\nProxy stopped with errors.\n",
              proxy.process().output());
}

TEST_F(TarnwickProgramIntegration, SigintWhileWaitingForGdbIsOnlyFeltTheSecondTime) {
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    ProcessRunner process(testpaths::tarnwickBinary(), ProxyUnderTest::arguments(port, server->port(), {}));
    ASSERT_TRUE(
        process.waitForOutput("Listen for GDB connection on port: " + std::to_string(port) + " ... "));
    process.sendSignal(SIGINT);
    EXPECT_FALSE(process.waitExit(200));
    process.sendSignal(SIGINT);
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(128 + SIGINT, process.exitStatus());
}

TEST_F(TarnwickProgramIntegration, APortInUseFailsBeforeAnyConnectAttempt) {
    auto holder = FakeRspPeer::listen();
    auto server = FakeRspPeer::listen();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(holder->port(), server->port(), {}));
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(ProxyUnderTest::initOutput() + "Failed listen for incoming connections on port: " +
                  std::to_string(holder->port()) + "\nProxy stopped with errors.\n",
              process.output());
    EXPECT_FALSE(server->waitConnected(50));
}

TEST_F(TarnwickProgramIntegration, AServerThatIsDownSpendsTheConnectBudget) {
    unsigned short serverPort = freeTcpPort();
    unsigned short port = freeTcpPort();
    auto start = std::chrono::steady_clock::now();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(port, serverPort, {"--gdbserver_connect_timeout", "1"}));
    ASSERT_TRUE(process.waitExit());
    double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(ProxyUnderTest::initOutput() + "Connecting to GDB server 127.0.0.1 on port " +
                  std::to_string(serverPort) + " ... Failed\nProxy stopped with errors.\n",
              process.output());
    // One refused attempt and its two-second pause.
    EXPECT_GE(elapsed, 1.9);
    EXPECT_LT(elapsed, 3.5);
}

TEST_F(TarnwickProgramIntegration, AMalformedServerConnectionStopsTheStart) {
    std::vector<std::string> args = ProxyUnderTest::startupArguments();
    args.insert(args.end(), {"--server_connection", "10.0.0.1"});
    ProcessRunner process(testpaths::tarnwickBinary(), args);
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(kBanner + "Invalid format: --server_connection <hostname/ip:portnumber>\n"
                        "Failed initialize tarnwick\n"
                        "Failed to initialize proxy.\n"
                        "Proxy stopped with errors.\n",
              process.output());
}

} // namespace
