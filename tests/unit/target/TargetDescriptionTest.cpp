#include "target/TargetDescription.h"

#include "SourceFile.h"

#include <utility>

#include <gtest/gtest.h>

namespace {

std::string readFixture(const std::string& name) {
    return testfiles::readSourceFile("tests/fixtures/targetxml/" + name);
}

using Layout = std::vector<std::pair<RegisterId, unsigned int>>;

Layout layoutOf(const TargetDescription& description) {
    Layout layout;
    for (const Register& reg : description.getRegisters()) {
        layout.emplace_back(reg.getId(), reg.getRegNumber());
    }
    return layout;
}

Layout profileLayout(RegisterId statusRegister) {
    return {{RegisterId::REG_R0, 0},   {RegisterId::REG_R1, 1},   {RegisterId::REG_R2, 2},
            {RegisterId::REG_R3, 3},   {RegisterId::REG_R4, 4},   {RegisterId::REG_R5, 5},
            {RegisterId::REG_R6, 6},   {RegisterId::REG_R7, 7},   {RegisterId::REG_R8, 8},
            {RegisterId::REG_R9, 9},   {RegisterId::REG_R10, 10}, {RegisterId::REG_R11, 11},
            {RegisterId::REG_R12, 12}, {RegisterId::REG_SP, 13},  {RegisterId::REG_LR, 14},
            {RegisterId::REG_PC, 15},  {statusRegister, 25}};
}

} // namespace

TEST(TargetDescriptionTest, InlineMProfileGivesTheSeventeenRegistersWithXpsr) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("m-profile-inline.xml")));
    EXPECT_EQ(profileLayout(RegisterId::REG_XPSR), layoutOf(description));
}

TEST(TargetDescriptionTest, InlineAProfileGivesTheSeventeenRegistersWithCpsr) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("a-profile-inline.xml")));
    EXPECT_EQ(profileLayout(RegisterId::REG_CPSR), layoutOf(description));
}

TEST(TargetDescriptionTest, FeaturesOnlyIncludedLeaveItEmpty) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("xinclude.xml")));
    EXPECT_TRUE(description.getRegisters().empty());
}

TEST(TargetDescriptionTest, SingleQuotedFeatureDoesNotMatch) {
    TargetDescription description;
    EXPECT_TRUE(description.load(readFixture("m-profile-single-quotes.xml")));
    EXPECT_TRUE(description.getRegisters().empty());
}

TEST(TargetDescriptionTest, TagsThatDifferInAnyByteDoNotMatch) {
    const char* texts[] = {
        "<target><feature  name=\"org.gnu.gdb.arm.m-profile\"></feature></target>",
        "<target><feature name=\"org.gnu.gdb.arm.m-profile\" ></feature></target>",
        "<target><feature id=\"x\" name=\"org.gnu.gdb.arm.core\"></feature></target>",
        "<target><feature name=\"org.gnu.gdb.arm.m-profile-mve\"></feature></target>",
        "<target><feature name=\"org.gnu.gdb.arm.m-profile\"/></target>",
        "<feature name=\"org.gnu.gdb.arm.core\"",
        "",
    };
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        TargetDescription description;
        EXPECT_TRUE(description.load(text));
        EXPECT_TRUE(description.getRegisters().empty());
    }
}

TEST(TargetDescriptionTest, BothFeaturesTakeTheFirstInTheText) {
    const std::string mProfile = "<feature name=\"org.gnu.gdb.arm.m-profile\"><reg name=\"xpsr\"/></feature>";
    const std::string core = "<feature name=\"org.gnu.gdb.arm.core\"><reg name=\"cpsr\"/></feature>";
    TargetDescription description;
    description.load("<target>" + core + mProfile + "</target>");
    EXPECT_EQ(profileLayout(RegisterId::REG_CPSR), layoutOf(description));
    description.load("<target>" + mProfile + core + "</target>");
    EXPECT_EQ(profileLayout(RegisterId::REG_XPSR), layoutOf(description));
}

TEST(TargetDescriptionTest, LoadTwiceDoesNotDuplicate) {
    TargetDescription description;
    const std::string xml = readFixture("m-profile-inline.xml");
    description.load(xml);
    description.load(xml);
    EXPECT_EQ(17u, description.getRegisters().size());
    // A second reading of target.xml in one process hands over the doubled text; still one set.
    description.load(xml + xml);
    EXPECT_EQ(profileLayout(RegisterId::REG_XPSR), layoutOf(description));
    description.load(readFixture("xinclude.xml"));
    EXPECT_TRUE(description.getRegisters().empty());
}

TEST(TargetDescriptionTest, AddRegisterAppendsWithValueZero) {
    TargetDescription description;
    description.addRegister(RegisterId::REG_FPSCR, 42);
    description.addRegister(RegisterId::REG_R0, 0);
    ASSERT_EQ(2u, description.getRegisters().size());
    EXPECT_EQ(RegisterId::REG_FPSCR, description.getRegisters()[0].getId());
    EXPECT_EQ(42u, description.getRegisters()[0].getRegNumber());
    EXPECT_EQ(0u, description.getRegisters()[0].getValue());
    EXPECT_EQ(RegisterId::REG_R0, description.getRegisters()[1].getId());
}

TEST(TargetDescriptionTest, ApplyValuesCopiesByIdAndZeroesTheMissing) {
    TargetDescription description;
    description.load(readFixture("m-profile-inline.xml"));
    RegisterList first;
    first.addRegister(RegisterId::REG_SP, 0x20001808);
    first.addRegister(RegisterId::REG_PC, 0x08000b4e);
    ASSERT_TRUE(description.applyValues(first));
    RegisterList withoutSp;
    withoutSp.addRegister(RegisterId::REG_PC, 0x08000c00);
    withoutSp.addRegister(RegisterId::REG_CPSR, 0x600001d3);
    EXPECT_TRUE(description.applyValues(withoutSp));
    for (const Register& reg : description.getRegisters()) {
        SCOPED_TRACE(reg.getRegNumber());
        EXPECT_EQ(reg.getId() == RegisterId::REG_PC ? 0x08000c00u : 0u, reg.getValue());
    }
}

TEST(TargetDescriptionTest, ApplyValuesOnAnEmptyDescriptionDoesNothing) {
    TargetDescription description;
    RegisterList values({RegisterId::REG_R0, RegisterId::REG_SP});
    EXPECT_TRUE(description.applyValues(values));
    EXPECT_TRUE(description.getRegisters().empty());
}
