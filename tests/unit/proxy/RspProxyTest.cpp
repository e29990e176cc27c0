#include "proxy/RspProxy.h"
#include "base/NumberCodec.h"

#include "FakeRspPeer.h"
#include "PeeredEndpoint.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "rsp/ClientSocket.h"
#include "rsp/FrameScreen.h"
#include "rsp/RspBuffer.h"
#include "rsp/RspClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <pthread.h>
#include <sys/socket.h>
#include <thread>

namespace {

using Hook = std::function<bool(RspClient& from, RspClient& to, bool& handled)>;

// A proxy whose hook is the test's; by default it hands every packet on and remembers it.
class ScriptedProxy : public RspProxy {
public:
    bool interceptPacket(RspClient& from, RspClient& to, bool& handled) override {
        RspBuffer& buffer = from.getReceiveBuffer();
        seen.push_back(from.getName() + " " +
                       std::string(reinterpret_cast<const char*>(buffer.getBuffer()),
                                   static_cast<std::size_t>(buffer.getPacketLength())));
        if (hook) {
            return hook(from, to, handled);
        }
        handled = false;
        return true;
    }

    // With a screen set, frames that it passes go on as they arrive; without, every frame is seen whole.
    FrameScreen::Verdict screenFrame(RspClient& from, const unsigned char* head, int length) override {
        return screen ? screen->judge(head, length) : RspProxy::screenFrame(from, head, length);
    }

