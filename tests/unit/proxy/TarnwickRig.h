#ifndef TARNWICK_TESTS_UNIT_PROXY_TARNWICKRIG_H
#define TARNWICK_TESTS_UNIT_PROXY_TARNWICKRIG_H

#include "FakeRspPeer.h"
#include "FakeRtosDriver.h"
#include "PeeredEndpoint.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Tarnwick.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspClient.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

// The proxy singleton between a fake GDB and a fake GDB server on real loopback sockets, with a fake
// driver loaded and its loop (RspProxy::doProxyWork) on a thread of its own. Everything the proxy logs
// during the session is captured.
//
//     FakeRtosDriver driver;
//     TarnwickRig rig(driver);
//     rig.gdb().sendPacket("qC");
//     EXPECT_EQ("QC1", rig.gdb().nextPayload());
//     EXPECT_TRUE(rig.finish());
//     EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
class TarnwickRig {
public:
    static constexpr unsigned int kAllSeverities = 15;

    // Options go to the store before the proxy reads them; the singletons start empty.
    explicit TarnwickRig(FakeRtosDriver& driver, unsigned int logLevel = kAllSeverities,
                         const std::vector<std::string>& options = {}) {
        Logger::getInstance().setLogLevel(0);
        Properties::getInstance().clear();
        std::vector<std::string> args = options;
        Properties::getInstance().init(args);
        SymbolTable::getInstance().clear();
        Tarnwick& tarnwick = Tarnwick::getInstance();
        tarnwick.RspProxy::init();
        tarnwick.loadDriver(&driver);
        driver.clearRecord();
        gdbSide = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
        serverSide = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        if (!gdbSide.endpoint || !serverSide.endpoint) {
            return;
        }
        testing::internal::CaptureStdout();
        capturing = true;
        Logger::getInstance().setLogLevel(logLevel);
        loop = std::async(std::launch::async, [this] {
            return Tarnwick::getInstance().doProxyWork(gdbEndpoint(), serverEndpoint());
        });
    }

    ~TarnwickRig() {
        finish();
        Logger::getInstance().setLogLevel(0);
        // The fake driver dies with the test; the proxy must not keep it.
        Tarnwick::getInstance().loadDriver(nullptr);
        Properties::getInstance().clear();
        SymbolTable::getInstance().clear();
    }

    TarnwickRig(const TarnwickRig&) = delete;
    TarnwickRig& operator=(const TarnwickRig&) = delete;

    bool ready() const { return loop.valid(); }
    FakeRspPeer& gdb() { return *gdbSide.peer; }
    FakeRspPeer& server() { return *serverSide.peer; }
    RspClient* gdbEndpoint() { return gdbSide.endpoint.get(); }
    RspClient* serverEndpoint() { return serverSide.endpoint.get(); }

    // Ends the session the way GDB leaving does, unless the loop has ended already, and returns the loop's
    // result. The log is complete afterwards.
    bool finish() {
        if (loop.valid()) {
            if (loop.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
                gdb().close();
            }
            result = loop.get();
        }
        if (capturing) {
            captured = testing::internal::GetCapturedStdout();
            capturing = false;
        }
        return result;
    }

    // Waits for the loop to end by itself, as after a failure; false if it still runs.
    bool ended(int timeoutMs = FakeRspPeer::kDefaultTimeoutMs) {
        return loop.valid() &&
               loop.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
    }

    const std::string& log() const { return captured; }

    // A server stop reply and what GDB gets in its place.
    std::string stop(const std::string& stopReply) {
        server().sendPacket(stopReply);
        return gdb().nextPayload();
    }

    // The first stop never asks the driver; this one and all later ones do.
    void passFirstStop() { EXPECT_EQ("T05thread:1;", stop("S05")); }

    // GDB's request and the proxy's reply.
    std::string ask(const std::string& request) {
        gdb().sendPacket(request);
        return gdb().nextPayload();
    }

private:
    PeeredEndpoint gdbSide;
    PeeredEndpoint serverSide;
    std::future<bool> loop;
    bool capturing = false;
    bool result = false;
    std::string captured;
};

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

// What a GDB endpoint, connected to nothing, and a server endpoint likewise are to an interceptor called
// directly: every send fails, and the packet under test is put straight into the receive buffer.
struct UnconnectedEndpoints {
    UnconnectedEndpoints()
        : gdb(new ClientSocket("127.0.0.1", 0), "GDB Client", ROLE_GDB_CLIENT),
          server(new ClientSocket("127.0.0.1", 0), "GDB Server", ROLE_GDB_SERVER) {}

    // Frames payload into from's receive buffer, as if it had just been read.
    static void receive(RspClient& from, const std::string& payload) {
        RspBuffer& buffer = from.getReceiveBuffer();
        buffer.clear();
        buffer.createPacket(payload, RSP_PACKET_COMMAND);
        buffer.resetPacket();
        buffer.parseForPacket();
    }

    RspClient gdb;
    RspClient server;
};

#endif
