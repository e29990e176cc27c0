#include "rsp/RspClient.h"

#include "PeeredEndpoint.h"
#include "base/Logger.h"
#include "rsp/StopMemoryCache.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

// The endpoint plays the proxy's "GDB Server" side; the fake peer answers as the server would.
class RspClientReadMemoryIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        Logger::getInstance().setLogLevel(7);
        pair = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(pair.endpoint);
    }
    FakeRspPeer& server() { return *pair.peer; }
    RspClient& endpoint() { return *pair.endpoint; }
    void useCache() { endpoint().setMemoryCache(&cache); }

    // Prefetches the three words at 0x2000, then reads the one at address.
    void expectWordAfterPrefetch(unsigned int address, unsigned int expected) {
        endpoint().prefetchMemory(0x2000, 12);
        unsigned int value = 0;
        EXPECT_TRUE(endpoint().readMemory(address, value));
        EXPECT_EQ(expected, value);
    }

    StopMemoryCache cache;
    PeeredEndpoint pair;
};

TEST_F(RspClientReadMemoryIntegration, GoodReplyFillsData) {
    server().serve(FakeRspPeer::replies({{"m20000104,4", "01000000"}}));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0x20000104, 4, data));
    EXPECT_EQ(std::vector<unsigned char>({0x01, 0x00, 0x00, 0x00}), data);
    EXPECT_EQ(std::vector<std::string>({"$m20000104,4#54"}), server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, AddressTextGoesOutAsItStands) {
    server().serve(FakeRspPeer::replies({{"m0020,2", "abcd"}}));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory("0020", 2, data));
    EXPECT_EQ(std::vector<unsigned char>({0xab, 0xcd}), data);
}

TEST_F(RspClientReadMemoryIntegration, WordIsReadInTargetOrder) {
    server().serve(FakeRspPeer::replies({{"m8000,4", "44332211"}}));
    unsigned int value = 7;
    EXPECT_TRUE(endpoint().readMemory(0x8000, value));
    EXPECT_EQ(0x11223344u, value);
}

TEST_F(RspClientReadMemoryIntegration, ShortReplyFailsAndKeepsWhatCame) {
    server().serve(FakeRspPeer::replies({{"m1000,4", "aabb"}}));
    std::vector<unsigned char> data;
    EXPECT_FALSE(endpoint().readMemory(0x1000, 4, data));
    EXPECT_EQ(std::vector<unsigned char>({0xaa, 0xbb}), data);
    unsigned int value = 7;
    server().overrideReply("m1000,4", "aabb");
    EXPECT_FALSE(endpoint().readMemory(0x1000, value));
    EXPECT_EQ(7u, value);
}

TEST_F(RspClientReadMemoryIntegration, OddErrorReplyFails) {
    server().serve(FakeRspPeer::replies({{"m0,4", "E14"}}));
    std::vector<unsigned char> data = {9};
    EXPECT_FALSE(endpoint().readMemory(0, 4, data));
    EXPECT_TRUE(data.empty());
}

TEST_F(RspClientReadMemoryIntegration, EvenErrorReplyPassesForOneByteOnly) {
    server().serve(FakeRspPeer::replies({{"m0,1", "E1"}, {"m0,2", "E1"}}));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0, 1, data));
    EXPECT_EQ(1u, data.size());
    EXPECT_FALSE(endpoint().readMemory(0, 2, data));
    EXPECT_EQ(1u, data.size());
}

// A reply of another length than asked answers some other request: the read fails.
TEST_F(RspClientReadMemoryIntegration, LongerReplyFailsTheRead) {
    server().serve(FakeRspPeer::replies({{"m0,2", "0102030405"}}));
    server().overrideReply("m0,2", "01020304");
    std::vector<unsigned char> data;
    EXPECT_FALSE(endpoint().readMemory(0, 2, data));
    server().overrideReply("m0,2", "0102");
    EXPECT_TRUE(endpoint().readMemory(0, 2, data));
    EXPECT_EQ(std::vector<unsigned char>({1, 2}), data);
}

TEST_F(RspClientReadMemoryIntegration, MissingReplyFailsAfterOneSecond) {
    server().serve([](const std::string&) -> std::optional<std::string> { return std::nullopt; });
    std::vector<unsigned char> data;
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(endpoint().readMemory(0, 4, data));
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(950));
    EXPECT_LT(waited, std::chrono::milliseconds(1800));
    // No retry: the server saw the one request.
    EXPECT_EQ(std::vector<std::string>({"$m0,4#fd"}), server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, AcknowledgingServerGivesThePlusAsReply) {
    server().acknowledge(true);
    server().serve(FakeRspPeer::replies({{"m0,4", "01020304"}}));
    std::vector<unsigned char> data;
    // The '+' is taken for the reply and fails to parse; the real reply is left for whoever reads next.
    EXPECT_FALSE(endpoint().readMemory(0, 4, data));
    std::string reply;
    EXPECT_EQ(8, endpoint().waitCommand(reply, 1000));
    EXPECT_EQ("01020304", reply);
}

} // namespace

