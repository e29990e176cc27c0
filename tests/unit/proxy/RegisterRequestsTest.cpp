#include "proxy/RegisterRequests.h"

#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "SourceFile.h"
#include "TwoTaskSession.h"
#include "UnconnectedEndpoints.h"
#include "target/RegisterId.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

const std::string kMProfileXml = "tests/fixtures/targetxml/m-profile-inline.xml";
const std::string kAProfileXml = "tests/fixtures/targetxml/a-profile-inline.xml";
// What a g reply of the core holds for the M-profile description: r0..r15, xpsr, d0..d15, fpscr.
const unsigned int kMProfilePayload = 200;

// Where the saved frame of the switched-out task lies: r0..r12 in its first words, then lr, pc and the
// status.
const unsigned int kFrameAddress = 0x20000700;

// The words of the saved frame the driver hands back, r0..r12, sp, lr, pc and a status word of each
// profile; an FPU register that no description carries, too. All but sp, which the kernel keeps in the
// control block, have a word in the frame.
RegisterList frameOf(unsigned int statusRegister, RegisterId statusId) {
    RegisterList frame;
    for (unsigned int n = 0; n <= 12; ++n) {
        frame.addSavedRegister(static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_R0) + n),
                               0xa0b0c000 + n, kFrameAddress + 4 * n);
    }
    frame.addRegister(RegisterId::REG_SP, 0x20000740);
    frame.addSavedRegister(RegisterId::REG_LR, 0xfffffffd, kFrameAddress + 0x34);
    frame.addSavedRegister(RegisterId::REG_PC, 0x00000412, kFrameAddress + 0x38);
    frame.addSavedRegister(statusId, statusRegister, kFrameAddress + 0x3c);
    frame.addSavedRegister(RegisterId::REG_S16, 0x3f800000, kFrameAddress + 0x40);
    return frame;
}

// The g reply the proxy must build from frameOf for a description of payloadBytes.
std::string expectedRegisterText(unsigned int statusRegister, unsigned int payloadBytes) {
    std::string text;
    for (unsigned int n = 0; n <= 12; ++n) {
        text += registerText(0xa0b0c000 + n);
    }
    text += registerText(0x20000740) + registerText(0xfffffffd) + registerText(0x00000412) +
            registerText(statusRegister);
    // The frame holds no floating-point pair whole: those registers are unavailable.
    for (unsigned int filled = 17 * 4; filled < payloadBytes; ++filled) {
        text += "xx";
    }
    return text;
}

// The first g goes to the server, which answers with payloadBytes of register text.
void learnPayloadSize(ProxyRig& rig, unsigned int payloadBytes) {
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    ASSERT_EQ("g", rig.server().nextPayload());
    std::string core(payloadBytes * 2, '1');
    ASSERT_TRUE(rig.server().sendPacket(core));
    ASSERT_EQ(core, rig.gdb().nextPayload());
}

TEST(RegisterRequestsIntegration, TheCoreAnswersForTheActiveThreadAndTheDriverForASwitchedOutOne) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.registers[kSwitchedOut] = frameOf(0x01000000, RegisterId::REG_XPSR);
    driver.reads[FakeRtosDriver::kCallGetRegisters] = {0x20000700};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile(kMProfileXml));
    rig.passFirstStop();
    EXPECT_EQ("T05thread:20000a40;", rig.stop("T05"));

    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    EXPECT_EQ("g", rig.server().nextPayload());
    const std::string core = expectedRegisterText(0x21000000, kMProfilePayload);
    ASSERT_TRUE(rig.server().sendPacket(core));
    EXPECT_EQ(core, rig.gdb().nextPayload());
    EXPECT_EQ(kMProfilePayload, Tarnwick::getInstance().getRegisterRequests().getPayloadSize());

    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    serverAnswers(rig, "m20000700,4", "00000000");
    EXPECT_EQ(expectedRegisterText(0x01000000, kMProfilePayload), rig.gdb().nextPayload());

    // The selection lasts: a second read of the same task (GDB's flushregs) is the task's again, and an
    // "Hc" in between leaves it alone. The stop's cache answers the driver's read this time.
    EXPECT_EQ("OK", rig.ask("Hc20000a40"));
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    EXPECT_EQ(expectedRegisterText(0x01000000, kMProfilePayload), rig.gdb().nextPayload());

    // Selecting the running task hands g to the core again, and the loop forwards it.
    EXPECT_EQ("OK", rig.ask("Hg20000a40"));
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    EXPECT_EQ("$g#67", rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendPacket(core));
    EXPECT_EQ(core, rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());

    EXPECT_EQ((std::vector<unsigned int>{kSwitchedOut, kSwitchedOut}), driver.registerRequests());
    std::vector<std::string> seen = rig.server().receivedLog();
    ASSERT_EQ(6u, seen.size());
    EXPECT_EQ((std::vector<std::string>{"$g#67", framed("m20000700,4"), "$g#67"}),
              std::vector<std::string>(seen.begin() + 3, seen.end()))
        << "H, the stop and the switched-out thread's g stay with the proxy";
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nPayload size: 200\nLost connection to GDB Client\n",
              rig.log());
}

