#ifndef TARNWICK_TESTS_UNIT_PROXY_PROXYTESTHELPERS_H
#define TARNWICK_TESTS_UNIT_PROXY_PROXYTESTHELPERS_H

#include "FakeRspPeer.h"
#include "FakeRtosDriver.h"
#include "ProxyRig.h"
#include "RspFrame.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

// Values and steps that the proxy's session tests share.

// The switched-out task of the worked exchanges.
constexpr unsigned int kSwitchedOut = 0x20000810;

// The snapshot of the worked exchanges: the timer task switched out, the idle task on the core.
inline void useTwoTaskSnapshot(FakeRtosDriver& driver) {
    driver.threads = {TargetThread(kSwitchedOut, 0x20000700, false, "Tmr Svc"),
                      TargetThread(0x20000a40, 0x20000900, true, "IDLE")};
}

// The two-task snapshot behind a kernel check that reads its word at 0x20000104 through the server.
inline void useCheckedTwoTaskSnapshot(FakeRtosDriver& driver) {
    useTwoTaskSnapshot(driver);
    driver.reads[FakeRtosDriver::kCallCheckKernelRunning] = {0x20000104};
}

// Text as GDB puts it in a qRcmd or expects it in a console reply, written here without RspUtil.
inline std::string hexOf(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char byte : text) {
        hex += digits[byte >> 4];
        hex += digits[byte & 0x0f];
    }
    return hex;
}

// A register value as the g packet carries it: the target's bytes, least significant first.
inline std::string registerText(unsigned int value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>((value >> shift) & 0xff);
    }
    return hexOf(bytes);
}

inline std::string framed(const std::string& payload) {
    return "$" + payload + "#" + rspframe::checksumHex(payload);
}

// GDB's requests in turn, each with the reply the proxy must give.
using Exchanges = std::vector<std::pair<std::string, std::string>>;
inline void expectReplies(ProxyRig& rig, const Exchanges& exchanges) {
    for (const auto& exchange : exchanges) {
        EXPECT_EQ(exchange.second, rig.ask(exchange.first)) << exchange.first;
    }
}

// The server is asked request, as the proxy forwards or makes it, and answers reply.
inline void serverAnswers(ProxyRig& rig, const std::string& request, const std::string& reply) {
    EXPECT_EQ(request, rig.server().nextPayload());
    ASSERT_TRUE(rig.server().sendPacket(reply));
}

// The packet of sender's arrives at receiver as arrives (a whole frame), and receiver's '+' for it goes
// back to sender through the proxy.
inline void expectAcknowledgedRelay(FakeRspPeer& sender, FakeRspPeer& receiver, const std::string& packet,
                                    const std::string& arrives) {
    sender.sendPacket(packet);
    EXPECT_EQ(arrives, receiver.nextRaw());
    receiver.sendRaw("+");
    EXPECT_EQ("+", sender.nextRaw());
}

// GDB reads target.xml through the proxy in chunks of 0x3ff, as it does, and the server serves them; GDB
// gets each chunk unchanged.
inline void readTargetXml(ProxyRig& rig, const std::string& xml) {
    const std::size_t chunk = 0x3ff;
    for (std::size_t offset = 0; offset < xml.size(); offset += chunk) {
        char request[64];
        std::snprintf(request, sizeof(request), "qXfer:features:read:target.xml:%zx,3ff", offset);
        ASSERT_TRUE(rig.gdb().sendPacket(request));
        ASSERT_EQ(request, rig.server().nextPayload());
        bool last = offset + chunk >= xml.size();
        std::string reply = (last ? "l" : "m") + xml.substr(offset, chunk);
        ASSERT_TRUE(rig.server().sendPacket(reply));
        ASSERT_EQ(reply, rig.gdb().nextPayload());
    }
}

#endif
