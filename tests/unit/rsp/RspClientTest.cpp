#include "rsp/RspClient.h"

#include "PeeredEndpoint.h"
#include "base/Logger.h"
#include "rsp/ClientSocket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sys/socket.h>
#include <thread>

namespace {

const unsigned int kReadableMicroseconds = 1000000;

std::string foundPacket(RspClient& endpoint) {
    RspBuffer& buffer = endpoint.getReceiveBuffer();
    return std::string(reinterpret_cast<const char*>(buffer.getBuffer()),
                       static_cast<std::size_t>(buffer.getPacketLength()));
}

// Payload bytes that hold no '#', so that the tests' framer sees one frame.
std::string patternPayload(std::size_t size) {
    std::string payload(size, ' ');
    for (std::size_t i = 0; i < size; ++i) {
        payload[i] = "0123456789abcdefghijklmnopqrstuvwxyz"[i % 36];
    }
    return payload;
}

class RspClientIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        Logger::getInstance().setLogLevel(7);
        pair = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(pair.endpoint);
    }
    FakeRspPeer& peer() { return *pair.peer; }
    RspClient& endpoint() { return *pair.endpoint; }
    void waitReadable() { ASSERT_GT(endpoint().getClientSocket()->waitData(kReadableMicroseconds), 0); }

    PeeredEndpoint pair;
};

// One row per case: what the peer sends in each step, and the packets getPacket then hands out, in order.
struct Step {
    std::string send;
    std::vector<std::string> packets;
};
struct FramingCase {
    const char* name;
    std::vector<Step> steps;
};

TEST(RspClientFramingIntegration, PacketsFoundOverARealSocket) {
    const FramingCase cases[] = {
        {"whole frame", {{"$qC#b4", {"$qC#b4"}}}},
        {"split before '#'", {{"$q", {}}, {"C", {}}, {"#b4", {"$qC#b4"}}}},
        {"split before the digits", {{"$qC#", {}}, {"b4", {"$qC#b4"}}}},
        {"split between the digits", {{"$qC#b", {}}, {"4", {"$qC#b4"}}}},
        {"two frames in one read", {{"$a#61$b#62", {"$a#61", "$b#62"}}}},
        {"'+' and a frame in one piece", {{"+$qC#b4", {"+", "$qC#b4"}}}},
        {"wrong checksum accepted", {{"$qC#00", {"$qC#00"}}}},
        {"rubbish before '+'", {{"x+", {"x", "+"}}}},
        {"break", {{"\x03", {"\x03"}}}},
        {"empty payload", {{"$#00", {"$#00"}}}},
        {"notification", {{"%Stop:T05#99", {"%Stop:T05#99"}}}},
        {"second '$' inside the payload", {{"$a$b#00", {"$a$b#00"}}}},
        {"frame behind rubbish in the same call", {{"ab$qC#b4", {"$qC#b4"}}}},
        {"frame completed by the next frame's read", {{"$m0,4#f", {}}, {"d$c#63", {"$m0,4#fd", "$c#63"}}}},
    };
    for (const FramingCase& row : cases) {
        SCOPED_TRACE(row.name);
        PeeredEndpoint pair = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
        ASSERT_TRUE(pair.endpoint);
        for (const Step& step : row.steps) {
            if (!step.send.empty()) {
                ASSERT_TRUE(pair.peer->sendRaw(step.send));
                ASSERT_GT(pair.endpoint->getClientSocket()->waitData(kReadableMicroseconds), 0);
            }
            for (const std::string& expected : step.packets) {
                ASSERT_EQ(static_cast<int>(expected.size()), pair.endpoint->getPacket(0));
                EXPECT_EQ(expected, foundPacket(*pair.endpoint));
                pair.endpoint->getReceiveBuffer().consumePacket();
            }
            EXPECT_EQ(0, pair.endpoint->getPacket(0))
                << "no further whole packet after '" << step.send << "'";
        }
    }
}

