#include "target/TargetDescription.h"

#include "SourceFile.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

std::string readFixture(const std::string& name) {
    return testfiles::readSourceFile("tests/fixtures/targetxml/" + name);
}

using Layout = std::vector<std::tuple<std::string, unsigned int, unsigned int>>;

// Name, GDB's number and width of each register, in g packet order.
Layout layoutOf(const TargetDescription& description) {
    Layout layout;
    for (const TargetDescription::Entry& entry : description.getRegisters()) {
        layout.emplace_back(entry.name, entry.number, entry.bytes);
    }
    return layout;
}

Layout profileLayout(const std::string& statusRegister, unsigned int doubles) {
    Layout layout;
    const char* const core[] = {"r0", "r1", "r2",  "r3",  "r4",  "r5", "r6", "r7",
                                "r8", "r9", "r10", "r11", "r12", "sp", "lr", "pc"};
    for (unsigned int n = 0; n < 16; ++n) {
        layout.emplace_back(core[n], n, 4);
    }
    layout.emplace_back(statusRegister, 25, 4);
    for (unsigned int n = 0; n < doubles; ++n) {
        layout.emplace_back("d" + std::to_string(n), 26 + n, 8);
    }
    layout.emplace_back("fpscr", 26 + doubles, 4);
    return layout;
}

// A Cortex-M4F task's saved registers, as its port hands them back.
RegisterList mProfileFrame() {
    RegisterList saved;
    const unsigned int values[] = {0x20000a40, 1,          2,          3,          0x04040404, 0x05050505,
                                   0x06060606, 0x200017f0, 0x08080808, 0x09090909, 0x10101010, 0x11111111,
                                   0xa5a5a5a5, 0x20001808, 0x08000a2d, 0x08000b4e};
    for (unsigned int n = 0; n < 13; ++n) {
        saved.addRegister(static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_R0) + n),
                          values[n]);
    }
    saved.addRegister(RegisterId::REG_SP, values[13]);
    saved.addRegister(RegisterId::REG_LR, values[14]);
    saved.addRegister(RegisterId::REG_PC, values[15]);
    saved.addRegister(RegisterId::REG_XPSR, 0x61000000);
    saved.addRegister(RegisterId::REG_LR_PENDSV, 0xfffffffd);
    return saved;
}

const std::string kMProfileCoreText = "400a0020"
                                      "01000000"
                                      "02000000"
                                      "03000000"
                                      "04040404"
                                      "05050505"
                                      "06060606"
                                      "f0170020"
                                      "08080808"
                                      "09090909"
                                      "10101010"
                                      "11111111"
                                      "a5a5a5a5"
                                      "08180020"
                                      "2d0a0008"
                                      "4e0b0008"
                                      "00000061";

} // namespace

TEST(TargetDescriptionTest, InlineMProfileGivesEveryRegisterByNameNumberAndWidth) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("m-profile-inline.xml")));
    EXPECT_EQ(profileLayout("xpsr", 16), layoutOf(description));
    EXPECT_EQ(RegisterId::REG_XPSR, description.getRegisters()[16].low);
    EXPECT_EQ(RegisterId::REG_S0, description.getRegisters()[17].low);
    EXPECT_EQ(RegisterId::REG_S1, description.getRegisters()[17].high);
    EXPECT_EQ(RegisterId::REG_FPSCR, description.getRegisters()[33].low);
}

TEST(TargetDescriptionTest, InlineAProfileGivesCpsrAndThirtyTwoDoubles) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("a-profile-inline.xml")));
    Layout layout = layoutOf(description);
    Layout expected = profileLayout("cpsr", 32);
    ASSERT_EQ(68u, layout.size());
    // This description also carries q0..q15 (numbers 58 to 73) before fpscr.
    EXPECT_EQ(Layout(expected.begin(), expected.end() - 1), Layout(layout.begin(), layout.begin() + 49));
    EXPECT_EQ(std::make_tuple(std::string("q0"), 58u, 16u), layout[49]);
    EXPECT_EQ(std::make_tuple(std::string("fpscr"), 74u, 4u), layout[65]);
    EXPECT_EQ(RegisterId::REG_CPSR, description.getRegisters()[16].low);
    // d16 and up are the words from REG_D16_LOW on, least significant first.
    EXPECT_EQ(RegisterId::REG_D16_LOW, description.getRegisters()[17 + 16].low);
    EXPECT_EQ(static_cast<RegisterId>(static_cast<unsigned int>(RegisterId::REG_D16_LOW) + 1),
              description.getRegisters()[17 + 16].high);
    EXPECT_EQ(RegisterId::REG_D31_HIGH, description.getRegisters()[17 + 31].high);
}

TEST(TargetDescriptionTest, FeaturesOnlyIncludedLeaveItEmpty) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("xinclude.xml")));
    EXPECT_TRUE(description.getRegisters().empty());
}

TEST(TargetDescriptionTest, TheQuoteStyleOfTheFeatureDoesNotMatter) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("m-profile-single-quotes.xml")));
    EXPECT_EQ(17u + 16u + 1u, description.getRegisters().size());
}

