#include "proxy/Tarnwick.h"

#include "FakeRspPeer.h"
#include "FreePort.h"
#include "ProcessRunner.h"
#include "ProxyUnderTest.h"
#include "TestPaths.h"
#include "app/Logger.h"
#include "app/Properties.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

const std::string kBanner = "Veltrona Tarnwick. Version 0.17.0\n"
                            "Copyright (c) Veltrona. All rights reserved.\n"
                            "\n";

TEST(TarnwickTest, IsOneInstance) {
    EXPECT_EQ(&Tarnwick::getInstance(), &Tarnwick::getInstance());
}

TEST(TarnwickTest, InterceptPacketHandsEveryPacketOn) {
    RspClient gdb(new ClientSocket("127.0.0.1", 1), "GDB Client", ROLE_GDB_CLIENT);
    RspClient server(new ClientSocket("127.0.0.1", 2), "GDB Server", ROLE_GDB_SERVER);
    bool handled = true;
    EXPECT_TRUE(Tarnwick::getInstance().interceptPacket(gdb, server, handled));
    EXPECT_FALSE(handled);
    handled = true;
    EXPECT_TRUE(Tarnwick::getInstance().interceptPacket(server, gdb, handled));
    EXPECT_FALSE(handled);
}

TEST(TarnwickTest, InitFailsOnAMalformedServerConnection) {
    Properties::getInstance().clear();
    std::vector<std::string> args = {"--server_connection", "10.0.0.1"};
    Properties::getInstance().init(args);
    Logger::getInstance().setLogLevel(7);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Tarnwick::getInstance().init());
    EXPECT_EQ("Invalid format: --server_connection <hostname/ip:portnumber>\n"
              "Failed initialize tarnwick\n",
              testing::internal::GetCapturedStdout());
    Properties::getInstance().clear();
}

TEST(TarnwickTest, InitReadsTheProxyOptions) {
    Properties::getInstance().clear();
    std::vector<std::string> args = {"--server_connection", ":3333", "--port", "2000"};
    Properties::getInstance().init(args);
    EXPECT_TRUE(Tarnwick::getInstance().init());
    EXPECT_EQ(3333, Tarnwick::getInstance().getServerPort());
    EXPECT_EQ(2000, Tarnwick::getInstance().getListenPort());
    Properties::getInstance().clear();
}

// The built program as a pass-through proxy between a fake GDB and a fake GDB server.

TEST(TarnwickIntegration, GdbDisconnectingEndsTheProxyInOrder) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    proxy.gdb().close();
    ASSERT_TRUE(proxy.process().waitExit());
    EXPECT_EQ(0, proxy.process().exitStatus());
    EXPECT_EQ(proxy.startOutput() + "Lost connection to GDB Client\nProxy stopped.\n",
              proxy.process().output());
    EXPECT_TRUE(proxy.server().waitClosed());
}

TEST(TarnwickIntegration, ServerDisconnectingEndsTheProxyInOrder) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    proxy.server().close();
    ASSERT_TRUE(proxy.process().waitExit());
    EXPECT_EQ(0, proxy.process().exitStatus());
    EXPECT_EQ(proxy.startOutput() + "Lost connection to GDB Server\nProxy stopped.\n",
              proxy.process().output());
    EXPECT_TRUE(proxy.gdb().waitClosed());
}

TEST(TarnwickIntegration, ForwardsByteForByteInBothDirections) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    // Traffic that no interceptor takes: memory, execution, breakpoints, feature negotiation.
    const std::string fromGdb = "$qSupported:multiprocess+;swbreak+#c9$m20000000,4#93$Z0,8000120,2#00"
                                "$vCont;c#a8$M0,1:ff#00\x03";
    const std::string fromServer = "$PacketSize=4000;qXfer:features:read+#00$78563412#08$OK#9a$E01#a6"
                                   "%Stop:T05#99$\x7d\x03#00";
    ASSERT_TRUE(proxy.gdb().sendRaw(fromGdb));
    ASSERT_TRUE(proxy.server().sendRaw(fromServer));
    ASSERT_TRUE(proxy.server().waitReceivedBytes(fromGdb.size()));
    ASSERT_TRUE(proxy.gdb().waitReceivedBytes(fromServer.size()));
    EXPECT_EQ(fromGdb, proxy.server().receivedBytes());
    EXPECT_EQ(fromServer, proxy.gdb().receivedBytes());
}

