#include "rsp/RspClient.h"

#include "PeeredEndpoint.h"
#include "RspFrame.h"
#include "base/Logger.h"
#include "rsp/AckMode.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

namespace {

// An endpoint in a session that acknowledges (or not), its fake peer played packet by packet.
class RspClientAckIntegration : public ::testing::Test {
protected:
    void make(RspClientRole role, bool acknowledging) {
        Logger::getInstance().setLogLevel(0);
        pair = PeeredEndpoint::make(role == ROLE_GDB_SERVER ? "GDB Server" : "GDB Client", role);
        ASSERT_TRUE(pair.endpoint);
        if (acknowledging) {
            see(ROLE_GDB_CLIENT, rspframe::frame("qSupported"));
            see(ROLE_GDB_SERVER, rspframe::frame("PacketSize=1000"));
        }
        pair.endpoint->setAckMode(&mode);
    }
    void see(RspClientRole from, const std::string& raw) {
        mode.observe(from, reinterpret_cast<const unsigned char*>(raw.data()), static_cast<int>(raw.size()));
    }
    FakeRspPeer& peer() { return *pair.peer; }
    RspClient& endpoint() { return *pair.endpoint; }
    std::future<bool> readAsync(unsigned int address, unsigned int length) {
        return std::async(std::launch::async, [this, address, length] {
            std::vector<unsigned char> data;
            return endpoint().readMemory(address, length, data) && data.size() == length;
        });
    }

    AckMode mode;
    PeeredEndpoint pair;
};

TEST_F(RspClientAckIntegration, ReadTakesThePlusAndAcknowledgesTheReply) {
    make(ROLE_GDB_SERVER, true);
    peer().acknowledge(true);
    peer().serve(FakeRspPeer::replies({{"m20000104,4", "01000000"}}));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0x20000104, 4, data));
    EXPECT_EQ(std::vector<unsigned char>({0x01, 0x00, 0x00, 0x00}), data);
    ASSERT_TRUE(peer().waitReceivedBytes(16));
    EXPECT_EQ("$m20000104,4#54+", peer().receivedBytes());
    EXPECT_EQ(std::vector<std::string>({"+", "$01000000#81"}), peer().sentLog());
}

TEST_F(RspClientAckIntegration, ServerNakingOnceGetsTheRequestAgain) {
    make(ROLE_GDB_SERVER, true);
    auto read = readAsync(0, 2);
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    peer().sendRaw("-");
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    peer().sendRaw("+" + rspframe::frame("0102"));
    EXPECT_TRUE(read.get());
    EXPECT_EQ("+", peer().nextRaw());
    EXPECT_TRUE(peer().quietFor(100));
}

TEST_F(RspClientAckIntegration, ServerNakingTwiceFailsTheReadAtOnce) {
    make(ROLE_GDB_SERVER, true);
    auto start = std::chrono::steady_clock::now();
    auto read = readAsync(0, 2);
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    peer().sendRaw("-");
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    peer().sendRaw("-");
    EXPECT_FALSE(read.get());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_TRUE(peer().quietFor(100));
}

TEST_F(RspClientAckIntegration, PlusThatComesLateStillCounts) {
    make(ROLE_GDB_SERVER, true);
    auto read = readAsync(0, 2);
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    peer().sendRaw("+");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    peer().sendRaw(rspframe::frame("0102"));
    EXPECT_TRUE(read.get());
    EXPECT_EQ("+", peer().nextRaw());
}

TEST_F(RspClientAckIntegration, PlusThatComesTwiceIsNoReply) {
    make(ROLE_GDB_SERVER, true);
    auto read = readAsync(0, 2);
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    peer().sendRaw("++" + rspframe::frame("0102"));
    EXPECT_TRUE(read.get());
    EXPECT_EQ("+", peer().nextRaw());
    read = readAsync(4, 1);
    EXPECT_EQ("$m4,1#fe", peer().nextRaw());
    peer().sendRaw("+" + rspframe::frame("07"));
    EXPECT_TRUE(read.get());
}

TEST_F(RspClientAckIntegration, ServerThatNeverAcknowledgesFailsLikeATimeOut) {
    make(ROLE_GDB_SERVER, true);
    auto read = readAsync(0, 2);
    EXPECT_EQ("$m0,2#fb", peer().nextRaw());
    EXPECT_FALSE(read.get());
}