TEST_F(RspClientIntegration, GetPacketWaitsForTheMissingChecksumDigit) {
    ASSERT_TRUE(peer().sendRaw("$qC#b"));
    std::thread late([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        peer().sendRaw("4");
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(6, endpoint().getPacket(2000));
    late.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(90));
    EXPECT_EQ("$qC#b4", foundPacket(endpoint()));
}

TEST_F(RspClientIntegration, TimeOutZeroLeavesAPartialFrameInTheBuffer) {
    ASSERT_TRUE(peer().sendRaw("$qC#"));
    waitReadable();
    EXPECT_EQ(0, endpoint().getPacket(0));
    EXPECT_EQ(4, endpoint().getReceiveBuffer().getLength());
}

TEST_F(RspClientIntegration, SecondFrameOfOneReadComesWithoutReading) {
    ASSERT_TRUE(peer().sendRaw("$a#61$b#62"));
    waitReadable();
    ASSERT_EQ(5, endpoint().getPacket(0));
    endpoint().getReceiveBuffer().consumePacket();
    // Had getPacket read again, it would see the close.
    peer().close();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_EQ(5, endpoint().getPacket(0));
    EXPECT_EQ("$b#62", foundPacket(endpoint()));
    endpoint().getReceiveBuffer().consumePacket();
    EXPECT_EQ(-1, endpoint().getPacket(1000));
}

TEST_F(RspClientIntegration, LostConnectionIsMinusOne) {
    peer().close();
    EXPECT_EQ(-1, endpoint().getPacket(1000));
}

TEST_F(RspClientIntegration, AFrameAsLargeAsTheBufferArrivesWhole) {
    std::string frame = "$" + patternPayload(RspBuffer::kCapacity - 4) + "#00";
    ASSERT_TRUE(peer().sendRaw(frame));
    ASSERT_EQ(RspBuffer::kCapacity, endpoint().getPacket(2000));
    EXPECT_EQ(frame, foundPacket(endpoint()));
}

TEST_F(RspClientIntegration, AFullBufferWithoutAFrameIsALostConnection) {
    // The read of length 0 into the full buffer returns 0, which reads like a close.
    ASSERT_TRUE(peer().sendRaw("$" + patternPayload(RspBuffer::kCapacity + 100)));
    EXPECT_EQ(-1, endpoint().getPacket(2000));
    EXPECT_EQ(RspBuffer::kCapacity, endpoint().getReceiveBuffer().getLength());
}

TEST_F(RspClientIntegration, ForwardPacketWritesTheRawFrameAndConsumesIt) {
    PeeredEndpoint gdb = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
    ASSERT_TRUE(gdb.endpoint);
    ASSERT_TRUE(peer().sendRaw("$m0,4#00\x03"));
    waitReadable();
    ASSERT_EQ(8, endpoint().getPacket(0));
    EXPECT_EQ(8, endpoint().forwardPacket(*gdb.endpoint));
    ASSERT_EQ(1, endpoint().getPacket(0));
    EXPECT_EQ(1, endpoint().forwardPacket(*gdb.endpoint));
    EXPECT_EQ(0, endpoint().getReceiveBuffer().getLength());
    ASSERT_TRUE(gdb.peer->waitReceivedBytes(9));
    EXPECT_EQ("$m0,4#00\x03", gdb.peer->receivedBytes());
}

TEST_F(RspClientIntegration, FailedForwardIsMinusOneAndStillConsumes) {
    PeeredEndpoint gdb = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
    ASSERT_TRUE(gdb.endpoint);
    shutdown(gdb.endpoint->getClientSocket()->getSocket(), SHUT_WR);
    ASSERT_TRUE(peer().sendRaw("$OK#9a"));
    waitReadable();
    ASSERT_EQ(6, endpoint().getPacket(0));
    EXPECT_EQ(-1, endpoint().forwardPacket(*gdb.endpoint));
    EXPECT_EQ(0, endpoint().getReceiveBuffer().getLength());
    EXPECT_EQ(0, endpoint().getReceiveBuffer().getPacketLength());
}

TEST_F(RspClientIntegration, SendCommandAndNotificationFrameThePayload) {
    EXPECT_TRUE(endpoint().sendCommand("qC"));
    EXPECT_TRUE(endpoint().sendNotification("Stop:T05"));
    EXPECT_TRUE(endpoint().sendCommand(""));
    EXPECT_EQ("$qC#b4", peer().nextRaw());
    EXPECT_EQ("%Stop:T05#99", peer().nextRaw());
    EXPECT_EQ("$#00", peer().nextRaw());
}

TEST_F(RspClientIntegration, FramesLargerThanTheTransmitBufferGoOutWhole) {
    const std::size_t sizes[] = {RspBuffer::kCapacity - 4,     RspBuffer::kCapacity - 3,
                                 RspBuffer::kCapacity - 1,     RspBuffer::kCapacity,
                                 2 * RspBuffer::kCapacity - 1, 100 * 1024};
    for (std::size_t size : sizes) {
        SCOPED_TRACE(size);
        std::string payload = patternPayload(size);
        ASSERT_TRUE(endpoint().sendCommand(payload));
        std::optional<rspframe::Message> message = peer().waitMessage();
        ASSERT_TRUE(message);
        EXPECT_EQ(rspframe::Message::Packet, message->kind);
        EXPECT_EQ(size, message->payload.size());
        EXPECT_TRUE(message->payload == payload);
        EXPECT_TRUE(message->checksumOk) << message->raw.substr(message->raw.size() - 3);
    }
}

TEST_F(RspClientIntegration, LargeNotificationGoesOutWhole) {
    std::string payload = patternPayload(30000);
    ASSERT_TRUE(endpoint().sendNotification(payload));
    std::optional<rspframe::Message> message = peer().waitMessage();
    ASSERT_TRUE(message);
    EXPECT_EQ(rspframe::Message::Notification, message->kind);
    EXPECT_TRUE(message->payload == payload);
    EXPECT_TRUE(message->checksumOk);
}

TEST_F(RspClientIntegration, SendPacketClearsTheBufferOnlyWhenAllWentOut) {
    RspBuffer frame;
    ASSERT_TRUE(frame.createPacket("OK", RSP_PACKET_COMMAND));
    EXPECT_TRUE(endpoint().sendPacket(frame));
    EXPECT_EQ(0, frame.getLength());
    EXPECT_EQ("$OK#9a", peer().nextRaw());

    shutdown(endpoint().getClientSocket()->getSocket(), SHUT_WR);
    ASSERT_TRUE(frame.createPacket("OK", RSP_PACKET_COMMAND));
    EXPECT_FALSE(endpoint().sendPacket(frame));
    EXPECT_EQ(6, frame.getLength());
    EXPECT_EQ(6, frame.getPacketLength());
}

TEST_F(RspClientIntegration, FailedSendCommandIsLoggedAtDebugOnly) {
    shutdown(endpoint().getClientSocket()->getSocket(), SHUT_WR);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(endpoint().sendCommand("qC"));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());

    Logger::getInstance().setLogLevel(Logger::LOG_DEBUG);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(endpoint().sendCommand("qC"));
    EXPECT_FALSE(endpoint().sendNotification(patternPayload(50000)));
    EXPECT_EQ("failed sending command\nfailed sending command\n", testing::internal::GetCapturedStdout());
}

