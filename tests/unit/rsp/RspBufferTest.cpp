#include "rsp/RspBuffer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

std::string held(RspBuffer& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.getBuffer()),
                       static_cast<std::size_t>(buffer.getLength()));
}

std::string packet(RspBuffer& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.getBuffer()),
                       static_cast<std::size_t>(buffer.getPacketLength()));
}

void receive(RspBuffer& buffer, const std::string& bytes) {
    ASSERT_LE(bytes.size(), static_cast<std::size_t>(buffer.getFreeSize())) << "test data too long";
    std::copy(bytes.begin(), bytes.end(), buffer.getFreeSpace());
    buffer.addReceived(static_cast<int>(bytes.size()));
}

// An endpoint's buffers are big; keep them off the test's stack as the product does.
std::unique_ptr<RspBuffer> makeBuffer() {
    return std::make_unique<RspBuffer>();
}

// Every byte value but the frame marks, in a payload of a size that is no multiple of eight.
std::string payloadOfEveryByte(std::size_t size) {
    std::string payload;
    for (std::size_t i = 0; payload.size() < size; ++i) {
        char byte = static_cast<char>(i * 7 + 3);
        if (byte != '#' && byte != '$') {
            payload += byte;
        }
    }
    return payload;
}

unsigned char plainSum(const std::string& bytes) {
    unsigned int sum = 0;
    for (char byte : bytes) {
        sum += static_cast<unsigned char>(byte);
    }
    return static_cast<unsigned char>(sum);
}

} // namespace

TEST(RspBufferTest, CreatePacketFramesCommandsAndNotifications) {
    auto buffer = makeBuffer();
    EXPECT_TRUE(buffer->createPacket("qC", RSP_PACKET_COMMAND));
    EXPECT_EQ("$qC#b4", held(*buffer));
    EXPECT_EQ(6, buffer->getPacketLength());
    EXPECT_EQ(0xb4, buffer->getChecksum());

    buffer->clear();
    EXPECT_TRUE(buffer->createPacket("Stop:T05", RSP_PACKET_NOTIFICATION));
    EXPECT_EQ("%Stop:T05#99", held(*buffer));
}

TEST(RspBufferTest, PayloadGoesUnescaped) {
    auto buffer = makeBuffer();
    EXPECT_TRUE(buffer->createPacket("a$b#c}d*", RSP_PACKET_COMMAND));
    EXPECT_EQ("$a$b#c}d*#78", held(*buffer));
    EXPECT_TRUE(buffer->createPacket("", RSP_PACKET_COMMAND));
    EXPECT_EQ("$a$b#c}d*#78$#00", held(*buffer));
}

TEST(RspBufferTest, AddOperationsRaiseLengthAndPacketLength) {
    auto buffer = makeBuffer();
    EXPECT_TRUE(buffer->addWoChecksum("$"));
    EXPECT_EQ(0, buffer->getChecksum());
    EXPECT_TRUE(buffer->addWChecksum("OK"));
    EXPECT_EQ(static_cast<unsigned char>('O' + 'K'), buffer->getChecksum());
    EXPECT_TRUE(buffer->addWoChecksum("#"));
    EXPECT_TRUE(buffer->addChecksum());
    EXPECT_EQ("$OK#9a", held(*buffer));
    EXPECT_EQ(6, buffer->getLength());
    EXPECT_EQ(6, buffer->getPacketLength());
}

TEST(RspBufferTest, ChecksumWrapsModulo256) {
    auto buffer = makeBuffer();
    EXPECT_TRUE(buffer->createPacket(std::string(3, '\xff'), RSP_PACKET_COMMAND));
    EXPECT_EQ("$\xff\xff\xff#fd", held(*buffer));
}

TEST(RspBufferTest, CreatePacketDoesNotClearWhatTheBufferHolds) {
    auto buffer = makeBuffer();
    ASSERT_TRUE(buffer->createPacket("m0,4", RSP_PACKET_COMMAND));
    ASSERT_TRUE(buffer->createPacket("OK", RSP_PACKET_COMMAND));
    EXPECT_EQ("$m0,4#fd$OK#9a", held(*buffer));
    EXPECT_EQ(14, buffer->getPacketLength());
}

TEST(RspBufferTest, ClearForgetsEverything) {
    auto buffer = makeBuffer();
    ASSERT_TRUE(buffer->createPacket("OK", RSP_PACKET_COMMAND));
    buffer->clear();
    EXPECT_EQ(0, buffer->getLength());
    EXPECT_EQ(0, buffer->getPacketLength());
    EXPECT_EQ(0, buffer->getChecksum());
    EXPECT_EQ(RspBuffer::kCapacity, buffer->getCapacity());
}

TEST(RspBufferTest, AFrameThatFillsTheBufferExactlyIsBuilt) {
    auto buffer = makeBuffer();
    std::string payload(RspBuffer::kCapacity - 4, 'a');
    EXPECT_TRUE(buffer->createPacket(payload, RSP_PACKET_COMMAND));
    EXPECT_EQ(RspBuffer::kCapacity, buffer->getLength());
    EXPECT_EQ('$', buffer->getBuffer()[0]);
    EXPECT_EQ('#', buffer->getBuffer()[RspBuffer::kCapacity - 3]);
}

