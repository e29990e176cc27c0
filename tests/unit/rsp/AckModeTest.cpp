#include "rsp/AckMode.h"

#include "RspFrame.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void see(AckMode& mode, RspClientRole from, const std::string& raw) {
    mode.observe(from, reinterpret_cast<const unsigned char*>(raw.data()), static_cast<int>(raw.size()));
}

TEST(AckMode, OffAtTheStart) {
    AckMode mode;
    EXPECT_FALSE(mode.isOn());
}

TEST(AckMode, OnOnceTheServerHasAnsweredTheFeatures) {
    AckMode mode;
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("qSupported:multiprocess+;swbreak+"));
    EXPECT_FALSE(mode.isOn());
    see(mode, ROLE_GDB_SERVER, rspframe::frame("PacketSize=1000;qXfer:features:read+"));
    EXPECT_TRUE(mode.isOn());
}

TEST(AckMode, OffAgainAfterTheServersOkToNoAckMode) {
    AckMode mode;
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("qSupported:swbreak+"));
    see(mode, ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000;QStartNoAckMode+"));
    EXPECT_TRUE(mode.isOn());
    see(mode, ROLE_GDB_CLIENT, "+");
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckMode"));
    see(mode, ROLE_GDB_SERVER, "+");
    EXPECT_TRUE(mode.isOn());
    see(mode, ROLE_GDB_SERVER, rspframe::frame("OK"));
    EXPECT_FALSE(mode.isOn());
}

TEST(AckMode, AnEmptyAnswerToNoAckModeKeepsAcknowledging) {
    AckMode mode;
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("qSupported"));
    see(mode, ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000"));
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckMode"));
    see(mode, ROLE_GDB_SERVER, rspframe::frame(""));
    EXPECT_TRUE(mode.isOn());
    // An OK to some later request says nothing about the mode.
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("Z0,8000120,2"));
    see(mode, ROLE_GDB_SERVER, rspframe::frame("OK"));
    EXPECT_TRUE(mode.isOn());
}

TEST(AckMode, FramesBeforeTheFeaturesChangeNothing) {
    AckMode mode;
    see(mode, ROLE_GDB_SERVER, rspframe::frame("PacketSize=4000"));
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("QStartNoAckModeX"));
    see(mode, ROLE_GDB_SERVER, rspframe::frame("OK"));
    see(mode, ROLE_GDB_CLIENT, rspframe::frame("qSupportedX", '%'));
    see(mode, ROLE_GDB_SERVER, rspframe::frame("x"));
    EXPECT_FALSE(mode.isOn());
}

} // namespace
