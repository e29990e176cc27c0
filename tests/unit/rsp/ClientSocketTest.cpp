#include "rsp/ClientSocket.h"

#include "BlackHolePort.h"
#include "FakeRspPeer.h"
#include "FreePort.h"
#include "base/Logger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class ClientSocketIntegration : public ::testing::Test {
protected:
    void SetUp() override { Logger::getInstance().setLogLevel(7); }
};

// A listener on a given port, opened late to play a server that comes up while the proxy waits.
int listenOn(unsigned short port) {
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int reuse = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener, 1) != 0) {
        close(listener);
        return -1;
    }
    return listener;
}

TEST_F(ClientSocketIntegration, ConnectsToADottedAddress) {
    auto server = FakeRspPeer::listen();
    ClientSocket socket("127.0.0.1", server->port());
    Logger::getInstance().setLogLevel(Logger::LOG_DEBUG);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ClientSocket::CONNECT_OK, socket.connect(2));
    std::string log = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(log == "Connection is open\n" || log == "Connected\n") << log;
    EXPECT_TRUE(server->waitConnected());
    EXPECT_GE(socket.getSocket(), 0);
}

TEST_F(ClientSocketIntegration, ConnectedSocketIsBlockingAgain) {
    auto server = FakeRspPeer::listen();
    ClientSocket socket("127.0.0.1", server->port());
    ASSERT_EQ(ClientSocket::CONNECT_OK, socket.connect(2));
    std::thread late([&server] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        server->sendRaw("+");
    });
    char byte = 0;
    EXPECT_EQ(1, socket.read(&byte, 1)) << "a non-blocking socket would have failed at once";
    late.join();
    EXPECT_EQ('+', byte);
}

bool sendsWithoutDelay(int descriptor) {
    int on = 0;
    socklen_t size = sizeof(on);
    return getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, &size) == 0 && on != 0;
}

TEST_F(ClientSocketIntegration, DialledAndAcceptedSocketsSendSmallWritesAtOnce) {
    int listener = listenOn(0);
    ASSERT_GE(listener, 0);
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
    ClientSocket dialled("127.0.0.1", ntohs(address.sin_port));
    ASSERT_EQ(ClientSocket::CONNECT_OK, dialled.connect(2));
    int descriptor = accept(listener, nullptr, nullptr);
    ASSERT_GE(descriptor, 0);
    EXPECT_FALSE(sendsWithoutDelay(descriptor)) << "a plain TCP socket waits; the wrapper must change that";
    ClientSocket accepted(descriptor);
    close(listener);
    EXPECT_TRUE(sendsWithoutDelay(dialled.getSocket()));
    EXPECT_TRUE(sendsWithoutDelay(accepted.getSocket()));
}

TEST_F(ClientSocketIntegration, AClosedPortFailsAtOnce) {
    ClientSocket socket("127.0.0.1", freeTcpPort());
    Logger::getInstance().setLogLevel(Logger::LOG_DEBUG);
    testing::internal::CaptureStdout();
    auto start = Clock::now();
    EXPECT_EQ(ClientSocket::CONNECT_FAILED, socket.connect(2));
    EXPECT_LT(secondsSince(start), 0.5);
    EXPECT_EQ(0u, testing::internal::GetCapturedStdout().find("Connection undef error, "));
    EXPECT_EQ(-1, socket.getSocket()) << "a failed attempt closes its descriptor";
}

TEST_F(ClientSocketIntegration, AHostNameIsResolved) {
    auto server = FakeRspPeer::listen();
    ClientSocket named("localhost", server->port());
    EXPECT_EQ(ClientSocket::CONNECT_OK, named.connect(2));
    EXPECT_TRUE(server->waitConnected());
}

TEST_F(ClientSocketIntegration, ConnectsToAnIpv6Address) {
    int listener = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof(address);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    ASSERT_EQ(0, listen(listener, 1));
    ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
    ClientSocket socket("::1", ntohs(address.sin6_port));
    EXPECT_EQ(ClientSocket::CONNECT_OK, socket.connect(2));
    int accepted = accept(listener, nullptr, nullptr);
    EXPECT_GE(accepted, 0);
    close(accepted);
    close(listener);
}

TEST_F(ClientSocketIntegration, AHostThatDoesNotResolveFailsAtOnce) {
    ClientSocket socket("no-such-host.invalid", 3333);
    Logger::getInstance().setLogLevel(Logger::LOG_DEBUG);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ClientSocket::CONNECT_FAILED, socket.connect(2));
    EXPECT_EQ("Failed resolving host\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(-1, socket.getSocket());
}

TEST_F(ClientSocketIntegration, ABlackHoleTimesOutInsideConnect) {
    BlackHolePort hole;
    ClientSocket socket("127.0.0.1", hole.port());
    Logger::getInstance().setLogLevel(Logger::LOG_DEBUG);
    testing::internal::CaptureStdout();
    auto start = Clock::now();
    EXPECT_EQ(ClientSocket::CONNECT_TIMEOUT, socket.connect(1));
    double elapsed = secondsSince(start);
    EXPECT_EQ("Connection timeout\n", testing::internal::GetCapturedStdout());
    EXPECT_GE(elapsed, 0.9);
    EXPECT_LT(elapsed, 1.8);
}

