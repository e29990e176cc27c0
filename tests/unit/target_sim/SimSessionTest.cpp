#include "target_sim/SimSession.h"

#include <chrono>
#include <gtest/gtest.h>

using targetsim::Profile;
using targetsim::RegisterFile;
using targetsim::SimConfig;
using targetsim::SimSession;
using targetsim::SimTarget;

namespace {
// A session whose socket is never used: answer() is called directly.
struct Fixture {
    explicit Fixture(Profile profile = Profile::M) : target(profile) { target.mapRam(0x20000000, 0x100); }
    std::string reply(const std::string& payload) { return session.answer(payload).reply; }
    SimTarget target;
    SimConfig config;
    std::atomic<bool> stop{false};
    SimSession session{-1, target, config, stop};
};

std::uint32_t pc(const SimTarget& target) {
    return target.getRegister(RegisterFile::kPc);
}
} // namespace

TEST(SimSessionTest, EveryFixedAnswerOfAOneThreadServer) {
    struct Case {
        const char* payload;
        const char* reply;
    };
    const Case cases[] = {
        {"?", "T05thread:1;"},
        {"qSupported:multiprocess+;swbreak+;xmlRegisters=i386",
         "PacketSize=4000;QStartNoAckMode+;qXfer:features:read+"},
        {"qSymbol::", "OK"},
        {"qSymbol:20000000:706f", "OK"},
        {"qAttached", "1"},
        {"qAttached:1", "1"},
        {"qC", "QC1"},
        {"qfThreadInfo", "m1"},
        {"qsThreadInfo", "l"},
        {"vCont?", "vCont;c;C;s;S"},
        {"Hg0", "OK"},
        {"Hc-1", "OK"},
        {"Hg1", "OK"},
        {"Hg20000a40", "E01"},
        {"H", "E01"},
        {"T1", "OK"},
        {"T2", "E01"},
        {"vMustReplyEmpty", ""},
        {"qTStatus", ""},
        {"qOffsets", ""},
        {"X20000000,0:", ""},
        {"Z1,100,2", ""},
        {"vCont;t", "E01"},
        {"p", "E01"},
        {"P1", "E01"},
        {"Pzz=00000000", "E01"},
        {"P1=123", "E01"},
        {"mzz,4", "E01"},
        {"m100", "E01"},
        {"M20000000,2:zz", "E01"},
        {"M20000000,2:0102ff", "E01"},
        {"M20000000,2", "E01"},
        {"Z0,zz,2", "E01"},
        {"G00", "E01"},
        {"qRcmd,zz", "E01"},
        {"QStartNoAckMode", "OK"},
    };
    Fixture fixture;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.payload);
        SimSession::Outcome outcome = fixture.session.answer(c.payload);
        EXPECT_EQ(c.reply, outcome.reply);
        EXPECT_TRUE(outcome.replies);
        EXPECT_FALSE(outcome.closes);
    }
}

TEST(SimSessionTest, KillClosesWithoutAReplyAndDetachAfterOk) {
    Fixture fixture;
    SimSession::Outcome kill = fixture.session.answer("k");
    EXPECT_FALSE(kill.replies);
    EXPECT_TRUE(kill.closes);
    for (const char* detach : {"D", "D;1"}) {
        SimSession::Outcome outcome = fixture.session.answer(detach);
        EXPECT_EQ("OK", outcome.reply);
        EXPECT_TRUE(outcome.closes);
    }
}

TEST(SimSessionTest, AcknowledgementModeKept) {
    Fixture fixture;
    fixture.config.keepAckMode = true;
    EXPECT_EQ("PacketSize=4000;qXfer:features:read+", fixture.reply("qSupported"));
    EXPECT_EQ("", fixture.reply("QStartNoAckMode"));
}