// A session stopped with the M-profile description loaded and the switched-out task selected.
class SwitchedOutTaskSession {
public:
    SwitchedOutTaskSession() : rig(driver, 7) {
        useTwoTaskSnapshot(driver);
        driver.registers[kSwitchedOut] = frameOf(0x01000000, RegisterId::REG_XPSR);
        readTargetXml(rig, testfiles::readSourceFile(kMProfileXml));
        rig.passFirstStop();
        rig.stop("T05");
        EXPECT_EQ("OK", rig.ask("Hg20000810"));
        setUp = rig.server().receivedLog().size();
    }

    // What reached the server after the set-up.
    std::vector<std::string> serverPackets() {
        std::vector<std::string> seen = rig.server().receivedLog();
        return std::vector<std::string>(seen.begin() + static_cast<std::ptrdiff_t>(setUp), seen.end());
    }

    FakeRtosDriver driver;
    ProxyRig rig;
    std::size_t setUp = 0;
};

TEST(RegisterRequestsIntegration, APOfASwitchedOutTaskReadsItsSavedFrame) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"p5", "05c0b0a0"}, {"pd", "40070020"}, {"p19", "00000001"}});
    // d0 is not in this frame: unavailable, and no value of the core's is sent in its place.
    EXPECT_EQ("xxxxxxxxxxxxxxxx", rig.ask("p1a"));
    EXPECT_EQ("E04", rig.ask("p10"));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(session.serverPackets().empty());
}

TEST(RegisterRequestsIntegration, APOfASwitchedOutTaskWritesTheRegistersWordInItsFrame) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("P5=5a5a5a5a"));
    serverAnswers(rig, "M20000714,4:5a5a5a5a", "OK");
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    ASSERT_TRUE(rig.gdb().sendPacket("Pf=00050000"));
    serverAnswers(rig, "M20000738,4:00050000", "E01");
    EXPECT_EQ("E03", rig.gdb().nextPayload());
    // The stack pointer lives in the control block, not in the frame: refused, and nothing is sent.
    expectReplies(rig, {{"Pd=00080020", "E02"},
                        {"P1a=0000000000000000", "E02"},
                        {"P1a=00000000", "E04"},
                        {"P10=00000000", "E04"}});
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ((std::vector<std::string>{framed("M20000714,4:5a5a5a5a"), framed("M20000738,4:00050000")}),
              session.serverPackets());
}

TEST(RegisterRequestsIntegration, AGOfASwitchedOutTaskWritesOnlyTheWordsThatChange) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("OK", rig.ask("Hg20000a40"));
    learnPayloadSize(rig, kMProfilePayload);
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    std::string registers = rig.ask("g");
    ASSERT_EQ(expectedRegisterText(0x01000000, kMProfilePayload), registers);
    // GDB sends zeros for the registers it was told are unavailable.
    std::replace(registers.begin(), registers.end(), 'x', '0');
    std::string changed = registers;
    changed.replace(5 * 8, 8, "5a5a5a5a");
    changed.replace(11 * 8, 8, "11111111");
    ASSERT_TRUE(rig.gdb().sendPacket("G" + changed));
    serverAnswers(rig, "M20000714,4:5a5a5a5a", "OK");
    serverAnswers(rig, "M2000072c,4:11111111", "OK");
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    std::string withStackPointer = registers;
    withStackPointer.replace(13 * 8, 8, "00080020");
    EXPECT_EQ("E02", rig.ask("G" + withStackPointer));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(3u, session.serverPackets().size())
        << "the core's g and two writes; the refused G sent nothing";
}

