#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "RspFrame.h"
#include "UnconnectedEndpoints.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using rspframe::frame;

// The rig of driver at log level 0 past GDB's feature request and the server's answer features, both
// acknowledged as at the start of every session.
class AckSession : public ProxyRig {
public:
    AckSession(FakeRtosDriver& driver, const std::string& features) : ProxyRig(driver, 0) {
        if (ready()) {
            negotiate(features);
        }
    }

    // Nothing more reaches either side, and the session ends as GDB leaving ends it.
    void expectQuietEnd() {
        EXPECT_TRUE(server().quietFor(200));
        EXPECT_TRUE(gdb().quietFor(0));
        EXPECT_TRUE(finish());
    }

private:
    void negotiate(const std::string& features) {
        gdb().sendRaw("+" + frame("qSupported:swbreak+"));
        EXPECT_EQ("+", server().nextRaw());
        EXPECT_EQ(frame("qSupported:swbreak+"), server().nextRaw());
        server().sendRaw("+" + frame(features));
        EXPECT_EQ("+", gdb().nextRaw());
        EXPECT_EQ(frame(features), gdb().nextRaw());
        gdb().sendRaw("+");
        EXPECT_EQ("+", server().nextRaw());
    }
};

// A server that keeps acknowledging (QEMU): the proxy acknowledges what it answers and takes GDB's '+'.
TEST(TarnwickAckIntegration, RepliesOfItsOwnAreAcknowledgedBothWays) {
    FakeRtosDriver driver;
    AckSession rig(driver, "PacketSize=1000;qXfer:features:read+");
    ASSERT_TRUE(rig.ready());
    rig.gdb().sendPacket("qC");
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ("$QC1#c5", rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    rig.gdb().sendPacket("qsThreadInfo");
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ("$l#6c", rig.gdb().nextRaw());
    // GDB found the reply damaged: it comes again.
    rig.gdb().sendRaw("-");
    EXPECT_EQ("$l#6c", rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    // Neither GDB's requests nor its acknowledgements of the proxy's replies reach the server.
    EXPECT_TRUE(rig.server().quietFor(200));
    EXPECT_TRUE(rig.finish());
}

// GDB's '+' must not wait for the answer: an answer that needs slow reads of the target would otherwise come
// after GDB's time-out, GDB would send the request again, and every later answer would be one late.
TEST(TarnwickAckIntegration, AnsweredRequestIsAcknowledgedBeforeTheTargetIsRead) {
    FakeRtosDriver driver;
    driver.reads[FakeRtosDriver::kCallRunCommand] = {0x20000104};
    AckSession rig(driver, "PacketSize=1000");
    ASSERT_TRUE(rig.ready());
    rig.gdb().sendPacket("qRcmd,72746f73207374617465");
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ(frame("m20000104,4"), rig.server().nextRaw());
    // Well inside the proxy's 1 s wait for the server's '+', which a slow machine must not use up here.
    EXPECT_TRUE(rig.gdb().quietFor(100)) << "nothing more reaches GDB while the target is read";
    rig.server().sendRaw("+" + frame("01000000"));
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("OK"), rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    EXPECT_TRUE(rig.finish());
}

TEST(TarnwickAckIntegration, TakenStopReplyIsAcknowledgedToTheServer) {
    FakeRtosDriver driver;
    AckSession rig(driver, "PacketSize=1000");
    ASSERT_TRUE(rig.ready());
    expectAcknowledgedRelay(rig.gdb(), rig.server(), "vCont;c", "$vCont;c#a8");
    expectAcknowledgedRelay(rig.server(), rig.gdb(), "T05thread:01;", frame("T05thread:1;"));
    rig.expectQuietEnd();
}

// Where the server leaves acknowledgement mode, no byte changes: the proxy neither sends nor takes a '+'.
TEST(TarnwickAckIntegration, NoAckSessionIsByteForByteAsBefore) {
    FakeRtosDriver driver;
    AckSession rig(driver, "PacketSize=4000;QStartNoAckMode+");
    ASSERT_TRUE(rig.ready());
    rig.gdb().sendPacket("QStartNoAckMode");
    EXPECT_EQ(frame("QStartNoAckMode"), rig.server().nextRaw());
    rig.server().sendRaw("+" + frame("OK"));
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ("$OK#9a", rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    EXPECT_EQ("+", rig.server().nextRaw());
    rig.gdb().sendPacket("qC");
    EXPECT_EQ("$QC1#c5", rig.gdb().nextRaw());
    rig.gdb().sendPacket("vCont;c");
    EXPECT_EQ("$vCont;c#a8", rig.server().nextRaw());
    rig.server().sendPacket("S05");
    EXPECT_EQ(frame("T05thread:1;"), rig.gdb().nextRaw());
    rig.expectQuietEnd();
}

// The server's stop reply is taken and its '+' goes out in front of the proxy's first read; each read
// then takes the server's '+' and acknowledges the reply.
TEST(TarnwickAckIntegration, ReadsOfAStopKeepTheServersAcknowledgements) {
    FakeRtosDriver driver;
    useCheckedTwoTaskSnapshot(driver);
    driver.reads[FakeRtosDriver::kCallGetThreads] = {0x20000200};
    AckSession rig(driver, "PacketSize=1000");
    ASSERT_TRUE(rig.ready());
    rig.gdb().sendPacket("?");
    EXPECT_EQ(frame("?"), rig.server().nextRaw());
    rig.server().sendRaw("+" + frame("S05"));
    EXPECT_EQ("+", rig.gdb().nextRaw());
    EXPECT_EQ(frame("T05thread:1;"), rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    EXPECT_EQ("+", rig.server().nextRaw());
    expectAcknowledgedRelay(rig.gdb(), rig.server(), "c", frame("c"));
    rig.server().sendPacket("T05thread:01;");
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("m20000104,4"), rig.server().nextRaw());
    rig.server().sendRaw("+" + frame("01000000"));
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("m20000200,4"), rig.server().nextRaw());
    // A '+' that comes twice is no reply.
    rig.server().sendRaw("++" + frame("03000000"));
    EXPECT_EQ("+", rig.server().nextRaw());
    EXPECT_EQ(frame("T05thread:20000a40;"), rig.gdb().nextRaw());
    rig.gdb().sendRaw("+");
    EXPECT_TRUE(rig.server().quietFor(200));
    EXPECT_TRUE(rig.finish());
}

} // namespace