TEST_F(RspClientIntegration, SendWaitCommandTakesTheNextFrameAsTheReply) {
    peer().serve(FakeRspPeer::replies({{"m20000000,4", "78563412"}}));
    std::string reply;
    EXPECT_TRUE(endpoint().sendWaitCommand("m20000000,4", reply));
    EXPECT_EQ("78563412", reply);
}

TEST_F(RspClientIntegration, AnAcknowledgingServerGivesPlusAsTheReply) {
    peer().acknowledge(true);
    peer().serve(FakeRspPeer::replies({{"m20000000,4", "78563412"}}));
    std::string reply;
    EXPECT_TRUE(endpoint().sendWaitCommand("m20000000,4", reply));
    EXPECT_EQ("+", reply);
    EXPECT_EQ(8, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("78563412", reply);
}

TEST_F(RspClientIntegration, WaitCommandResults) {
    std::string reply = "untouched";
    EXPECT_EQ(0, endpoint().waitCommand(reply, 50));
    EXPECT_EQ("untouched", reply);

    ASSERT_TRUE(peer().sendRaw("$#00"));
    EXPECT_EQ(0, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("", reply);
    EXPECT_EQ(0, endpoint().getReceiveBuffer().getLength()) << "the empty frame is consumed";

    ASSERT_TRUE(peer().sendRaw("%Stop:T05#99"));
    EXPECT_EQ(12, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("%Stop:T05#99", reply);

    ASSERT_TRUE(peer().sendRaw("\x03"));
    EXPECT_EQ(1, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("\x03", reply);

    ASSERT_TRUE(peer().sendRaw("x+"));
    EXPECT_EQ(1, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("x", reply);
    EXPECT_EQ(1, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("+", reply);

    peer().close();
    EXPECT_EQ(-1, endpoint().waitCommand(reply, 1000));
}

TEST_F(RspClientIntegration, WaitCommandWithDefaultTimeOutWantsAPayload) {
    std::string reply;
    ASSERT_TRUE(peer().sendRaw("$#00"));
    EXPECT_FALSE(endpoint().waitCommand(reply));
    ASSERT_TRUE(peer().sendRaw("$OK#9a"));
    EXPECT_TRUE(endpoint().waitCommand(reply));
    EXPECT_EQ("OK", reply);
}

TEST_F(RspClientIntegration, GetCommandExtractsPayloadsAndAcknowledgements) {
    struct Row {
        std::string bytes;
        bool found;
        std::string command;
    };
    const Row rows[] = {
        {"$qC#b4", true, "qC"}, {"$#00", true, ""}, {"%Stop:T05#99", true, "Stop:T05"},
        {"+", true, "+"},       {"-", true, "-"},   {"\x03", false, ""},
        {"$qC#00", true, "qC"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.bytes);
        ASSERT_TRUE(peer().sendRaw(row.bytes));
        ASSERT_EQ(static_cast<int>(row.bytes.size()), endpoint().getPacket(1000));
        std::string command;
        EXPECT_EQ(row.found, endpoint().getCommand(command, false));
        EXPECT_EQ(row.command, command);
        EXPECT_EQ(static_cast<int>(row.bytes.size()), endpoint().getReceiveBuffer().getPacketLength())
            << "not consumed when not asked";
        EXPECT_EQ(row.found, endpoint().getCommand(command, true));
        EXPECT_EQ(row.found ? 0 : 1, endpoint().getReceiveBuffer().getLength());
        endpoint().getReceiveBuffer().clear();
    }
}

TEST_F(RspClientIntegration, PeekCommandMatchesTheFrameStartAndConsumesNothing) {
    std::string command;
    EXPECT_FALSE(endpoint().peekCommand("$")) << "no frame found yet";
    ASSERT_TRUE(peer().sendRaw("$qSymbol::#5b"));
    ASSERT_EQ(13, endpoint().getPacket(1000));
    EXPECT_TRUE(endpoint().peekCommand("$qSymbol::"));
    EXPECT_TRUE(endpoint().peekCommand(""));
    EXPECT_FALSE(endpoint().peekCommand("qSymbol::"));
    EXPECT_FALSE(endpoint().peekCommand("$qSymbol::#5b and more"));
    EXPECT_TRUE(endpoint().peekCommand(std::string("$qSym")));
    EXPECT_FALSE(endpoint().peekCommand(std::string("$qSyn")));
    EXPECT_EQ(13, endpoint().getReceiveBuffer().getPacketLength());
    EXPECT_EQ(13, endpoint().getPacket(0));
}

TEST_F(RspClientIntegration, AccessorsTellWhatTheEndpointWasMadeWith) {
    EXPECT_EQ("GDB Server", endpoint().getName());
    EXPECT_EQ(ROLE_GDB_SERVER, endpoint().getRole());
    EXPECT_NE(nullptr, endpoint().getClientSocket());
    EXPECT_EQ(0, endpoint().getReceiveBuffer().getLength());
}

} // namespace