TEST(SimSessionTest, MemoryReadsWritesAndErrors) {
    Fixture fixture;
    fixture.target.addErrorRange({0x20000080, 0x10, "E14"});
    EXPECT_EQ("OK", fixture.reply("M20000010,4:44332211"));
    EXPECT_EQ("0044332211", fixture.reply("m2000000f,5"));
    EXPECT_EQ("0000", fixture.reply("m200000fe,4")) << "what is readable from the start";
    EXPECT_EQ("E01", fixture.reply("m20000100,4"));
    EXPECT_EQ("E01", fixture.reply("m0,4"));
    EXPECT_EQ("E01", fixture.reply("M20000100,1:00"));
    EXPECT_EQ("E14", fixture.reply("m2000007c,8")) << "overlapping an error range";
    EXPECT_EQ("E14", fixture.reply("M2000008f,1:00"));
    EXPECT_EQ("00000000", fixture.reply("m20000090,4"));
    EXPECT_EQ("", fixture.reply("m20000000,0"));
}

TEST(SimSessionTest, ReadsStayWithinThePacketSize) {
    Fixture fixture;
    fixture.config.packetSize = 0x40;
    EXPECT_EQ(std::string(0x40, '0'), fixture.reply("m20000000,100"));
}

TEST(SimSessionTest, ReadDelayHoldsBackEachMemoryReply) {
    Fixture fixture;
    fixture.config.readDelayMs = 60;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ("00", fixture.reply("m20000000,1"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
}

TEST(SimSessionTest, RegistersByGpAndTheirWrites) {
    Fixture fixture;
    fixture.target.setRegister("r1", 0x11223344);
    fixture.target.setRegister("xpsr", 0x61000000);
    std::string all = fixture.reply("g");
    ASSERT_EQ(136u, all.size());
    EXPECT_EQ("44332211", all.substr(8, 8));
    EXPECT_EQ("00000061", all.substr(128, 8));
    EXPECT_EQ("00000061", fixture.reply("p19"));
    EXPECT_EQ("44332211", fixture.reply("p1"));
    EXPECT_EQ("E01", fixture.reply("p10"));
    EXPECT_EQ("OK", fixture.reply("Pf=00010000"));
    EXPECT_EQ(0x100u, pc(fixture.target));
    std::string changed = all;
    changed.replace(0, 8, "efbeadde");
    EXPECT_EQ("OK", fixture.reply("G" + changed));
    EXPECT_EQ("efbeadde", fixture.reply("p0"));
    EXPECT_EQ(changed, fixture.reply("g"));
}

TEST(SimSessionTest, ContinueStopsAtTheNextBreakpoint) {
    Fixture fixture;
    EXPECT_EQ("T05thread:1;", fixture.reply("c"));
    EXPECT_EQ(0u, pc(fixture.target)) << "no breakpoint: stops where it is";
    EXPECT_EQ("OK", fixture.reply("Z0,200,2"));
    EXPECT_EQ("OK", fixture.reply("Z0,100,2"));
    EXPECT_EQ("T05thread:1;", fixture.reply("c"));
    EXPECT_EQ(0x100u, pc(fixture.target));
    EXPECT_EQ("T05thread:1;", fixture.reply("vCont;c:1"));
    EXPECT_EQ(0x200u, pc(fixture.target));
    fixture.reply("c");
    EXPECT_EQ(0x100u, pc(fixture.target)) << "past the last one it comes round to the first";
    EXPECT_EQ("OK", fixture.reply("z0,100,2"));
    fixture.reply("c");
    EXPECT_EQ(0x200u, pc(fixture.target));
    fixture.reply("c150");
    EXPECT_EQ(0x200u, pc(fixture.target)) << "resumed at 0x150";
    fixture.reply("C05;1f0");
    EXPECT_EQ(0x200u, pc(fixture.target));
}

TEST(SimSessionTest, StepMovesOverOneThumbInstruction) {
    Fixture fixture;
    // push {r7, lr} (16 bits), then bl (32 bits: first halfword 0xf000).
    fixture.target.loadMemory(0x100, {0x80, 0xb5, 0x00, 0xf0, 0x00, 0xf8});
    fixture.reply("Pf=00010000");
    EXPECT_EQ("T05thread:1;", fixture.reply("s"));
    EXPECT_EQ(0x102u, pc(fixture.target));
    EXPECT_EQ("T05thread:1;", fixture.reply("vCont;s:1"));
    EXPECT_EQ(0x106u, pc(fixture.target));
    fixture.reply("s100");
    EXPECT_EQ(0x102u, pc(fixture.target));
    fixture.reply("S05;102");
    EXPECT_EQ(0x106u, pc(fixture.target));
}

TEST(SimSessionTest, AProfileStepsFourBytesInArmState) {
    Fixture fixture(Profile::A);
    fixture.reply("s");
    EXPECT_EQ(4u, pc(fixture.target));
    fixture.target.setRegister("cpsr", 0x1f3);
    fixture.reply("s");
    EXPECT_EQ(6u, pc(fixture.target)) << "Thumb state: unmapped memory counts as a 16-bit instruction";
}

TEST(SimSessionTest, StopReplyAsConfigured) {
    Fixture fixture;
    fixture.config.stopReply = "S05";
    EXPECT_EQ("S05", fixture.reply("?"));
    EXPECT_EQ("S05", fixture.reply("c"));
    EXPECT_EQ("S05", fixture.reply("vCont;s"));
}

TEST(SimSessionTest, TargetDescriptionInChunks) {
    Fixture fixture;
    std::string xml = fixture.target.targetXml();
    EXPECT_EQ("m" + xml.substr(0, 16), fixture.reply("qXfer:features:read:target.xml:0,10"));
    std::size_t tail = xml.size() - 5;
    char request[80];
    std::snprintf(request, sizeof request, "qXfer:features:read:target.xml:%zx,3ff", tail);
    EXPECT_EQ("l" + xml.substr(tail), fixture.reply(request));
    std::snprintf(request, sizeof request, "qXfer:features:read:target.xml:%zx,3ff", xml.size());
    EXPECT_EQ("l", fixture.reply(request));
    EXPECT_EQ("E00", fixture.reply("qXfer:features:read:other.xml:0,10"));
    EXPECT_EQ("E01", fixture.reply("qXfer:features:read:target.xml:0"));
    std::string collected;
    for (std::size_t offset = 0;; offset += 0x3ff) {
        std::snprintf(request, sizeof request, "qXfer:features:read:target.xml:%zx,3ff", offset);
        std::string chunk = fixture.reply(request);
        collected += chunk.substr(1);
        if (chunk[0] == 'l')
            break;
        ASSERT_EQ('m', chunk[0]);
    }
    EXPECT_EQ(xml, collected);
}

TEST(SimSessionTest, TargetDescriptionChunkLimit) {
    Fixture fixture;
    fixture.config.xferChunk = 8;
    EXPECT_EQ("m" + fixture.target.targetXml().substr(8, 8),
              fixture.reply("qXfer:features:read:target.xml:8,ffb"));
}

TEST(SimSessionTest, MonitorCommandsCountMemoryReads) {
    Fixture fixture;
    fixture.reply("m20000000,4");
    fixture.reply("m20000000,2");
    fixture.reply("m0,4");
    // "sim stats", answered "packets 0, m packets 3, m bytes 6\n"
    EXPECT_EQ("7061636b65747320302c206d207061636b65747320332c206d20627974657320360a",
              fixture.reply("qRcmd,73696d207374617473"));
    // "halt" is not ours: "target_sim: unknown monitor command: halt\n"
    EXPECT_EQ("7461726765745f73696d3a20756e6b6e6f776e206d6f6e69746f7220636f6d6d616e643a2068616c740a",
              fixture.reply("qRcmd,68616c74"));
    // "sim reset-stats"
    EXPECT_EQ("OK", fixture.reply("qRcmd,73696d2072657365742d7374617473"));
    EXPECT_EQ(0u, fixture.target.getStats().memoryReads);
}
