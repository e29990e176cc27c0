#include "target/SavedFrame.h"

#include "PeeredEndpoint.h"
#include "RspFrame.h"
#include "base/Logger.h"
#include "rsp/StopMemoryCache.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

// r4 at the frame's start, pc four bytes further.
const FrameLayout kLayout(8, {{RegisterId::REG_R4, 0}, {RegisterId::REG_PC, 4}});

TEST(SavedFrame, UnpackGivesEachRegisterItsValueAndTheAddressOfItsWord) {
    std::vector<unsigned char> frame = {0x78, 0x56, 0x34, 0x12, 0x13, 0x04, 0x00, 0x08};
    RegisterList registers;
    SavedFrame::unpack(kLayout, 0x20000700, frame, registers);
    Register r4;
    Register pc;
    ASSERT_TRUE(registers.getRegister(RegisterId::REG_R4, r4));
    ASSERT_TRUE(registers.getRegister(RegisterId::REG_PC, pc));
    unsigned int slot = 0;
    EXPECT_EQ(0x12345678u, r4.getValue());
    EXPECT_TRUE(r4.getSlot(slot));
    EXPECT_EQ(0x20000700u, slot);
    EXPECT_EQ(0x08000413u, pc.getValue());
    EXPECT_TRUE(pc.getSlot(slot));
    EXPECT_EQ(0x20000704u, slot);
}

TEST(SavedFrame, UnpackLeavesARegisterAlreadyThereAsItWas) {
    std::vector<unsigned char> frame = {0x78, 0x56, 0x34, 0x12, 0x13, 0x04, 0x00, 0x08};
    RegisterList registers;
    registers.addRegister(RegisterId::REG_R4, 7);
    SavedFrame::unpack(kLayout, 0x20000700, frame, registers);
    Register r4;
    ASSERT_TRUE(registers.getRegister(RegisterId::REG_R4, r4));
    unsigned int slot = 0;
    EXPECT_EQ(7u, r4.getValue());
    EXPECT_FALSE(r4.getSlot(slot));
}

class SavedFrameIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        Logger::getInstance().setLogLevel(0);
        pair = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        ASSERT_TRUE(pair.endpoint);
    }
    FakeRspPeer& server() { return *pair.peer; }
    RspClient& endpoint() { return *pair.endpoint; }

    PeeredEndpoint pair;
};

// Two frames at the stack pointer, told apart by the EXC_RETURN word that starts both, as the Cortex-M
// ports save them: basic without the floating-point registers, extended with them (here r5 stands for
// them).
const FrameLayout kBasic(8, {{RegisterId::REG_LR_PENDSV, 0}, {RegisterId::REG_R4, 4}});
const FrameLayout
    kExtended(12, {{RegisterId::REG_LR_PENDSV, 0}, {RegisterId::REG_R4, 4}, {RegisterId::REG_R5, 8}});
const PortFrames::Probe kExcReturn = PortFrames::savedExceptionReturn(kBasic);
const PortFrames kProbedPort{
    nullptr,
    {{{PortFrames::word(kExcReturn, PortFrames::kBasicFrameBit, PortFrames::kBasicFrameBit)},
      &kBasic,
      PortFrames::Place::AtStackPointer,
      PortFrames::StackLog::None,
      nullptr,
      0},
     {{}, &kExtended, PortFrames::Place::AtStackPointer, PortFrames::StackLog::None, nullptr, 0}},
    nullptr};
// The basic frame at 0x20000700 (EXC_RETURN 0xfffffffd, r4 0x44444444), and past it a word of the stack.
const char* const kStack = "fdffffff4444444401020304";

// sp, lr_pendsv and r4 as read.
std::vector<unsigned int> basicRegisters(const RegisterList& registers) {
    std::vector<unsigned int> values;
    for (RegisterId id : {RegisterId::REG_SP, RegisterId::REG_LR_PENDSV, RegisterId::REG_R4}) {
        Register value;
        EXPECT_TRUE(registers.getRegister(id, value)) << static_cast<int>(id);
        values.push_back(value.getValue());
    }
    return values;
}
const std::vector<unsigned int> kBasicRegisters = {0x20000708, 0xfffffffd, 0x44444444};

class SavedFrameProbeIntegration : public SavedFrameIntegration {
protected:
    bool readFrame(RegisterList& registers) {
        TargetThread thread(0x20001000, 0x20000700);
        SavedFrame frame(endpoint(), thread);
        return frame.read(
            kProbedPort, [] { return 0u; }, registers);
    }

    StopMemoryCache cache;
};

// With the stop's memory kept, the largest frame is fetched once and the probe and the basic frame come
// from it.
TEST_F(SavedFrameProbeIntegration, ProbeAndFrameInOneRead) {
    endpoint().setMemoryCache(&cache);
    server().serve(FakeRspPeer::replies({{"m20000700,c", kStack}}));
    RegisterList registers;
    ASSERT_TRUE(readFrame(registers));
    EXPECT_EQ(kBasicRegisters, basicRegisters(registers));
    EXPECT_EQ(std::vector<std::string>{rspframe::frame("m20000700,c")}, server().receivedLog());
}

// Without it, the probe's word and then the frame it names, as always.
TEST_F(SavedFrameProbeIntegration, WithoutTheStopsMemoryTheProbeAndTheFrameAreReadApart) {
    server().serve(FakeRspPeer::replies({{"m20000700,4", "fdffffff"}, {"m20000700,8", "fdffffff44444444"}}));
    RegisterList registers;
    ASSERT_TRUE(readFrame(registers));
    EXPECT_EQ(kBasicRegisters, basicRegisters(registers));
    EXPECT_EQ((std::vector<std::string>{rspframe::frame("m20000700,4"), rspframe::frame("m20000700,8")}),
              server().receivedLog());
}

// A stack at the end of memory: the largest frame would run past it. The server refuses or answers short,
// and the probe and the frame are read apart, with the same registers.
TEST_F(SavedFrameProbeIntegration, ALargeSpanRefusedOrShortFallsBackToTheExactReads) {
    endpoint().setMemoryCache(&cache);
    std::map<std::string, std::string> replies = {{"m20000700,4", "fdffffff"},
                                                  {"m20000700,8", "fdffffff44444444"}};
    server().serve(FakeRspPeer::replies(replies));
    const std::vector<std::string> expected = {rspframe::frame("m20000700,c"), rspframe::frame("m20000700,4"),
                                               rspframe::frame("m20000700,8")};
    std::vector<std::string> sent;
    for (const char* reply : {"E01", "fdffffff44444444"}) {
        SCOPED_TRACE(reply);
        cache.clear();
        server().overrideReply("m20000700,c", std::string(reply));
        RegisterList registers;
        ASSERT_TRUE(readFrame(registers));
        EXPECT_EQ(kBasicRegisters, basicRegisters(registers));
        sent.insert(sent.end(), expected.begin(), expected.end());
        EXPECT_EQ(sent, server().receivedLog());
    }
}

} // namespace