TEST(RspBufferTest, NothingIsWrittenPastTheCapacity) {
    auto buffer = makeBuffer();
    EXPECT_FALSE(buffer->createPacket(std::string(RspBuffer::kCapacity - 3, 'a'), RSP_PACKET_COMMAND));
    EXPECT_EQ(0, buffer->getLength());

    ASSERT_TRUE(buffer->addWoChecksum(std::string(RspBuffer::kCapacity - 1, 'x')));
    EXPECT_FALSE(buffer->addWChecksum("ab"));
    EXPECT_FALSE(buffer->addChecksum());
    EXPECT_FALSE(buffer->createPacket("", RSP_PACKET_COMMAND));
    EXPECT_EQ(RspBuffer::kCapacity - 1, buffer->getLength());
    EXPECT_EQ(1, buffer->addPartWChecksum("yz", 2));
    EXPECT_EQ(0, buffer->addPartWChecksum("z", 1));
    EXPECT_FALSE(buffer->startPacket(RSP_PACKET_COMMAND));
    EXPECT_FALSE(buffer->endPacket());
    EXPECT_EQ(RspBuffer::kCapacity, buffer->getLength());
}

TEST(RspBufferTest, PiecesOfAFrameKeepTheRunningChecksumAcrossDroppedData) {
    auto buffer = makeBuffer();
    ASSERT_TRUE(buffer->startPacket(RSP_PACKET_COMMAND));
    EXPECT_EQ(1, buffer->addPartWChecksum("O", 1));
    buffer->dropSent();
    EXPECT_EQ(0, buffer->getLength());
    EXPECT_EQ(1, buffer->addPartWChecksum("K", 1));
    EXPECT_TRUE(buffer->endPacket());
    EXPECT_EQ("K#9a", held(*buffer));
}

// One row per case: bytes in the buffer, the packet found, and what the buffer holds afterwards.
struct ParseCase {
    const char* name;
    std::string bytes;
    int length;
    std::string packet;
    std::string heldAfter;
};

TEST(RspBufferTest, ParseForPacketTable) {
    const ParseCase cases[] = {
        {"empty", "", 0, "", ""},
        {"whole frame", "$qC#b4", 6, "$qC#b4", "$qC#b4"},
        {"notification", "%Stop:T05#99", 12, "%Stop:T05#99", "%Stop:T05#99"},
        {"no '#' yet", "$qC", 0, "", "$qC"},
        {"no digits yet", "$qC#", 0, "", "$qC#"},
        {"one digit", "$qC#b", 0, "", "$qC#b"},
        {"wrong checksum accepted", "$qC#00", 6, "$qC#00", "$qC#00"},
        {"empty payload", "$#00", 4, "$#00", "$#00"},
        {"second '$' is payload", "$a$b#00", 7, "$a$b#00", "$a$b#00"},
        {"two frames, first found", "$a#61$b#62", 5, "$a#61", "$a#61$b#62"},
        {"acknowledgement", "+", 1, "+", "+"},
        {"negative acknowledgement", "-", 1, "-", "-"},
        {"break", "\x03", 1, "\x03", "\x03"},
        {"acknowledgement before a frame", "+$qC#b4", 1, "+", "+$qC#b4"},
        {"rubbish before '+' is the packet", "x+", 1, "x", "x+"},
        {"rubbish only is dropped", "xyz", 0, "", ""},
        {"frame behind rubbish is found in the same pass", "ab$qC#b4", 6, "$qC#b4", "$qC#b4"},
        {"frame behind one byte too", "a$qC#b4", 6, "$qC#b4", "$qC#b4"},
        {"a '$' at the old index passes by chance", "x$$#00", 5, "$$#00", "$$#00"},
    };
    for (const ParseCase& row : cases) {
        SCOPED_TRACE(row.name);
        auto buffer = makeBuffer();
        receive(*buffer, row.bytes);
        EXPECT_EQ(row.length, buffer->parseForPacket());
        EXPECT_EQ(row.length, buffer->getPacketLength());
        EXPECT_EQ(row.packet, packet(*buffer));
        EXPECT_EQ(row.heldAfter, held(*buffer));
    }
}

TEST(RspBufferTest, ParseStoresTheSumOfThePayload) {
    auto buffer = makeBuffer();
    receive(*buffer, "$qC#00");
    ASSERT_EQ(6, buffer->parseForPacket());
    EXPECT_EQ(0xb4, buffer->getChecksum());
}

TEST(RspBufferTest, AFrameArrivingInPiecesIsFoundWithTheSumOfItsWholePayload) {
    const std::string payload = payloadOfEveryByte(16383);
    const std::string frame = "$" + payload + "#00";
    for (std::size_t piece : {1u, 7u, 8u, 1000u, 1460u, 16384u}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        auto buffer = makeBuffer();
        for (std::size_t at = 0; at < frame.size(); at += piece) {
            ASSERT_EQ(0, buffer->parseForPacket()) << "complete before byte " << at;
            receive(*buffer, frame.substr(at, piece));
        }
        ASSERT_EQ(static_cast<int>(frame.size()), buffer->parseForPacket());
        EXPECT_EQ(plainSum(payload), buffer->getChecksum());
        EXPECT_EQ(static_cast<int>(frame.size()), buffer->parseForPacket()) << "a second pass finds it again";
        EXPECT_EQ(plainSum(payload), buffer->getChecksum());
    }
}

