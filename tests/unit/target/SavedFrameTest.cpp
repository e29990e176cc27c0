#include "target/SavedFrame.h"

#include "PeeredEndpoint.h"
#include "base/Logger.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"

#include <gtest/gtest.h>

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

TEST_F(SavedFrameIntegration, WriteSendsTheValueToTheRegistersWord) {
    server().serve(FakeRspPeer::replies({{"M20000714,4:5a5a5a5a", "OK"}}));
    Register r5(RegisterId::REG_R5, 0xa5a5a5a5, 0);
    r5.setSlot(0x20000714);
    EXPECT_TRUE(SavedFrame::write(endpoint(), r5, "5a5a5a5a"));
    EXPECT_EQ(std::vector<std::string>{"$M20000714,4:5a5a5a5a#cd"}, server().receivedLog());
}

TEST_F(SavedFrameIntegration, AWriteTheServerRefusesFails) {
    server().serve(FakeRspPeer::replies({{"M20000714,4:5a5a5a5a", "E01"}}));
    Register r5(RegisterId::REG_R5, 0xa5a5a5a5, 0);
    r5.setSlot(0x20000714);
    EXPECT_FALSE(SavedFrame::write(endpoint(), r5, "5a5a5a5a"));
}

TEST_F(SavedFrameIntegration, ARegisterWithoutAWordSendsNothing) {
    Register sp(RegisterId::REG_SP, 0x20000740, 0);
    EXPECT_FALSE(SavedFrame::write(endpoint(), sp, "00080020"));
    EXPECT_TRUE(server().quietFor(50));
    EXPECT_TRUE(server().receivedLog().empty());
}

} // namespace