    Hook hook;
    std::vector<std::string> seen;
    std::unique_ptr<FrameScreen> screen;
};

void setOptions(std::vector<std::string> args) {
    Properties::getInstance().clear();
    Properties::getInstance().init(args);
}

class RspProxyTest : public ::testing::Test {
protected:
    void SetUp() override {
        Properties::getInstance().clear();
        Logger::getInstance().setLogLevel(7);
    }
};

TEST_F(RspProxyTest, DefaultsLieWithTheReader) {
    ScriptedProxy proxy;
    EXPECT_TRUE(proxy.init());
    EXPECT_EQ(60000, proxy.getListenPort());
    EXPECT_EQ("127.0.0.1", proxy.getListenAddress());
    EXPECT_EQ("127.0.0.1", proxy.getServerHost());
    EXPECT_EQ(61234, proxy.getServerPort());
    EXPECT_EQ(15u, proxy.getConnectTimeout());
    EXPECT_FALSE(proxy.isBypass());
    EXPECT_FALSE(proxy.isPersistent());
    EXPECT_EQ("", proxy.getServerName());
}

TEST_F(RspProxyTest, PersistIsOnlyTheTextTrue) {
    const std::pair<const char*, bool> rows[] = {
        {"true", true}, {"false", false}, {"TRUE", false}, {"1", false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        setOptions({"--persist", row.first});
        ScriptedProxy proxy;
        EXPECT_TRUE(proxy.init());
        EXPECT_EQ(row.second, proxy.isPersistent());
    }
}

TEST_F(RspProxyTest, ServerConnectionTable) {
    struct Row {
        std::string value;
        bool valid;
        std::string host;
        unsigned short port;
    };
    const Row rows[] = {
        {":3333", true, "127.0.0.1", 3333},
        {"10.0.0.1:3333", true, "10.0.0.1", 3333},
        {"10.0.0.1:65535", true, "10.0.0.1", 65535},
        {"localhost:3333", true, "localhost", 3333},
        {"[::1]:3333", true, "::1", 3333},
        {"10.0.0.1:3333abc", false, "", 0},
        {"10.0.0.1:0", false, "", 0},
        {"::1:3333", false, "", 0},
        {"10.0.0.1", false, "", 0},
        {"10.0.0.1:1:2", false, "", 0},
        {"10.0.0.1:65536", false, "", 0},
        {"10.0.0.1:abc", false, "", 0},
        {"10.0.0.1:", false, "", 0},
        {"10.0.0.1:99999999999999999999999", false, "", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        setOptions({"--server_connection", row.value});
        ScriptedProxy proxy;
        testing::internal::CaptureStdout();
        EXPECT_EQ(row.valid, proxy.init());
        std::string log = testing::internal::GetCapturedStdout();
        if (row.valid) {
            EXPECT_EQ("", log);
            EXPECT_EQ(row.host, proxy.getServerHost());
            EXPECT_EQ(row.port, proxy.getServerPort());
        } else {
            EXPECT_EQ("Invalid format: --server_connection <hostname/ip:portnumber>\n", log);
        }
    }
}

TEST_F(RspProxyTest, ListenAddressTable) {
    struct Row {
        std::string value;
        bool valid;
        std::string address;
    };
    const Row rows[] = {
        {"0.0.0.0", true, "0.0.0.0"},
        {"127.0.0.1", true, "127.0.0.1"},
        {"192.168.7.2", true, "192.168.7.2"},
        {"localhost", true, "localhost"},
        {"::1", true, "::1"},
        {"::", true, "::"},
        {"", false, "127.0.0.1"},
        {"10.0.0.1:3333", false, "127.0.0.1"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        setOptions({"--listen_address", row.value});
        ScriptedProxy proxy;
        testing::internal::CaptureStdout();
        EXPECT_EQ(row.valid, proxy.init());
        EXPECT_EQ(row.valid ? "" : "Invalid format: --listen_address <hostname/ip address>\n",
                  testing::internal::GetCapturedStdout());
        EXPECT_EQ(row.address, proxy.getListenAddress());
    }
}

TEST_F(RspProxyTest, AMalformedConnectionStillReadsTheOtherOptions) {
    setOptions({"--server_connection", "10.0.0.1", "--port", "2000", "--bypass", "true"});
    ScriptedProxy proxy;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(proxy.init());
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(2000, proxy.getListenPort());
    EXPECT_TRUE(proxy.isBypass());
}

TEST_F(RspProxyTest, AListenPortThatIsNoPortIsRefused) {
    for (const char* value : {"65536", "0", "12x", ""}) {
        SCOPED_TRACE(value);
        setOptions({"--port", value});
        ScriptedProxy proxy;
        testing::internal::CaptureStdout();
        EXPECT_FALSE(proxy.init());
        EXPECT_EQ("Invalid format: --port <portnumber 1-65535>\n", testing::internal::GetCapturedStdout());
        EXPECT_EQ(60000, proxy.getListenPort());
    }
}

TEST_F(RspProxyTest, AnInvalidTimeoutFallsBackToItsDefault) {
    setOptions({"--port", "65535", "--gdbserver_connect_timeout", "soon"});
    ScriptedProxy proxy;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(proxy.init());
    EXPECT_EQ("RspUtil::toUINT32(), failure: soon\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(65535, proxy.getListenPort());
    EXPECT_EQ(15u, proxy.getConnectTimeout());
}

TEST_F(RspProxyTest, OtherOptionsAreRead) {
    setOptions({"--gdbserver_connect_timeout", "3", "--bypass", "yes", "--server", "probe-server"});
    ScriptedProxy proxy;
    EXPECT_TRUE(proxy.init());
    EXPECT_EQ(3u, proxy.getConnectTimeout());
    EXPECT_FALSE(proxy.isBypass()) << "only the text \"true\" is true";
    EXPECT_EQ("probe-server", proxy.getServerName());
}

// The loop between two real endpoints, each with a fake peer behind it.
class RspProxyIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        Properties::getInstance().clear();
        Logger::getInstance().setLogLevel(7);
        gdbSide = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
        serverSide = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(gdbSide.endpoint && serverSide.endpoint);
    }
    void TearDown() override {
        if (loop.valid()) {
            gdb().close();
            loop.wait();
        }
    }

    void initProxy(std::vector<std::string> args) {
        setOptions(args);
        ASSERT_TRUE(proxy.init());
    }
    void startLoop() {
        testing::internal::CaptureStdout();
        loop = std::async(std::launch::async, [this] {
            return proxy.doProxyWork(gdbSide.endpoint.get(), serverSide.endpoint.get());
        });
    }
    // The loop's result and everything it logged.
    std::pair<bool, std::string> finishLoop() {
        bool result = loop.get();
        return {result, testing::internal::GetCapturedStdout()};
    }

    // The loop ends well; what it logged is returned.
    std::string succeededLog() {
        auto [result, log] = finishLoop();
        EXPECT_TRUE(result);
        return log;
    }
    std::string closeGdb() {
        gdb().close();
        return succeededLog();
    }
    // The loop ends as a failure; what it logged is returned.
    std::string failedLog() {
        auto [result, log] = finishLoop();
        EXPECT_FALSE(result);
        return log;
    }
    // Both peers send at once and each receives the other's bytes unchanged.
    void exchange(const std::string& toServer, const std::string& toGdb) {
        ASSERT_TRUE(gdb().sendRaw(toServer));
        ASSERT_TRUE(server().sendRaw(toGdb));
        ASSERT_TRUE(server().waitReceivedBytes(toServer.size()));
        ASSERT_TRUE(gdb().waitReceivedBytes(toGdb.size()));
        EXPECT_EQ(toServer, server().receivedBytes());
        EXPECT_EQ(toGdb, gdb().receivedBytes());
    }
    // Starts the loop with the given screen (none: every frame whole), asks the server through it and waits
    // until the request has passed.
    void startWithRequest(std::unique_ptr<FrameScreen> newScreen, const std::string& frame) {
        proxy.screen = std::move(newScreen);
        startLoop();
        ASSERT_TRUE(gdb().sendRaw(frame));
        EXPECT_EQ(frame, server().nextRaw());
    }

    FakeRspPeer& gdb() { return *gdbSide.peer; }
    FakeRspPeer& server() { return *serverSide.peer; }

    ScriptedProxy proxy;
    PeeredEndpoint gdbSide;
    PeeredEndpoint serverSide;
    std::future<bool> loop;
};

TEST_F(RspProxyIntegration, ForwardsByteForByteInBothDirections) {
    startLoop();
    const std::string toServer = "$qSupported:multiprocess+;swbreak+#c9$m20000000,4#93$vCont;c#a8$M0,1:ff#00";
    const std::string toGdb = "$OK#9a$E01#a6$78563412#08%Stop:T05#99$\x7d\x03#00";
    exchange(toServer, toGdb);
    EXPECT_EQ("Lost connection to GDB Client\n", closeGdb());
}

TEST_F(RspProxyIntegration, SeveralFramesInOneReadAreEachHandled) {
    startLoop();
    ASSERT_TRUE(gdb().sendRaw("$m0,4#fd+$c#63"));
    EXPECT_EQ("$m0,4#fd", server().nextRaw());
    EXPECT_EQ("+", server().nextRaw());
    EXPECT_EQ("$c#63", server().nextRaw());
    closeGdb();
    EXPECT_EQ((std::vector<std::string>{"GDB Client $m0,4#fd", "GDB Client +", "GDB Client $c#63"}),
              proxy.seen);
}

TEST_F(RspProxyIntegration, AServerThatGoesAwayEndsTheLoopInOrder) {
    startLoop();
    server().close();
    EXPECT_EQ("Lost connection to GDB Server\n", succeededLog());
}

TEST_F(RspProxyIntegration, AHandledPacketIsNotForwarded) {
    proxy.hook = [](RspClient& from, RspClient&, bool& handled) {
        std::string command;
        handled = true;
        return from.getCommand(command, true) && from.sendCommand("OK");
    };
    startLoop();
    ASSERT_TRUE(gdb().sendPacket("Hg0"));
    EXPECT_EQ("$OK#9a", gdb().nextRaw());
    EXPECT_TRUE(server().quietFor(50));
    closeGdb();
}

TEST_F(RspProxyIntegration, AFailingHookEndsTheLoopAsAFailure) {
    proxy.hook = [](RspClient&, RspClient&, bool& handled) {
        handled = false;
        return false;
    };
    startLoop();
    ASSERT_TRUE(gdb().sendPacket("qC"));
    EXPECT_EQ("Packet intercept failed: GDB Client to: GDB Server\n"
              "Failed handle packet from: GDB Client to: GDB Server\n",
              failedLog());
    EXPECT_TRUE(server().quietFor(20));
}

TEST_F(RspProxyIntegration, AFailedForwardEndsTheLoopAsAFailure) {
    shutdown(serverSide.endpoint->getClientSocket()->getSocket(), SHUT_WR);
    startLoop();
    ASSERT_TRUE(gdb().sendPacket("c"));
    EXPECT_EQ("Failed forwarding data from: GDB Client to: GDB Server\n"
              "Failed handle packet from: GDB Client to: GDB Server\n",
              failedLog());
}

TEST_F(RspProxyIntegration, BypassForwardsEverythingWithoutTheHook) {
    initProxy({"--bypass", "true"});
    startLoop();
    const std::string fromGdb = std::string("+-\x03") + "$qSymbol::#5b$qSymbol:7078437572#00";
    const std::string fromServer = "$qSymbol:707843757272656e74544342#8c+";
    exchange(fromGdb, fromServer);
    closeGdb();
    EXPECT_TRUE(proxy.seen.empty());
}

TEST_F(RspProxyIntegration, BypassReportsAFailedForward) {
    initProxy({"--bypass", "true"});
    shutdown(gdbSide.endpoint->getClientSocket()->getSocket(), SHUT_WR);
    startLoop();
    ASSERT_TRUE(server().sendPacket("OK"));
    EXPECT_EQ("Failed forwarding data from: GDB Server to: GDB Client\n"
              "Failed handle packet from: GDB Server to: GDB Client\n",
              failedLog());
}

TEST_F(RspProxyIntegration, AStopDuringAPacketEndsTheLoopAfterIt) {
    proxy.hook = [this](RspClient&, RspClient&, bool& handled) {
        proxy.stop();
        handled = false;
        return true;
    };
    startLoop();
    ASSERT_TRUE(gdb().sendRaw("$m0,4#fd$c#63"));
    EXPECT_EQ("", succeededLog());
    EXPECT_EQ("$m0,4#fd", server().nextRaw());
    EXPECT_EQ(std::vector<std::string>{"GDB Client $m0,4#fd"}, proxy.seen) << "the rest of the read waits";
}

TEST_F(RspProxyIntegration, AStopBeforeTheLoopIsForgotten) {
    proxy.stop();
    startLoop();
    ASSERT_TRUE(gdb().sendPacket("c"));
    EXPECT_EQ("$c#63", server().nextRaw());
    closeGdb();
}

TEST_F(RspProxyIntegration, GdbHasTheTurnWhenBothSidesAreReadable) {
    proxy.hook = [this](RspClient&, RspClient&, bool& handled) {
        handled = false;
        if (proxy.seen.size() == 2) {
            proxy.stop();
        }
        return true;
    };
    ASSERT_TRUE(server().sendPacket("OK"));
    ASSERT_TRUE(gdb().sendPacket("c"));
    ASSERT_GT(serverSide.endpoint->getClientSocket()->waitData(1000000u), 0);
    ASSERT_GT(gdbSide.endpoint->getClientSocket()->waitData(1000000u), 0);
    startLoop();
    EXPECT_TRUE(finishLoop().first);
    EXPECT_EQ((std::vector<std::string>{"GDB Client $c#63", "GDB Server $OK#9a"}), proxy.seen);
}

void ignoreSignal(int) {}

TEST_F(RspProxyIntegration, ASignalDuringTheWaitEndsTheLoopAsAFailure) {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    sigemptyset(&action.sa_mask);
    struct sigaction previous {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &previous));
    std::promise<pthread_t> threadId;
    testing::internal::CaptureStdout();
    loop = std::async(std::launch::async, [this, &threadId] {
        threadId.set_value(pthread_self());
        return proxy.doProxyWork(gdbSide.endpoint.get(), serverSide.endpoint.get());
    });
    pthread_t looping = threadId.get_future().get();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    pthread_kill(looping, SIGUSR1);
    auto [result, log] = finishLoop();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_FALSE(result);
    EXPECT_EQ("", log) << "the wait failure has no line of its own";
}

TEST_F(RspProxyIntegration, RunReportsAListeningPortInUse) {
    // Another listener holds the port.
    auto holder = FakeRspPeer::listen();
    initProxy({"--port", std::to_string(holder->port())});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(proxy.run());
    EXPECT_EQ("Failed listen for incoming connections on port: " + std::to_string(holder->port()) + "\n",
              testing::internal::GetCapturedStdout());
}

// Counts the sessions it forgets.
class PersistentProxy : public ScriptedProxy {
public:
    void forgetSession() override { ++forgotten; }
    std::atomic<int> forgotten{0};
};

bool waitFor(const std::function<bool()>& condition) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// A proxy run between a fake server and a free listening port, its log captured.
class RspProxyPersistIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        serverPeer = FakeRspPeer::listen();
        ASSERT_NE(nullptr, serverPeer);
        listen = FakeRspPeer::listen()->port();
    }
    void TearDown() override {
        Logger::getInstance().setLogLevel(0);
        Properties::getInstance().clear();
    }

