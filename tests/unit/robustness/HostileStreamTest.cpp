// Byte streams that no well-behaved peer sends: frames larger than the receive buffer from either side,
// binary junk, '$' inside a payload, a stream of breaks, and acknowledgement mode left on by the server or
// by GDB. The proxy runs with its real FreeRTOS driver in front of a kernel-shaped program.
#include "FaultyServer.h"
#include "KernelSession.h"
#include "RobustnessSteps.h"
#include "RspFrame.h"
#include "rsp/RspBuffer.h"

#include <gtest/gtest.h>

#include <string>

using namespace robustness;

namespace {

const char* const kProgram = "freertos_snapshot.elf";
const std::string kLostGdb = "Lost connection to GDB Client\n";

class HostileStreamIntegration : public ::testing::Test {
protected:
    FaultyServer target{kProgram};
    KernelSession session{target, "freertos", "ARM_CM4F", kProgram};
};

// Where a test follows one particular read of the stop: every value read alone, at every stop.
class HostileStreamExactReadsIntegration : public ::testing::Test {
protected:
    FaultyServer target{kProgram};
    KernelSession session{target, "freertos", "ARM_CM4F", kProgram, KernelSession::kDefaultLogLevel,
                          KernelSession::exactReads()};
};

} // namespace

// A frame that cannot fit the 20,480 bytes never completes: the full buffer reads as a lost connection,
// the loop ends in order, and not a byte of the frame reaches the server.
TEST_F(HostileStreamIntegration, FrameLargerThanTheBufferFromGdbEndsTheSession) {
    ASSERT_TRUE(session.ready());
    std::size_t before = session.server().receivedBytes().size();
    ASSERT_TRUE(session.gdb().sendRaw("$" + std::string(RspBuffer::kCapacity + 100, 'M') + "#00"));
    EXPECT_TRUE(session.ended());
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(before, session.server().receivedBytes().size());
    EXPECT_EQ(kLostGdb, session.log());
}

TEST_F(HostileStreamIntegration, FrameLargerThanTheBufferFromTheServerEndsTheSession) {
    ASSERT_TRUE(session.ready());
    ASSERT_TRUE(session.server().sendRaw("$O" + std::string(RspBuffer::kCapacity, '4') + "#00"));
    EXPECT_TRUE(session.ended());
    EXPECT_TRUE(session.finish());
    EXPECT_TRUE(session.gdb().quietFor(50));
    EXPECT_EQ("Lost connection to GDB Server\n", session.log());
}

// The largest frame the buffer holds still passes, whole.
TEST_F(HostileStreamIntegration, FrameThatFillsTheBufferExactlyIsForwarded) {
    ASSERT_TRUE(session.ready());
    std::string frame = "$X20000000,0:" + std::string(RspBuffer::kCapacity - 16, 'x') + "#00";
    ASSERT_EQ(static_cast<std::size_t>(RspBuffer::kCapacity), frame.size());
    ASSERT_TRUE(session.gdb().sendRaw(frame));
    ASSERT_TRUE(session.server().waitReceivedBytes(frame.size()));
    EXPECT_EQ(frame, session.server().receivedBytes());
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(kLostGdb, session.log());
}

// Bytes that open no packet are dropped while a frame is looked for; those in front of an acknowledgement
// leave one byte at a time, each as a packet of its own.
TEST_F(HostileStreamIntegration, BinaryJunkIsDroppedOrPassedByteByByte) {
    ASSERT_TRUE(session.ready());
    std::string junk;
    for (int byte = 0; byte < 256; ++byte) {
        if (byte != '$' && byte != '%' && byte != '+' && byte != '-' && byte != 0x03) {
            junk += static_cast<char>(byte);
        }
    }
    ASSERT_TRUE(session.gdb().sendRaw(junk + junk));
    EXPECT_EQ("QC1", session.ask("qC"));
    ASSERT_TRUE(session.gdb().sendRaw("ab\xff+"));
    ASSERT_TRUE(session.server().waitReceivedBytes(4));
    EXPECT_EQ("ab\xff+", session.server().receivedBytes());
    EXPECT_EQ("QC1", session.ask("qC"));
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(kLostGdb, session.log());
}

// Only '#' ends a frame: a '$' inside it starts nothing, and a packet that merely begins like one of the
// proxy's own is refused by its parser and forwarded whole.
TEST_F(HostileStreamIntegration, DollarInsideAPayloadStaysInTheFrame) {
    ASSERT_TRUE(session.ready());
    std::string frames = "$qC$qC#" + rspframe::checksumHex("qC$qC") + "$m20000000$4#00";
    ASSERT_TRUE(session.gdb().sendRaw(frames));
    ASSERT_TRUE(session.server().waitReceivedBytes(frames.size()));
    EXPECT_EQ(frames, session.server().receivedBytes());
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(kLostGdb, session.log());
}

