#include "rsp/AckMode.h"

#include "RspFrame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What one side sent, as it went over the wire.
struct Sent {
    RspClientRole from;
    std::string raw;
};

void see(AckMode& mode, const std::vector<Sent>& traffic) {
    for (const Sent& sent : traffic) {
        mode.observe(sent.from, reinterpret_cast<const unsigned char*>(sent.raw.data()),
                     static_cast<int>(sent.raw.size()));
    }
}

TEST(AckMode, OffAtTheStart) {
    AckMode mode;
    EXPECT_FALSE(mode.isOn());
}

TEST(AckMode, OnOnceTheServerHasAnsweredTheFeatures) {
    AckMode mode;
    see(mode, {{ROLE_GDB_CLIENT, rspframe::frame("qSupported:multiprocess+;swbreak+")}});
    EXPECT_FALSE(mode.isOn());
    see(mode, {{ROLE_GDB_SERVER, rspframe::frame("PacketSize=1000;qXfer:features:read+")}});
    EXPECT_TRUE(mode.isOn());
}

TEST(AckMode, OffAgainAfterTheServersOkToNoAckMode) {
    AckMode mode;
    see(mode, {{ROLE_GDB_CLIENT, rspframe::frame("qSupported:swbreak+")},
               {ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000;QStartNoAckMode+")}});
    EXPECT_TRUE(mode.isOn());
    see(mode, {{ROLE_GDB_CLIENT, "+"},
               {ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckMode")},
               {ROLE_GDB_SERVER, "+"}});
    EXPECT_TRUE(mode.isOn());
    see(mode, {{ROLE_GDB_SERVER, rspframe::frame("OK")}});
    EXPECT_FALSE(mode.isOn());
}

TEST(AckMode, AnEmptyAnswerToNoAckModeKeepsAcknowledging) {
    AckMode mode;
    see(mode, {{ROLE_GDB_CLIENT, rspframe::frame("qSupported")},
               {ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000")},
               {ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckMode")},
               {ROLE_GDB_SERVER, rspframe::frame("")}});
    EXPECT_TRUE(mode.isOn());
    // An OK to some later request says nothing about the mode.
    see(mode, {{ROLE_GDB_CLIENT, rspframe::frame("Z0,8000120,2")},
               {ROLE_GDB_SERVER, rspframe::frame("OK")}});
    EXPECT_TRUE(mode.isOn());
}

TEST(AckMode, FramesBeforeTheFeaturesChangeNothing) {
    AckMode mode;
    see(mode, {{ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000")},
               {ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckModeX")},
               {ROLE_GDB_SERVER, rspframe::frame("OK")},
               {ROLE_GDB_CLIENT, rspframe::frame("qSupportedX", '%')},
               {ROLE_GDB_SERVER, rspframe::frame("x")}});
    EXPECT_FALSE(mode.isOn());
}

} // namespace
