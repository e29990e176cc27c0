#include "proxy/ReadPathWatch.h"
#include "base/NumberCodec.h"

#include "PeeredEndpoint.h"
#include "rsp/RspClient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// GDB's endpoint with one request waiting in it, as the proxy's loop holds it when it asks the watch.
class ReadPathWatchIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        gdb = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
        server = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(gdb.endpoint && server.endpoint);
    }

    // Sends payload from peer to endpoint and has the watch observe it there.
    void arrive(PeeredEndpoint& side, const std::string& payload) {
        ASSERT_TRUE(side.peer->sendPacket(payload));
        ASSERT_GT(side.endpoint->getPacket(1000), 0);
        watch.observe(*side.endpoint, *server.endpoint);
        std::string taken;
        side.endpoint->getCommand(taken, true);
    }

    // Whether a word read through the server endpoint after payload came from the server again.
    bool readAgainAfter(PeeredEndpoint& side, const std::string& payload) {
        std::vector<unsigned char> data;
        EXPECT_TRUE(server.endpoint->readMemory(0x1000, 4, data));
        std::size_t before = server.peer->receivedLog().size();
        arrive(side, payload);
        EXPECT_TRUE(server.endpoint->readMemory(0x1000, 4, data));
        return server.peer->receivedLog().size() > before;
    }

    PeeredEndpoint gdb;
    PeeredEndpoint server;
    ReadPathWatch watch;
};

TEST_F(ReadPathWatchIntegration, RequestsThatMayChangeTheTargetEndTheStopsMemory) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,4", "01020304"}}));
    arrive(gdb, "qC");
    const std::vector<std::string> enders = {"c",          "C05",
                                             "s",          "S05",
                                             "i",          "I",
                                             "vCont;c",    "M1000,4:00000000",
                                             "X1000,0:",   "P1=00000000",
                                             "G00",        "vFlashWrite:0:ab",
                                             "vFlashDone", "qRcmd," + NumberCodec::encodeHex("reset halt")};
    for (const std::string& request : enders) {
        EXPECT_TRUE(readAgainAfter(gdb, request)) << request;
    }
}

TEST_F(ReadPathWatchIntegration, QueriesAndTheProxysOwnMonitorCommandsKeepIt) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,4", "01020304"}}));
    arrive(gdb, "qC");
    const std::vector<std::string> keepers = {
        "qfThreadInfo", "Hg0", "g", "m1000,4", "vCont?", "qC", "qRcmd," + NumberCodec::encodeHex("rtos state")};
    for (const std::string& request : keepers) {
        EXPECT_FALSE(readAgainAfter(gdb, request)) << request;
    }
}

TEST_F(ReadPathWatchIntegration, AStopReplyEndsIt) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,4", "01020304"}}));
    arrive(gdb, "qC");
    EXPECT_TRUE(readAgainAfter(server, "T05thread:1;"));
    EXPECT_TRUE(readAgainAfter(server, "S05"));
    EXPECT_FALSE(readAgainAfter(server, "OK"));
}

TEST_F(ReadPathWatchIntegration, AResetForgetsEverything) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,4", "01020304"}}));
    arrive(gdb, "qC");
    std::vector<unsigned char> data;
    EXPECT_TRUE(server.endpoint->readMemory(0x1000, 4, data));
    watch.reset();
    EXPECT_TRUE(server.endpoint->readMemory(0x1000, 4, data));
    EXPECT_EQ(2u, server.peer->receivedLog().size());
}

TEST_F(ReadPathWatchIntegration, TurnedOffEveryValueIsReadEachTime) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,4", "01020304"}}));
    watch.setCacheEnabled(false);
    EXPECT_TRUE(readAgainAfter(gdb, "qC"));
    EXPECT_EQ(2u, server.peer->receivedLog().size());
}

// The server's packet size, from its answer to GDB's qSupported, sets the size of a read's pieces.
TEST_F(ReadPathWatchIntegration, TheServersPacketSizeBoundsEachRead) {
    server.peer->serve(FakeRspPeer::replies({{"m1000,10", "00112233445566778899aabbccddeeff"},
                                             {"m1010,10", "00112233445566778899aabbccddeeff"}}));
    arrive(gdb, "qSupported:multiprocess+;swbreak+");
    arrive(server, "PacketSize=20;qXfer:features:read+");
    EXPECT_EQ(16u, server.endpoint->getReadPiece());
    std::vector<unsigned char> data;
    EXPECT_TRUE(server.endpoint->readMemory(0x1000, 32, data));
    EXPECT_EQ(std::vector<std::string>({"$m1000,10#bb", "$m1010,10#bc"}), server.peer->receivedLog());
}

TEST_F(ReadPathWatchIntegration, AServerThatNamesNoPacketSizeIsReadInFourKilobytes) {
    arrive(gdb, "qSupported");
    arrive(server, "qXfer:features:read+");
    EXPECT_EQ(4096u, server.endpoint->getReadPiece());
}

} // namespace