TEST(RegisterRequestsIntegration, FloatingPointRegistersComeFromTheFrameByName) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    RegisterList frame = frameOf(0x01000000, RegisterId::REG_XPSR);
    for (unsigned int n = 0; n < 16; ++n) {
        frame.addSavedRegister(static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_S0) + n),
                               0x3f800000 + n, kFrameAddress + 0x80 + 4 * n);
    }
    frame.addSavedRegister(RegisterId::REG_FPSCR, 0x03000000, kFrameAddress + 0xc0);
    session.driver.registers[kSwitchedOut] = frame;
    // d0 is s0 and s1, least significant word first; fpscr is GDB's number 42 in this description.
    expectReplies(rig, {{"p1a", "0000803f0100803f"}, {"p21", "0e00803f0f00803f"}, {"p2a", "00000003"}});
    // d8 would need s17 as well, which this frame lacks.
    EXPECT_EQ("xxxxxxxxxxxxxxxx", rig.ask("p22"));
    ASSERT_TRUE(rig.gdb().sendPacket("P1b=0000004000000840"));
    serverAnswers(rig, "M20000788,4:00000040", "OK");
    serverAnswers(rig, "M2000078c,4:00000840", "OK");
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
}

TEST(RegisterRequestsIntegration, RegisterPacketsOfTheRunningTaskGoToTheServer) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("OK", rig.ask("Hg20000a40"));
    for (const std::string packet : {"p5", "P5=5a5a5a5a", "G00000000"}) {
        ASSERT_TRUE(rig.gdb().sendPacket(packet));
        EXPECT_EQ(framed(packet), rig.server().nextRaw());
        ASSERT_TRUE(rig.server().sendPacket("OK"));
        EXPECT_EQ("OK", rig.gdb().nextPayload());
    }
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(session.driver.registerRequests().empty());
}

TEST(RegisterRequestsIntegration, RegisterPacketsForAnUnknownSelectionAreE05) {
    SwitchedOutTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"Hg12345678", "OK"}, {"p5", "E05"}, {"P5=5a5a5a5a", "E05"}, {"G00000000", "E05"}});
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(session.serverPackets().empty());
}

TEST(RegisterRequestsIntegration, AnAProfileDescriptionPutsCpsrWhereTheMProfileHasXpsr) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    RegisterList frame = frameOf(0x600001d3, RegisterId::REG_CPSR);
    frame.addRegister(RegisterId::REG_XPSR, 0x01000000);
    driver.registers[kSwitchedOut] = frame;
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile(kAProfileXml));
    rig.passFirstStop();
    rig.stop("T05");
    const unsigned int payload = 68 + 32 * 8 + 4;
    learnPayloadSize(rig, payload);
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    EXPECT_EQ(expectedRegisterText(0x600001d3, payload), rig.ask("g"));
    EXPECT_TRUE(rig.finish());
}

TEST(RegisterRequestsIntegration, ASwitchedOutThreadBeforeAnyGReachedTheServerGetsAnEmptyReply) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.registers[kSwitchedOut] = frameOf(0x01000000, RegisterId::REG_XPSR);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile(kMProfileXml));
    rig.passFirstStop();
    rig.stop("T05");
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    EXPECT_EQ("", rig.ask("g"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(std::vector<unsigned int>{kSwitchedOut}, driver.registerRequests());
}

TEST(RegisterRequestsIntegration, WithoutATargetDescriptionASwitchedOutThreadIsAllUnavailable) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    driver.registers[kSwitchedOut] = frameOf(0x01000000, RegisterId::REG_XPSR);
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    rig.stop("T05");
    learnPayloadSize(rig, 68);
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    EXPECT_EQ(std::string(136, 'x'), rig.ask("g"));
    EXPECT_TRUE(rig.finish());
}

TEST(RegisterRequestsIntegration, RegistersTheDriverCannotReadAreE01) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    session.driver.registersResult = false;
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    EXPECT_EQ("E01", rig.ask("g"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(
        "Reply: S Signal: 5\nReply: T Signal: 5\nRead registers. Failed reading registers from driver.\n"
        "Lost connection to GDB Client\n",
        rig.log());
}

TEST(RegisterRequestsIntegration, AnotherHEndsTheE05OfAnUnknownSelection) {
    TwoTaskSession session(7);
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"Hg1", "OK"}, {"g", "E05"}, {"Hg20000810", "OK"}, {"g", ""}});
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(std::vector<unsigned int>{kSwitchedOut}, driver.registerRequests());
}

TEST(RegisterRequestsIntegration, AServerThatDoesNotAnswerTheFirstGEndsTheWork) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    EXPECT_EQ("g", rig.server().nextPayload());
    ASSERT_TRUE(rig.ended(3000));
    EXPECT_FALSE(rig.finish());
    EXPECT_EQ("Read registers. Failed determine pay-load size\n"
              "failure g\n"
              "Packet intercept failed: GDB Client to: GDB Server\n"
              "Failed handle packet from: GDB Client to: GDB Server\n",
              rig.log());
}

} // namespace
