#ifndef TARNWICK_TESTS_UNIT_PROXY_PROXYTESTHELPERS_H
#define TARNWICK_TESTS_UNIT_PROXY_PROXYTESTHELPERS_H

#include "FakeRtosDriver.h"
#include "ProxyRig.h"
#include "RspFrame.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

// Values and steps that the proxy's session tests share.

// The switched-out task of the worked exchanges.
constexpr unsigned int kSwitchedOut = 0x20000810;

// The snapshot of the worked exchanges: the timer task switched out, the idle task on the core.
inline void useTwoTaskSnapshot(FakeRtosDriver& driver) {
    driver.threads = {TargetThread(kSwitchedOut, 0x20000700, false, "Tmr Svc"),
                      TargetThread(0x20000a40, 0x20000900, true, "IDLE")};
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
