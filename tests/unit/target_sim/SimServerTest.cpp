#include "target_sim/SimServer.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

using targetsim::SimConfig;
using targetsim::SimServer;
using targetsim::SimTarget;

namespace {
std::string frame(const std::string& payload) {
    unsigned sum = 0;
    for (char c : payload)
        sum += static_cast<unsigned char>(c);
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", sum & 0xff);
    return "$" + payload + "#" + digits;
}

// A blocking GDB stand-in with a two-second limit on every read.
class Peer {
public:
    explicit Peer(std::uint16_t port) {
        fd = ::socket(AF_INET, SOCK_STREAM, 0);
        timeval limit{2, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~Peer() { ::close(fd); }
    void send(const std::string& bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    // Exactly count bytes, or fewer if the time runs out or the server closes.
    std::string receive(std::size_t count) {
        std::string got;
        char buffer[512];
        while (got.size() < count) {
            ssize_t n = ::recv(fd, buffer, std::min(sizeof buffer, count - got.size()), 0);
            if (n <= 0)
                break;
            got.append(buffer, static_cast<std::size_t>(n));
        }
        return got;
    }
    bool closedByServer() {
        char byte;
        return ::recv(fd, &byte, 1, 0) == 0;
    }
    bool connected = false;

private:
    int fd = -1;
};

struct Running {
    explicit Running(const SimConfig& config = SimConfig()) : server(target, config) {
        target.mapRam(0x20000000, 0x100);
        std::string error;
        started = server.start(error);
    }
    SimTarget target;
    SimServer server;
    bool started = false;
};

// What GDB sends, and the exact bytes that must answer it.
using Turns = std::vector<std::pair<std::string, std::string>>;

void converse(Peer& gdb, const Turns& turns) {
    for (const auto& [sent, reply] : turns) {
        SCOPED_TRACE(sent);
        gdb.send(sent);
        EXPECT_EQ(reply, gdb.receive(reply.size()));
    }
}
} // namespace

TEST(SimServerIntegration, AcknowledgesUntilNoAckModeIsAgreed) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    ASSERT_TRUE(gdb.connected);
    converse(gdb, {{frame("qSupported:swbreak+"),
                    "+" + frame("PacketSize=4000;QStartNoAckMode+;qXfer:features:read+")},
                   {"+" + frame("QStartNoAckMode"), "+$OK#9a"},
                   {"+" + frame("m20000000,4"), "$00000000#80"},
                   {frame("qC"), "$QC1#c5"}});
}

TEST(SimServerIntegration, BadChecksumIsRefusedAndMinusRepeatsTheLastReply) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{"$qC#00", "-"}, {frame("qC"), "+$QC1#c5"}, {"-", "$QC1#c5"}});
}

TEST(SimServerIntegration, FramesSplitAndJoinedAndInterruptsIgnored) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    gdb.send("\x03$q");
    gdb.send("C#b");
    gdb.send("4" + frame("qfThreadInfo") + frame("qsThreadInfo"));
    EXPECT_EQ("+$QC1#c5+$m1#9e+$l#6c", gdb.receive(21));
}

TEST(SimServerIntegration, KeptAckModeRefusesNoAckMode) {
    SimConfig config;
    config.keepAckMode = true;
    Running sim(config);
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("QStartNoAckMode"), "+$#00"}, {"+" + frame("qC"), "+$QC1#c5"}});
}

TEST(SimServerIntegration, ClosesAfterTheConfiguredNumberOfPackets) {
    SimConfig config;
    config.closeAfterPackets = 2;
    Running sim(config);
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("QStartNoAckMode"), "+$OK#9a"}, {frame("qC"), "$QC1#c5"}});
    EXPECT_TRUE(gdb.closedByServer());
}

TEST(SimServerIntegration, DetachAnswersThenCloses) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("D"), "+$OK#9a"}});
    EXPECT_TRUE(gdb.closedByServer());
}

TEST(SimServerIntegration, KillClosesWithoutReply) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("k"), "+"}});
    EXPECT_TRUE(gdb.closedByServer());
}

TEST(SimServerIntegration, ConnectionsFollowOneAnotherAndCountersAccumulate) {
    Running sim;
    ASSERT_TRUE(sim.started);
    for (int round = 0; round < 2; round++) {
        Peer gdb(sim.server.getPort());
        converse(gdb, {{frame("m20000000,2") + frame("m20000002,2"), "+$0000#c0+$0000#c0"},
                       {frame("D"), "+$OK#9a"}});
        EXPECT_TRUE(gdb.closedByServer());
    }
    EXPECT_EQ(2u, sim.server.getConnections());
    EXPECT_EQ(4u, sim.target.getStats().memoryReads);
    EXPECT_EQ(6u, sim.target.getStats().packets);
    EXPECT_EQ(8u, sim.target.getStats().memoryReadBytes);
}

TEST(SimServerIntegration, StopEndsAnIdleSessionPromptly) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("qC"), "+$QC1#c5"}});
    auto start = std::chrono::steady_clock::now();
    sim.server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(gdb.closedByServer());
}

TEST(SimServerIntegration, SnapshotsLaidWhileServingAreSeenAtOnce) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    converse(gdb, {{frame("QStartNoAckMode"), "+$OK#9a"}, {frame("m20001000,2"), "$E01#a6"}});
    ASSERT_TRUE(sim.target.loadMemory(0x20001000, {0xab, 0xcd}));
    converse(gdb, {{frame("m20001000,2"), "$abcd#8a"}});
}

TEST(SimServerIntegration, APortInUseIsReported) {
    Running first;
    ASSERT_TRUE(first.started);
    SimConfig config;
    config.port = first.server.getPort();
    SimTarget target;
    SimServer second(target, config);
    std::string error;
    EXPECT_FALSE(second.listen(error));
    EXPECT_EQ("port " + std::to_string(config.port) + ": Address already in use", error);
}

TEST(SimServerIntegration, AFrameWithoutEndIsDroppedWithTheConnection) {
    Running sim;
    ASSERT_TRUE(sim.started);
    Peer gdb(sim.server.getPort());
    gdb.send("$m" + std::string(std::size_t{1} << 20, '0'));
    EXPECT_TRUE(gdb.closedByServer());
}