TEST(TarnwickIntegration, SeveralFramesInOneReadAllPass) {
    ProxyUnderTest proxy;
    ASSERT_TRUE(proxy.ready());
    ASSERT_TRUE(proxy.gdb().sendRaw("$m0,4#fd$m4,4#01$c#63"));
    EXPECT_EQ("$m0,4#fd", proxy.server().nextRaw());
    EXPECT_EQ("$m4,4#01", proxy.server().nextRaw());
    EXPECT_EQ("$c#63", proxy.server().nextRaw());
}

TEST(TarnwickIntegration, BypassForwardsAcknowledgementsBreaksAndSymbolTraffic) {
    ProxyUnderTest proxy({"--bypass", "true"});
    ASSERT_TRUE(proxy.ready());
    const std::string fromGdb = std::string("+-\x03") + "$qSymbol::#5b$qSymbol:20000000:7078437572#00";
    const std::string fromServer = "+$qSymbol:707843757272656e74544342#8c-$OK#9a";
    ASSERT_TRUE(proxy.gdb().sendRaw(fromGdb));
    ASSERT_TRUE(proxy.server().sendRaw(fromServer));
    ASSERT_TRUE(proxy.server().waitReceivedBytes(fromGdb.size()));
    ASSERT_TRUE(proxy.gdb().waitReceivedBytes(fromServer.size()));
    EXPECT_EQ(fromGdb, proxy.server().receivedBytes());
    EXPECT_EQ(fromServer, proxy.gdb().receivedBytes());
}

TEST(TarnwickIntegration, SigintWhileWaitingForTrafficEndsWithErrors) {
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

TEST(TarnwickIntegration, SigintWhileWaitingForGdbIsOnlyFeltTheSecondTime) {
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

TEST(TarnwickIntegration, APortInUseFailsBeforeAnyConnectAttempt) {
    auto holder = FakeRspPeer::listen();
    auto server = FakeRspPeer::listen();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(holder->port(), server->port(), {}));
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(kBanner + "Failed listen for incoming connections on port: " + std::to_string(holder->port()) +
                  "\nProxy stopped with errors.\n",
              process.output());
    EXPECT_FALSE(server->waitConnected(50));
}

TEST(TarnwickIntegration, AServerThatIsDownSpendsTheConnectBudget) {
    unsigned short serverPort = freeTcpPort();
    unsigned short port = freeTcpPort();
    auto start = std::chrono::steady_clock::now();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(port, serverPort, {"--gdbserver_connect_timeout", "1"}));
    ASSERT_TRUE(process.waitExit());
    double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(kBanner + "Connecting to GDB server 127.0.0.1 on port " + std::to_string(serverPort) +
                  " ... Failed\nProxy stopped with errors.\n",
              process.output());
    // One refused attempt and its two-second pause.
    EXPECT_GE(elapsed, 1.9);
    EXPECT_LT(elapsed, 3.5);
}

TEST(TarnwickIntegration, AMalformedServerConnectionStopsTheStart) {
    ProcessRunner process(testpaths::tarnwickBinary(), {"--server_connection", "10.0.0.1"});
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(255, process.exitStatus());
    EXPECT_EQ(kBanner + "Invalid format: --server_connection <hostname/ip:portnumber>\n"
                        "Failed initialize tarnwick\n"
                        "Failed to initialize proxy.\n"
                        "Proxy stopped with errors.\n",
              process.output());
}

} // namespace