TEST_F(RspClientReadMemoryIntegration, AReadLargerThanThePacketSizeGoesInPieces) {
    server().serve(FakeRspPeer::replies({{"m1000,10", "00112233445566778899aabbccddeeff"},
                                         {"m1010,10", "0102030405060708090a0b0c0d0e0f10"},
                                         {"m1020,8", "1112131415161718"}}));
    endpoint().setPacketSize(0x20);
    EXPECT_EQ(16u, endpoint().getReadPiece());
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0x1000, 40, data));
    ASSERT_EQ(40u, data.size());
    EXPECT_EQ(0x00, data[0]);
    EXPECT_EQ(0x01, data[16]);
    EXPECT_EQ(0x18, data[39]);
    EXPECT_EQ(std::vector<std::string>({"$m1000,10#bb", "$m1010,10#bc", "$m1020,8#94"}),
              server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, WithoutAPacketSizeAPieceIsFourKilobytes) {
    EXPECT_EQ(4096u, endpoint().getReadPiece());
    std::string half(2 * 4096, '0');
    server().serve(FakeRspPeer::replies({{"m0,1000", half}, {"m1000,1000", half}}));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory(0, 8192, data));
    EXPECT_EQ(std::vector<unsigned char>(8192, 0), data);
    EXPECT_EQ(2u, server().receivedLog().size());
}

TEST_F(RspClientReadMemoryIntegration, AFailedPieceFailsTheWholeRead) {
    server().serve(
        FakeRspPeer::replies({{"m1000,10", "00112233445566778899aabbccddeeff"}, {"m1010,10", "E01"}}));
    endpoint().setPacketSize(0x20);
    std::vector<unsigned char> data;
    EXPECT_FALSE(endpoint().readMemory(0x1000, 32, data));
}

TEST_F(RspClientReadMemoryIntegration, WithACacheAPrefetchedStructureAnswersItsMembers) {
    server().serve(FakeRspPeer::replies({{"m2000,c", "010000000200000003000000"}}));
    useCache();
    expectWordAfterPrefetch(0x2008, 3u);
    unsigned int value = 0;
    EXPECT_TRUE(endpoint().readMemory(0x2000, value));
    EXPECT_EQ(1u, value);
    EXPECT_EQ(std::vector<std::string>({"$m2000,c#be"}), server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, WithoutACacheAPrefetchReadsNothing) {
    server().serve(FakeRspPeer::replies({{"m2000,c", "010000000200000003000000"}, {"m2008,4", "03000000"}}));
    expectWordAfterPrefetch(0x2008, 3u);
    EXPECT_EQ(std::vector<std::string>({"$m2008,4#97"}), server().receivedLog());
}

// A structure that reaches into memory the server refuses: the fetch fails, and each value is read alone.
TEST_F(RspClientReadMemoryIntegration, ARefusedPrefetchFallsBackToTheExactRead) {
    server().serve(FakeRspPeer::replies({{"m2000,c", "E01"}, {"m2004,4", "02000000"}}));
    useCache();
    expectWordAfterPrefetch(0x2004, 2u);
    EXPECT_EQ(std::vector<std::string>({"$m2000,c#be", "$m2004,4#93"}), server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, AShortPrefetchFallsBackToTheExactRead) {
    server().serve(FakeRspPeer::replies({{"m2000,c", "0100000002"}, {"m2004,4", "02000000"}}));
    useCache();
    expectWordAfterPrefetch(0x2004, 2u);
    EXPECT_EQ(std::vector<std::string>({"$m2000,c#be", "$m2004,4#93"}), server().receivedLog());
}

// A length read from corrupt kernel data: refused before any exchange, and without taking the memory.
TEST_F(RspClientReadMemoryIntegration, ALengthNoTargetHoldsIsRefusedUnread) {
    server().serve(FakeRspPeer::replies({}));
    std::vector<unsigned char> data;
    EXPECT_FALSE(endpoint().readMemory(0x20000000, 0xefe00000u, data));
    EXPECT_TRUE(server().receivedLog().empty());
}

// A register written into a switched-out task's frame: the next read of that memory asks the server again.
TEST_F(RspClientReadMemoryIntegration, AWriteClearsTheCacheBeforeItGoesOut) {
    server().serve(FakeRspPeer::replies({{"m3000,4", "07000000"}, {"M3000,4:09000000", "OK"}}));
    useCache();
    unsigned int value = 0;
    EXPECT_TRUE(endpoint().readMemory(0x3000, value));
    EXPECT_TRUE(endpoint().writeMemory(0x3000, "09000000"));
    EXPECT_TRUE(cache.isEmpty());
    EXPECT_TRUE(endpoint().readMemory(0x3000, value));
    EXPECT_EQ(std::vector<std::string>({"$m3000,4#90", "$M3000,4:09000000#33", "$m3000,4#90"}),
              server().receivedLog());
}

TEST_F(RspClientReadMemoryIntegration, AWriteTheServerRefusesFails) {
    server().serve(FakeRspPeer::replies({{"M3000,4:09000000", "E14"}}));
    EXPECT_FALSE(endpoint().writeMemory(0x3000, "09000000"));
}

TEST_F(RspClientReadMemoryIntegration, AValueReadOnceIsNotReadAgainWhileTheCacheLasts) {
    server().serve(FakeRspPeer::replies({{"m3000,4", "07000000"}}));
    useCache();
    unsigned int value = 0;
    EXPECT_TRUE(endpoint().readMemory(0x3000, value));
    std::vector<unsigned char> data;
    EXPECT_TRUE(endpoint().readMemory("3000", 4, data));
    EXPECT_EQ(std::vector<unsigned char>({7, 0, 0, 0}), data);
    EXPECT_EQ(1u, server().receivedLog().size());
    cache.clear();
    EXPECT_TRUE(endpoint().readMemory(0x3000, value));
    EXPECT_EQ(7u, value);
    EXPECT_EQ(2u, server().receivedLog().size());
}

TEST_F(RspClientReadMemoryIntegration, APieceNeverOverflowsTheReceiveBuffer) {
    endpoint().setPacketSize(0x10000);
    EXPECT_EQ((RspBuffer::kCapacity - 4u) / 2u, endpoint().getReadPiece());
    endpoint().setPacketSize(0x4000);
    EXPECT_EQ(0x2000u, endpoint().getReadPiece());
}
