#ifndef TARNWICK_TESTS_UNIT_PROXY_PROXYTESTVALUES_H
#define TARNWICK_TESTS_UNIT_PROXY_PROXYTESTVALUES_H

#include "FakeRtosDriver.h"
#include "RspFrame.h"
#include "target/TargetThread.h"

#include <string>

// The snapshot of the worked exchanges: the timer task switched out, the idle task on the core.
inline void useTwoTaskSnapshot(FakeRtosDriver& driver) {
    driver.threads = {TargetThread(0x20000810, 0x20000700, false, "Tmr Svc"),
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

#endif
