#include "rsp/ServerSocket.h"

#include "FakeRspPeer.h"
#include "rsp/ClientSocket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

namespace {

TEST(ServerSocketIntegration, AcceptsAConnectionOnItsPort) {
    ServerSocket server(0);
    ASSERT_NE(0, server.getPort());
    auto gdb = FakeRspPeer::connect(server.getPort());
    ASSERT_TRUE(gdb);
    std::unique_ptr<ClientSocket> accepted(server.WaitConnection());
    ASSERT_TRUE(accepted);
    ASSERT_TRUE(gdb->sendRaw("$qC#b4"));
    ASSERT_GT(accepted->waitData(1000000u), 0);
    char bytes[8] = {};
    EXPECT_EQ(6, accepted->read(bytes, sizeof(bytes)));
    EXPECT_STREQ("$qC#b4", bytes);
}

TEST(ServerSocketIntegration, ListensOnLoopbackUnlessToldOtherwise) {
    ServerSocket loopback(0);
    EXPECT_EQ("127.0.0.1", loopback.getAddress());
    ServerSocket everywhere(0, "0.0.0.0");
    EXPECT_EQ("0.0.0.0", everywhere.getAddress());
    auto gdb = FakeRspPeer::connect(everywhere.getPort());
    ASSERT_TRUE(gdb) << "every interface includes loopback";
    std::unique_ptr<ClientSocket> accepted(everywhere.WaitConnection());
    EXPECT_TRUE(accepted);
}

TEST(ServerSocketIntegration, ListensOnAHostNameOrAnIpv6Address) {
    ServerSocket named(0, "localhost");
    EXPECT_EQ("127.0.0.1", named.getAddress()) << "localhost is 127.0.0.1 in the hosts file";
    EXPECT_TRUE(ServerSocket::resolves("localhost"));

    ServerSocket six(0, "::1");
    EXPECT_EQ("::1", six.getAddress());
    ASSERT_NE(0, six.getPort());
    ClientSocket gdb("::1", six.getPort());
    ASSERT_EQ(ClientSocket::CONNECT_OK, gdb.connect(2));
    std::unique_ptr<ClientSocket> accepted(six.WaitConnection());
    EXPECT_TRUE(accepted);
}

TEST(ServerSocketIntegration, AnAddressThatIsNoneThrowsBindErr) {
    for (const char* address : {"", "127.0.0.256", "[::1]", "10.0.0.1:3333", "192.0.2.1"}) {
        SCOPED_TRACE(address);
        const char* thrown = nullptr;
        try {
            ServerSocket server(0, address);
        } catch (const char* error) {
            thrown = error;
        }
        ASSERT_NE(nullptr, thrown);
        EXPECT_STREQ("BIND_ERR", thrown);
    }
}

TEST(ServerSocketIntegration, APortInUseThrowsBindErr) {
    auto holder = FakeRspPeer::listen();
    const char* thrown = nullptr;
    try {
        ServerSocket server(holder->port());
    } catch (const char* error) {
        thrown = error;
    }
    ASSERT_NE(nullptr, thrown);
    EXPECT_STREQ("BIND_ERR", thrown);
}

TEST(ServerSocketIntegration, StopMakesWaitConnectionReturnNull) {
    ServerSocket server(0);
    server.stop();
    EXPECT_EQ(nullptr, server.WaitConnection());
}

TEST(ServerSocketIntegration, StopFromElsewhereEndsAWaitWithinItsPoll) {
    ServerSocket server(0);
    std::thread stopper([&server] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        server.stop();
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(nullptr, server.WaitConnection());
    stopper.join();
    // The wait looks at the flag every 100 ms; the bound leaves room for a loaded machine, not for a hang.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3000));
}

TEST(ServerSocketIntegration, DestructionFreesThePort) {
    unsigned short port = 0;
    {
        ServerSocket server(0);
        port = server.getPort();
    }
    EXPECT_EQ(nullptr, FakeRspPeer::connect(port, 0));
    ServerSocket again(port);
    EXPECT_EQ(port, again.getPort());
}

} // namespace