// Each break is a packet of its own and reaches the server; the buffer never fills.
TEST_F(HostileStreamIntegration, StreamOfBreaksPassesWhole) {
    ASSERT_TRUE(session.ready());
    const std::string breaks(3 * RspBuffer::kCapacity, '\x03');
    ASSERT_TRUE(session.gdb().sendRaw(breaks));
    ASSERT_TRUE(session.server().waitReceivedBytes(breaks.size(), 10000));
    EXPECT_EQ(breaks, session.server().receivedBytes());
    EXPECT_EQ("QC1", session.ask("qC"));
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(kLostGdb, session.log());
}

// A server that still acknowledges: the '+' in front of each reply is taken for the reply, so the first
// read of the stop fails, and the real reply, left behind, reaches GDB as a packet of its own the next time
// the server sends anything.
TEST_F(HostileStreamExactReadsIntegration, ServerLeftInAcknowledgementModeFailsTheRead) {
    ASSERT_TRUE(session.startAtKernel());
    session.server().acknowledge(true);
    EXPECT_EQ("T05thread:1;", session.stop("T05thread:1;"));
    EXPECT_EQ(rspframe::frame(target.plainAnswer(wordRead(session.address("xSchedulerRunning")))),
              session.gdb().nextRaw());
    // Only now: the late reply and this packet come from two threads of the fake server.
    session.server().sendPacket("O4869");
    EXPECT_EQ(rspframe::frame("O4869"), session.gdb().nextRaw());
    EXPECT_TRUE(session.finish());
    EXPECT_EQ("Failed reading: xSchedulerRunning\n" + kLostGdb, session.log());
}

// GDB in acknowledgement mode during the symbol negotiation: each '+' is taken for the reply to one name
// and each real reply for the reply to the next; no symbol is stored, and the kernel is not found.
TEST_F(HostileStreamIntegration, GdbLeftInAcknowledgementModeLosesEverySymbol) {
    ASSERT_TRUE(session.ready());
    ASSERT_TRUE(session.gdb().sendPacket("qSymbol::"));
    unsigned names = 0;
    for (;;) {
        std::string request = session.gdb().nextPayload();
        if (request.compare(0, 8, "qSymbol:") != 0) {
            EXPECT_EQ("OK", request);
            break;
        }
        ++names;
        session.gdb().sendRaw("+" + rspframe::frame(session.program().reply(request)));
    }
    EXPECT_EQ(16u, names);
    // Sixteen of the thirty-two messages were taken as replies; of the rest, the eight real replies reach the
    // server as packets of GDB's, and it answers each with "OK".
    for (int reply = 0; reply < 8; ++reply) {
        EXPECT_EQ("OK", session.gdb().nextPayload());
    }
    session.passFirstStop();
    EXPECT_EQ("T05thread:1;", session.stop("T05thread:1;"));
    EXPECT_EQ("m1", session.ask("qfThreadInfo"));
    EXPECT_TRUE(session.finish());
    std::string expected;
    for (unsigned name = 1; name <= names; ++name) {
        expected += name % 2 == 1 ? "Symbol lookup. Reply failure\n" : "Symbol lookup. Unexpected reply\n";
    }
    expected += "Symbol not found: xSchedulerRunning\n" + kLostGdb;
    EXPECT_EQ(expected, session.log());
}

// Stray bytes and a packet behind them in one read: the packet is answered at once, not when more bytes come.
TEST_F(HostileStreamIntegration, APacketBehindStrayBytesInOneReadIsAnsweredAtOnce) {
    ASSERT_TRUE(session.ready());
    ASSERT_TRUE(session.gdb().sendRaw("xyz\xff$qC#b4"));
    EXPECT_EQ("QC1", session.gdb().nextPayload(500));
    ASSERT_TRUE(session.gdb().sendRaw("junk$qC#b4$qC#b4"));
    EXPECT_EQ("QC1", session.gdb().nextPayload(500));
    EXPECT_EQ("QC1", session.gdb().nextPayload(500));
    // A lone acknowledgement in a session without them goes on to the server; the packet behind it is
    // answered.
    ASSERT_TRUE(session.gdb().sendRaw("+$qC#b4"));
    EXPECT_EQ("QC1", session.gdb().nextPayload(500));
    EXPECT_TRUE(session.gdb().quietFor(50));
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(kLostGdb, session.log());
}