    void startRun(std::vector<std::string> options) {
        std::vector<std::string> args{"--server_connection", "127.0.0.1:" + std::to_string(serverPeer->port()),
                                      "--port", std::to_string(listen), "--gdbserver_connect_timeout", "1"};
        args.insert(args.end(), options.begin(), options.end());
        setOptions(args);
        Logger::getInstance().setLogLevel(7);
        ASSERT_TRUE(proxy.init());
        testing::internal::CaptureStdout();
        run = std::async(std::launch::async, [this] { return proxy.run(); });
    }
    std::string connecting() const {
        return "Connecting to GDB server 127.0.0.1 on port " + std::to_string(serverPeer->port()) + " ... ";
    }
    std::string listening() const {
        return "Listen for GDB connection on port: " + std::to_string(listen) + " ... ";
    }

    std::unique_ptr<FakeRspPeer> serverPeer;
    unsigned short listen = 0;
    PersistentProxy proxy;
    std::future<bool> run;
};

TEST_F(RspProxyPersistIntegration, ServesOneGdbAfterAnotherWithANewServerConnectionUntilStopped) {
    serverPeer->serve(FakeRspPeer::replies({{"qC", "QC1"}}));
    ASSERT_NO_FATAL_FAILURE(startRun({"--persist", "true"}));

    auto first = FakeRspPeer::connect(listen);
    ASSERT_NE(nullptr, first);
    ASSERT_TRUE(first->sendPacket("qC"));
    EXPECT_EQ("QC1", first->nextPayload());
    first->close();
    EXPECT_TRUE(waitFor([this] { return proxy.forgotten == 1; }));
    // The fake server accepts one connection: the second waits in its backlog, which is reached all the same.
    auto second = FakeRspPeer::connect(listen);
    ASSERT_NE(nullptr, second);
    second->close();
    EXPECT_TRUE(waitFor([this] { return proxy.forgotten == 2; }));
    proxy.stop();
    EXPECT_TRUE(run.get());
    EXPECT_EQ(connecting() + "Connected\n" + listening() + "Connected\nLost connection to GDB Client\n" +
                  "Closed connection to GDB server\n" + listening() + "Connected\n" + connecting() +
                  "Connected\nLost connection to GDB Client\nClosed connection to GDB server\n" + listening() +
                  "Stopped\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(2, proxy.forgotten);
}

TEST_F(RspProxyPersistIntegration, AStopDuringASessionEndsTheRunAfterIt) {
    proxy.hook = [this](RspClient&, RspClient&, bool& handled) {
        proxy.stop();
        handled = false;
        return true;
    };
    ASSERT_NO_FATAL_FAILURE(startRun({"--persist", "true"}));
    auto gdb = FakeRspPeer::connect(listen);
    ASSERT_NE(nullptr, gdb);
    ASSERT_TRUE(gdb->sendPacket("c"));
    EXPECT_TRUE(run.get());
    EXPECT_EQ(connecting() + "Connected\n" + listening() + "Connected\nClosed connection to GDB server\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(1, proxy.forgotten);
}

TEST_F(RspProxyPersistIntegration, WithoutTheOptionOneSessionEndsTheRun) {
    ASSERT_NO_FATAL_FAILURE(startRun({}));
    auto gdb = FakeRspPeer::connect(listen);
    ASSERT_NE(nullptr, gdb);
    gdb->close();
    EXPECT_TRUE(run.get());
    EXPECT_EQ(connecting() + "Connected\n" + listening() + "Connected\nLost connection to GDB Client\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(0, proxy.forgotten);
}

} // namespace

TEST_F(RspProxyIntegration, AReplyNobodyScreensGoesOnAsItsBytesArrive) {
    startWithRequest(std::make_unique<FrameScreen>(std::vector<const char*>{"$T"}), "$m0,5#2e");
    ASSERT_TRUE(server().sendRaw("$12345678"));
    ASSERT_TRUE(gdb().waitReceivedBytes(9));
    EXPECT_EQ("$12345678", gdb().receivedBytes());
    ASSERT_TRUE(server().sendRaw("9a#"));
    ASSERT_TRUE(gdb().waitReceivedBytes(12));
    ASSERT_TRUE(server().sendRaw("00$OK#9a"));
    ASSERT_TRUE(gdb().waitReceivedBytes(20));
    EXPECT_EQ("$123456789a#00$OK#9a", gdb().receivedBytes());
    EXPECT_EQ("Lost connection to GDB Client\n", closeGdb());
    // The frame behind the reply answers no request: it is seen whole.
    EXPECT_EQ((std::vector<std::string>{"GDB Client $m0,5#2e", "GDB Server $OK#9a"}), proxy.seen);
}

TEST_F(RspProxyIntegration, AWholeReplyNobodyScreensPassesTheHookBy) {
    startWithRequest(std::make_unique<FrameScreen>(std::vector<const char*>{"$T"}), "$m0,4#fd");
    ASSERT_TRUE(server().sendRaw("$78563412#08"));
    EXPECT_EQ("$78563412#08", gdb().nextRaw());
    closeGdb();
    EXPECT_EQ((std::vector<std::string>{"GDB Client $m0,4#fd"}), proxy.seen);
}

TEST_F(RspProxyIntegration, AScreenedReplyWaitsUntilWhole) {
    startWithRequest(std::make_unique<FrameScreen>(std::vector<const char*>{"$T"}), "$c#63");
    ASSERT_TRUE(server().sendRaw("$T05thr"));
    EXPECT_TRUE(gdb().quietFor(50));
    ASSERT_TRUE(server().sendRaw("ead:1;#00"));
    EXPECT_EQ("$T05thread:1;#00", gdb().nextRaw());
    closeGdb();
    EXPECT_EQ((std::vector<std::string>{"GDB Client $c#63", "GDB Server $T05thread:1;#00"}), proxy.seen);
}

TEST_F(RspProxyIntegration, AReplyTooShortToJudgeWaitsForTheBytesThatTell) {
    startWithRequest(std::make_unique<FrameScreen>(std::vector<const char*>{"$T05"}), "$m0,2#fb");
    ASSERT_TRUE(server().sendRaw("$T"));
    EXPECT_TRUE(gdb().quietFor(50));
    ASSERT_TRUE(server().sendRaw("1"));
    ASSERT_TRUE(gdb().waitReceivedBytes(3));
    ASSERT_TRUE(server().sendRaw("f1#00"));
    EXPECT_EQ("$T1f1#00", gdb().nextRaw());
    closeGdb();
    EXPECT_EQ((std::vector<std::string>{"GDB Client $m0,2#fb"}), proxy.seen);
}

// GDB's frames, and a server frame that answers no request, are seen whole whatever the hook says.
TEST_F(RspProxyIntegration, FramesThatAnswerNoRequestWaitUntilWhole) {
    proxy.screen = std::make_unique<FrameScreen>();
    startLoop();
    ASSERT_TRUE(server().sendRaw("$O4142"));
    ASSERT_TRUE(gdb().sendRaw("$m0,4"));
    EXPECT_TRUE(gdb().quietFor(50));
    EXPECT_TRUE(server().quietFor(10));
    ASSERT_TRUE(server().sendRaw("#00"));
    EXPECT_EQ("$O4142#00", gdb().nextRaw());
    ASSERT_TRUE(gdb().sendRaw("#fd"));
    EXPECT_EQ("$m0,4#fd", server().nextRaw());
    closeGdb();
    EXPECT_EQ((std::vector<std::string>{"GDB Server $O4142#00", "GDB Client $m0,4#fd"}), proxy.seen);
}

TEST_F(RspProxyIntegration, AReplyLargerThanTheBufferPassesWhenNobodyScreensIt) {
    startWithRequest(std::make_unique<FrameScreen>(), "$m0,7800#00");
    const std::string reply = "$" + std::string(3 * RspBuffer::kCapacity, '5') + "#00";
    ASSERT_TRUE(server().sendRaw(reply));
    ASSERT_TRUE(gdb().waitReceivedBytes(reply.size()));
    EXPECT_EQ(reply, gdb().receivedBytes());
    closeGdb();
}

TEST_F(RspProxyIntegration, BypassPassesRepliesAsTheyArrive) {
    initProxy({"--bypass", "true"});
    startWithRequest(nullptr, "$qC#b4");
    ASSERT_TRUE(server().sendRaw("$QC"));
    ASSERT_TRUE(gdb().waitReceivedBytes(3));
    ASSERT_TRUE(server().sendRaw("1#c5"));
    ASSERT_TRUE(gdb().waitReceivedBytes(7));
    EXPECT_EQ("$QC1#c5", gdb().receivedBytes());
    closeGdb();
    EXPECT_TRUE(proxy.seen.empty());
}

// The acknowledgement mode learns from qSupported and its reply, so the reply is seen whole whatever the hook
// says.
TEST_F(RspProxyIntegration, TheAnswerToQSupportedIsSeenWholeEvenUnscreened) {
    startWithRequest(std::make_unique<FrameScreen>(), "$qSupported:swbreak+#00");
    ASSERT_TRUE(server().sendRaw("$PacketSize=4000"));
    EXPECT_TRUE(gdb().quietFor(50));
    ASSERT_TRUE(server().sendRaw("#00"));
    EXPECT_EQ("$PacketSize=4000#00", gdb().nextRaw());
    closeGdb();
    EXPECT_EQ(
        (std::vector<std::string>{"GDB Client $qSupported:swbreak+#00", "GDB Server $PacketSize=4000#00"}),
        proxy.seen);
}

TEST_F(RspProxyIntegration, APacketBehindStrayBytesInOneReadIsHandledAtOnceAndTheBytesCounted) {
    Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_DEBUG);
    startLoop();
    ASSERT_TRUE(gdb().sendRaw("xyz\xff$qC#b4"));
    EXPECT_EQ("$qC#b4", server().nextRaw(500));
    ASSERT_TRUE(server().sendRaw("\r\n$QC1#c5"));
    EXPECT_EQ("$QC1#c5", gdb().nextRaw(500));
    EXPECT_EQ("Skipped 4 stray bytes from GDB Client\n"
              "Skipped 2 stray bytes from GDB Server\n"
              "Lost connection to GDB Client\n",
              closeGdb());
    EXPECT_EQ((std::vector<std::string>{"GDB Client $qC#b4", "GDB Server $QC1#c5"}), proxy.seen);
}