TEST_F(RspClientAckIntegration, GdbNakingTheReplyGetsItAgain) {
    make(ROLE_GDB_CLIENT, true);
    auto sent = std::async(std::launch::async, [this] { return endpoint().sendCommand("QC1"); });
    EXPECT_EQ("$QC1#c5", peer().nextRaw());
    peer().sendRaw("-");
    EXPECT_EQ("$QC1#c5", peer().nextRaw());
    peer().sendRaw("+");
    EXPECT_TRUE(sent.get());
    EXPECT_TRUE(peer().quietFor(100));
}

TEST_F(RspClientAckIntegration, GdbsNextPacketBehindThePlusStaysForTheLoop) {
    make(ROLE_GDB_CLIENT, true);
    auto sent = std::async(std::launch::async, [this] { return endpoint().sendCommand("OK"); });
    EXPECT_EQ("$OK#9a", peer().nextRaw());
    peer().sendRaw("+" + rspframe::frame("qC"));
    EXPECT_TRUE(sent.get());
    EXPECT_TRUE(endpoint().holdsPacket());
    EXPECT_TRUE(endpoint().peekCommand("$qC#b4"));
}

TEST_F(RspClientAckIntegration, NoAcknowledgementsWithoutTheMode) {
    make(ROLE_GDB_CLIENT, false);
    peer().sendPacket("qC");
    ASSERT_EQ(6, endpoint().getPacket(1000));
    std::string text;
    EXPECT_TRUE(endpoint().getCommand(text, true));
    EXPECT_TRUE(endpoint().sendCommand("QC1"));
    EXPECT_TRUE(endpoint().settleAck());
    EXPECT_EQ("$QC1#c5", peer().nextRaw());
    EXPECT_TRUE(peer().quietFor(100));
}

TEST_F(RspClientAckIntegration, TakenFrameIsAcknowledgedAtOnceAndInFrontOfTheReply) {
    make(ROLE_GDB_CLIENT, true);
    peer().sendPacket("qC");
    ASSERT_EQ(6, endpoint().getPacket(1000));
    std::string text;
    EXPECT_TRUE(endpoint().getCommand(text, true));
    // Before any answer exists: a slow answer must not make GDB send the frame again.
    EXPECT_EQ("+", peer().nextRaw());
    auto sent = std::async(std::launch::async, [this] { return endpoint().sendCommand("QC1"); });
    EXPECT_EQ("$QC1#c5", peer().nextRaw());
    peer().sendRaw("+");
    EXPECT_TRUE(sent.get());
    // Paid once: nothing is owed any more.
    EXPECT_TRUE(endpoint().settleAck());
    EXPECT_TRUE(peer().quietFor(100));
}

// A reply that came after its read had given up is dropped before the next request, with a line.
TEST_F(RspClientAckIntegration, UnrequestedBytesAreDroppedBeforeARequest) {
    make(ROLE_GDB_SERVER, false);
    Logger::getInstance().setLogLevel(15);
    peer().sendRaw(rspframe::frame("44332211"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    peer().serve(FakeRspPeer::replies({{"m0,2", "0102"}}));
    testing::internal::CaptureStdout();
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0, 2, data));
    EXPECT_EQ("Dropped 12 bytes that GDB Server sent unasked\n", testing::internal::GetCapturedStdout());
    Logger::getInstance().setLogLevel(0);
    EXPECT_EQ(std::vector<unsigned char>({1, 2}), data);
}

// While a request of GDB's is on its way (a resumed target), what the server sends is its answer.
TEST_F(RspClientAckIntegration, NothingIsDroppedWhileAForwardedRequestIsOpen) {
    make(ROLE_GDB_SERVER, false);
    PeeredEndpoint gdbSide = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
    ASSERT_TRUE(gdbSide.endpoint);
    gdbSide.peer->sendPacket("vCont;c");
    ASSERT_GT(gdbSide.endpoint->getPacket(1000), 0);
    EXPECT_EQ(11, gdbSide.endpoint->forwardPacket(endpoint()));
    EXPECT_EQ("$vCont;c#a8", peer().nextRaw());
    peer().sendPacket("S05");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(endpoint().sendCommand("qC"));
    std::string reply;
    EXPECT_EQ(3, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("S05", reply);
}

} // namespace
