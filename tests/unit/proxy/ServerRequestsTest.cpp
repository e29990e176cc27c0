#include "proxy/ServerRequests.h"

#include "FakeRtosDriver.h"
#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "RspFrame.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using rspframe::frame;

// GDB and a QEMU-like server: multiprocess stays hidden from GDB, and a step of whatever task GDB has
// selected reaches the server as a step of the server's own thread once the server has refused the task.
TEST(ServerRequestsIntegration, StepOfAKernelTaskGoesToTheServersThreadOnceRefused) {
    FakeRtosDriver driver;
    ProxyRig rig(driver, 0);
    ASSERT_TRUE(rig.ready());
    rig.gdb().sendRaw("+" + frame("qSupported:multiprocess+;swbreak+"));
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("qSupported:multiprocess+;swbreak+"), rig.server().nextRaw());
    rig.server().sendRaw("+" + frame("PacketSize=1000;qXfer:features:read+;vContSupported+;multiprocess+"));
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ(frame("PacketSize=1000;qXfer:features:read+;vContSupported+"), rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    // The proxy took the server's answer, so the '+' for it is the proxy's.
    EXPECT_EQ("+", rig.server().nextRaw());
    rig.gdb().sendPacket("?");
    EXPECT_EQ("$?#3f", rig.server().nextRaw());
    rig.server().sendRaw("+" + frame("T05thread:p01.01;"));
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ(frame("T05thread:1;"), rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    EXPECT_EQ("+", rig.server().nextRaw());
    // GDB's request goes out as it is; QEMU refuses the task's id, and gets its own thread instead.
    expectAcknowledgedRelay(rig.gdb(), rig.server(), "vCont;s:20000a40;c", frame("vCont;s:20000a40;c"));
    rig.server().sendPacket("E22");
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("vCont;s:p01.01;c"), rig.server().nextRaw());
    rig.server().sendRaw("+");
    expectAcknowledgedRelay(rig.server(), rig.gdb(), "T05thread:p01.01;", frame("T05thread:1;"));
    // From now on the server's own thread at once.
    expectAcknowledgedRelay(rig.gdb(), rig.server(), "vCont;s:20000810", frame("vCont;s:p01.01"));
    expectAcknowledgedRelay(rig.server(), rig.gdb(), "T05thread:p01.01;", frame("T05thread:1;"));
    expectAcknowledgedRelay(rig.gdb(), rig.server(), "vCont;c:-1", frame("vCont;c:-1"));
    EXPECT_TRUE(rig.server().quietFor(100));
    EXPECT_TRUE(rig.finish());
}

} // namespace