TEST(TargetDescriptionTest, NumbersRunOnFromTheRegisterBeforeAndTheOrderIsByNumber) {
    TargetDescription description;
    description.load("<feature><reg name='fpscr' bitsize='32' regnum='42'/><reg name=\"s0\" bitsize=\"32\"/>"
                     "<reg name=\"r0\" bitsize=\"32\" regnum=\"0\"/><reg name=\"r1\"/><regs/>"
                     "<reg bitsize=\"32\"/><reg\tname=\"msp\" bitsize=\"32\"/></feature>");
    EXPECT_EQ((Layout{{"r0", 0, 4}, {"r1", 1, 4}, {"msp", 2, 4}, {"fpscr", 42, 4}, {"s0", 43, 4}}),
              layoutOf(description));
    EXPECT_EQ(RegisterId::REG_NONE, description.getRegisters()[2].low);
    EXPECT_EQ(RegisterId::REG_S0, description.getRegisters()[4].low);
}

TEST(TargetDescriptionTest, LoadTwiceDoesNotDuplicate) {
    TargetDescription description;
    const std::string xml = readFixture("m-profile-inline.xml");
    description.load(xml);
    description.load(xml);
    EXPECT_EQ(34u, description.getRegisters().size());
    // A second reading of target.xml in one process hands over the doubled text; still one set.
    description.load(xml + xml);
    EXPECT_EQ(profileLayout("xpsr", 16), layoutOf(description));
    description.load(readFixture("xinclude.xml"));
    EXPECT_TRUE(description.getRegisters().empty());
}

TEST(TargetDescriptionTest, FindRegisterByGdbsNumber) {
    TargetDescription description;
    description.load(readFixture("m-profile-inline.xml"));
    TargetDescription::Entry entry;
    ASSERT_TRUE(description.findRegister(26, entry));
    EXPECT_EQ("d0", entry.name);
    EXPECT_FALSE(description.findRegister(16, entry));
    EXPECT_EQ("d0", entry.name);
}

TEST(TargetDescriptionTest, SavedFrameOfAnMProfileTaskMakesTheGReply) {
    TargetDescription description;
    description.load(readFixture("m-profile-inline.xml"));
    EXPECT_EQ(kMProfileCoreText + std::string(2 * (200 - 68), 'x'),
              description.encodeAll(mProfileFrame(), 200));
}

TEST(TargetDescriptionTest, DoublesAreTwoSinglesLeastSignificantFirstAndWholeOrUnavailable) {
    TargetDescription description;
    description.load(readFixture("m-profile-inline.xml"));
    RegisterList saved = mProfileFrame();
    saved.addRegister(RegisterId::REG_S0, 0x3f800000);
    saved.addRegister(RegisterId::REG_S1, 0x40000000);
    saved.addRegister(RegisterId::REG_S2, 0x40400000);
    saved.addRegister(RegisterId::REG_FPSCR, 0x03000000);
    EXPECT_EQ(kMProfileCoreText + "0000803f00000040" + std::string(15 * 16, 'x') + "00000003",
              description.encodeAll(saved, 200));
}

TEST(TargetDescriptionTest, TheReplyIsCutAtTheLastWholeRegisterAndFilledAsUnavailable) {
    TargetDescription description;
    description.load(readFixture("m-profile-inline.xml"));
    EXPECT_EQ(kMProfileCoreText.substr(0, 16) + "xx", description.encodeAll(mProfileFrame(), 9));
    EXPECT_EQ("", description.encodeAll(mProfileFrame(), 0));
    EXPECT_EQ("xxxxxx", description.encodeAll(mProfileFrame(), 3));
}

TEST(TargetDescriptionTest, MProfileValuesOnAnAProfileDescriptionLeaveTheStatusUnavailable) {
    TargetDescription description;
    description.load(readFixture("a-profile-inline.xml"));
    RegisterList saved;
    saved.addRegister(RegisterId::REG_PC, 0x60001000);
    saved.addRegister(RegisterId::REG_XPSR, 0x61000000);
    EXPECT_EQ(std::string(15 * 8, 'x') + "00100060" + "xxxxxxxx" + std::string(2 * 20, 'x'),
              description.encodeAll(saved, 88));
}

TEST(TargetDescriptionTest, WithoutRegistersTheReplyIsAllUnavailable) {
    TargetDescription description;
    description.load(readFixture("xinclude.xml"));
    RegisterList saved({RegisterId::REG_R0, RegisterId::REG_PC});
    EXPECT_EQ(std::string(2 * 168, 'x'), description.encodeAll(saved, 168));
}

TEST(TargetDescriptionTest, ARegisterOfAnotherWidthThanItsWordsIsUnavailable) {
    TargetDescription description;
    description.load("<reg name=\"r0\" bitsize=\"64\"/>");
    RegisterList saved;
    saved.addRegister(RegisterId::REG_R0, 1);
    EXPECT_EQ(std::string(16, 'x'), TargetDescription::encode(description.getRegisters()[0], saved));
}