TEST(RspBufferTest, TheFrameBehindAConsumedOneIsSummedAfresh) {
    auto buffer = makeBuffer();
    receive(*buffer, "$abcdefghijk");
    ASSERT_EQ(0, buffer->parseForPacket());
    receive(*buffer, "#00$qC#b4$gg");
    ASSERT_EQ(15, buffer->parseForPacket());
    EXPECT_EQ(plainSum("abcdefghijk"), buffer->getChecksum());
    buffer->consumePacket();
    ASSERT_EQ(6, buffer->parseForPacket());
    EXPECT_EQ(0xb4, buffer->getChecksum());
    buffer->consumePacket();
    EXPECT_EQ(0, buffer->parseForPacket());
    receive(*buffer, "#ce");
    ASSERT_EQ(6, buffer->parseForPacket());
    EXPECT_EQ(plainSum("gg"), buffer->getChecksum());
}

TEST(RspBufferTest, AFrameMovedToTheFrontIsSummedAfresh) {
    auto buffer = makeBuffer();
    receive(*buffer, "$ab");
    ASSERT_EQ(0, buffer->parseForPacket());
    buffer->clear();
    receive(*buffer, "xy$qC#b4");
    ASSERT_EQ(6, buffer->parseForPacket());
    EXPECT_EQ(0xb4, buffer->getChecksum());
}

TEST(RspBufferTest, BytesSkippedInFrontOfFramesAreCountedUntilTaken) {
    auto buffer = makeBuffer();
    receive(*buffer, "ab$qC#b4");
    EXPECT_EQ(6, buffer->parseForPacket());
    buffer->consumePacket();
    receive(*buffer, "xyz");
    EXPECT_EQ(0, buffer->parseForPacket());
    EXPECT_EQ(5, buffer->takeSkipped());
    EXPECT_EQ(0, buffer->takeSkipped());
}

TEST(RspBufferTest, RubbishInFrontOfAnAcknowledgementIsNoSkip) {
    auto buffer = makeBuffer();
    receive(*buffer, "x+");
    EXPECT_EQ(1, buffer->parseForPacket());
    EXPECT_EQ(0, buffer->takeSkipped());
}

TEST(RspBufferTest, DropFrontKeepsTheBytesBehind) {
    auto buffer = makeBuffer();
    receive(*buffer, "$m0,4#fd$c#63");
    buffer->dropFront(3);
    EXPECT_EQ(",4#fd$c#63", held(*buffer));
    buffer->dropFront(100);
    EXPECT_EQ("", held(*buffer));
    EXPECT_EQ(0, buffer->getLength());
}

TEST(RspBufferTest, ConsumeKeepsTheBytesBehindThePacket) {
    auto buffer = makeBuffer();
    receive(*buffer, "x+$qC#b4$g#67");
    ASSERT_EQ(1, buffer->parseForPacket());
    EXPECT_EQ("x", packet(*buffer));
    buffer->consumePacket();
    EXPECT_EQ("+$qC#b4$g#67", held(*buffer));
    ASSERT_EQ(1, buffer->parseForPacket());
    EXPECT_EQ("+", packet(*buffer));
    buffer->consumePacket();
    ASSERT_EQ(6, buffer->parseForPacket());
    buffer->consumePacket();
    EXPECT_EQ("$g#67", held(*buffer));
    ASSERT_EQ(5, buffer->parseForPacket());
    buffer->consumePacket();
    EXPECT_EQ(0, buffer->getLength());
    EXPECT_EQ(0, buffer->getPacketLength());
    EXPECT_EQ(0, buffer->parseForPacket());
}

TEST(RspBufferTest, ConsumeWithoutAPacketChangesNothing) {
    auto buffer = makeBuffer();
    receive(*buffer, "$qC");
    buffer->consumePacket();
    EXPECT_EQ("$qC", held(*buffer));
}

TEST(RspBufferTest, AFullReceiveBufferKeepsItsZeroByte) {
    auto buffer = makeBuffer();
    std::string frame = "$" + std::string(RspBuffer::kCapacity - 4, 'a') + "#00";
    receive(*buffer, frame);
    EXPECT_EQ(0, buffer->getFreeSize());
    EXPECT_EQ(0, buffer->getBuffer()[RspBuffer::kCapacity]);
    EXPECT_EQ(RspBuffer::kCapacity, buffer->parseForPacket());
}

TEST(RspBufferTest, ReceivedCountsBeyondTheFreeSpaceAreRefused) {
    auto buffer = makeBuffer();
    buffer->addReceived(RspBuffer::kCapacity + 1);
    buffer->addReceived(-1);
    EXPECT_EQ(0, buffer->getLength());
}
