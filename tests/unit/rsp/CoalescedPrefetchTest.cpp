#include "rsp/CoalescedPrefetch.h"

#include "PeeredEndpoint.h"
#include "RspFrame.h"
#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "rsp/StopMemoryCache.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class CoalescedPrefetchIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        Logger::getInstance().setLogLevel(0);
        pair = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(pair.endpoint);
        pair.endpoint->setMemoryCache(&cache);
    }
    FakeRspPeer& server() { return *pair.peer; }
    RspClient& endpoint() { return *pair.endpoint; }

    // The four bytes at address, as read after the prefetch.
    std::vector<unsigned char> bytesAt(unsigned int address) {
        std::vector<unsigned char> data;
        EXPECT_TRUE(endpoint().readMemory(address, 4, data)) << address;
        return data;
    }

    StopMemoryCache cache;
    PeeredEndpoint pair;
};

// Spans in any order, repeats among them, each at most 8 bytes past the end of the one before, come in one
// read; a span 9 bytes past the end of its neighbour and one far away are left to their own reads.
TEST_F(CoalescedPrefetchIntegration, SpansWithinTheGapComeInOneRead) {
    server().serve(FakeRspPeer::replies({{"m1000,18", "000102030405060708090a0b0c0d0e0f1011121314151617"},
                                         {"m1021,4", "a1a2a3a4"},
                                         {"m8000,4", "b1b2b3b4"}}));
    CoalescedPrefetch::fetch(endpoint(), {0x1014, 0x8000, 0x1000, 0x1021, 0x100c, 0x100c}, 4, 8);
    EXPECT_EQ(std::vector<std::string>{rspframe::frame("m1000,18")}, server().receivedLog());
    EXPECT_EQ((std::vector<unsigned char>{0x0c, 0x0d, 0x0e, 0x0f}), bytesAt(0x100c));
    EXPECT_EQ((std::vector<unsigned char>{0x14, 0x15, 0x16, 0x17}), bytesAt(0x1014));
    EXPECT_EQ((std::vector<unsigned char>{0xa1, 0xa2, 0xa3, 0xa4}), bytesAt(0x1021));
    EXPECT_EQ((std::vector<unsigned char>{0xb1, 0xb2, 0xb3, 0xb4}), bytesAt(0x8000));
    EXPECT_EQ((std::vector<std::string>{rspframe::frame("m1000,18"), rspframe::frame("m1021,4"),
                                        rspframe::frame("m8000,4")}),
              server().receivedLog());
}

// A group never asks for more than one read piece: with a packet of 32 hexadecimal digits, 16 bytes.
TEST_F(CoalescedPrefetchIntegration, AGroupEndsWhereTheNextSpanWouldPassOnePiece) {
    endpoint().setPacketSize(32);
    server().serve(
        FakeRspPeer::replies({{"m1000,10", "000102030405060708090a0b0c0d0e0f"}, {"m1010,4", "10111213"}}));
    CoalescedPrefetch::fetch(endpoint(), {0x1000, 0x1004, 0x1008, 0x100c, 0x1010}, 4, 0);
    EXPECT_EQ(std::vector<std::string>{rspframe::frame("m1000,10")}, server().receivedLog());
    EXPECT_EQ((std::vector<unsigned char>{0x0c, 0x0d, 0x0e, 0x0f}), bytesAt(0x100c));
    EXPECT_EQ((std::vector<unsigned char>{0x10, 0x11, 0x12, 0x13}), bytesAt(0x1010));
    EXPECT_EQ((std::vector<std::string>{rspframe::frame("m1000,10"), rspframe::frame("m1010,4")}),
              server().receivedLog());
}

// A group the server refuses or answers short keeps nothing: each span is then read on its own.
TEST_F(CoalescedPrefetchIntegration, AGroupRefusedOrShortLeavesEachSpanToItsOwnRead) {
    server().serve(FakeRspPeer::replies({{"m1000,4", "00010203"}, {"m1004,4", "04050607"}}));
    std::vector<std::string> sent;
    for (const char* reply : {"E01", "00010203"}) {
        SCOPED_TRACE(reply);
        cache.clear();
        server().overrideReply("m1000,8", std::string(reply));
        CoalescedPrefetch::fetch(endpoint(), {0x1000, 0x1004}, 4, 0);
        EXPECT_EQ((std::vector<unsigned char>{0x00, 0x01, 0x02, 0x03}), bytesAt(0x1000));
        EXPECT_EQ((std::vector<unsigned char>{0x04, 0x05, 0x06, 0x07}), bytesAt(0x1004));
        for (const char* request : {"m1000,8", "m1000,4", "m1004,4"}) {
            sent.push_back(rspframe::frame(request));
        }
        EXPECT_EQ(sent, server().receivedLog());
    }
}

// Without the stop's memory nothing is fetched ahead.
TEST_F(CoalescedPrefetchIntegration, WithoutTheStopsMemoryNothingIsRead) {
    endpoint().setMemoryCache(nullptr);
    CoalescedPrefetch::fetch(endpoint(), {0x1000, 0x1004}, 4, 0);
    EXPECT_TRUE(server().quietFor(50));
    EXPECT_TRUE(server().receivedLog().empty());
}

} // namespace