TEST_F(ClientSocketIntegration, TryConnectSpendsNoPauseAfterATimedOutAttempt) {
    BlackHolePort hole;
    ClientSocket socket("127.0.0.1", hole.port());
    auto start = Clock::now();
    EXPECT_FALSE(socket.tryConnect(2));
    double elapsed = secondsSince(start);
    // One attempt of two seconds; a pause behind it would make four.
    EXPECT_GE(elapsed, 1.9);
    EXPECT_LT(elapsed, 3.5);
}

TEST_F(ClientSocketIntegration, TryConnectPausesTwoSecondsAfterARefusal) {
    unsigned short port = freeTcpPort();
    int listener = -1;
    std::thread late([&listener, port] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        listener = listenOn(port);
    });
    ClientSocket socket("127.0.0.1", port);
    auto start = Clock::now();
    bool connected = socket.tryConnect(4);
    double elapsed = secondsSince(start);
    late.join();
    ASSERT_GE(listener, 0) << "the port was taken meanwhile";
    close(listener);
    EXPECT_TRUE(connected);
    // Refused at once, two seconds of pause, then the second attempt finds the listener.
    EXPECT_GE(elapsed, 1.9);
    EXPECT_LT(elapsed, 3.0);
}

TEST_F(ClientSocketIntegration, TryConnectWithBudgetZeroStillMakesOneAttempt) {
    auto server = FakeRspPeer::listen();
    ClientSocket socket("127.0.0.1", server->port());
    EXPECT_TRUE(socket.tryConnect(0));
}

TEST_F(ClientSocketIntegration, ReadAndWriteAreSingleTransfers) {
    auto server = FakeRspPeer::listen();
    ClientSocket socket("127.0.0.1", server->port());
    ASSERT_EQ(ClientSocket::CONNECT_OK, socket.connect(2));
    unsigned char out[] = {'$', 'g', '#', '6', '7'};
    EXPECT_EQ(5, socket.write(out, 5));
    EXPECT_EQ("$g#67", server->nextRaw());

    ASSERT_TRUE(server->sendRaw("$OK#9a"));
    ASSERT_GT(socket.waitData(1000000u), 0);
    char in[16] = {};
    EXPECT_EQ(6, socket.read(in, sizeof(in)));
    EXPECT_EQ("$OK#9a", std::string(in));

    server->close();
    ASSERT_GT(socket.waitData(1000000u), 0);
    EXPECT_EQ(0, socket.read(in, sizeof(in))) << "an orderly close reads 0";
}

TEST_F(ClientSocketIntegration, WaitDataTimesOutWithoutData) {
    auto server = FakeRspPeer::listen();
    ClientSocket socket("127.0.0.1", server->port());
    ASSERT_EQ(ClientSocket::CONNECT_OK, socket.connect(2));
    EXPECT_EQ(0, socket.waitData(0));
    auto start = Clock::now();
    EXPECT_EQ(0, socket.waitData(50000));
    EXPECT_GE(secondsSince(start), 0.045);
}

TEST_F(ClientSocketIntegration, WaitDataOnSeveralSocketsPicksTheFirstReadable) {
    auto first = FakeRspPeer::listen();
    auto second = FakeRspPeer::listen();
    ClientSocket a("127.0.0.1", first->port());
    ClientSocket b("127.0.0.1", second->port());
    ASSERT_EQ(ClientSocket::CONNECT_OK, a.connect(2));
    ASSERT_EQ(ClientSocket::CONNECT_OK, b.connect(2));
    std::vector<ClientSocket*> sockets = {&a, &b};
    ClientSocket* ready = nullptr;

    EXPECT_EQ(ClientSocket::WAIT_TIMEOUT, ClientSocket::waitData(sockets, ready, 20));
    EXPECT_EQ(nullptr, ready);

    ASSERT_TRUE(second->sendRaw("+"));
    EXPECT_EQ(ClientSocket::WAIT_READY, ClientSocket::waitData(sockets, ready, 1000));
    EXPECT_EQ(&b, ready);

    ASSERT_TRUE(first->sendRaw("+"));
    ASSERT_GT(a.waitData(1000000u), 0);
    EXPECT_EQ(ClientSocket::WAIT_READY, ClientSocket::waitData(sockets, ready, ClientSocket::kWaitForever));
    EXPECT_EQ(&a, ready) << "vector order decides when both are readable";
}

TEST_F(ClientSocketIntegration, DescriptorsBeyondTheSelectSetAreAnErrorNotAnOverrun) {
    ClientSocket outOfRange(FD_SETSIZE + 5);
    EXPECT_LT(outOfRange.waitData(0), 0);
    std::vector<ClientSocket*> sockets = {&outOfRange};
    ClientSocket* ready = nullptr;
    EXPECT_EQ(ClientSocket::WAIT_ERROR, ClientSocket::waitData(sockets, ready, 0));
}

} // namespace
