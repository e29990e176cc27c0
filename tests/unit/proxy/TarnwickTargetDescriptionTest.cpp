#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestValues.h"
#include "SourceFile.h"
#include "UnconnectedEndpoints.h"
#include "target/RegisterId.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kIncludingXml = "tests/fixtures/targetxml/xinclude.xml";
const std::string kMProfileAnnex =
    "<?xml version=\"1.0\"?><!DOCTYPE feature SYSTEM \"gdb-target.dtd\">"
    "<feature name=\"org.gnu.gdb.arm.m-profile\"><reg name=\"r0\" bitsize=\"32\"/>"
    "<reg name=\"pc\" bitsize=\"32\" type=\"code_ptr\"/><reg name=\"xpsr\" bitsize=\"32\" regnum=\"25\"/>"
    "</feature>";
const std::string kVfpAnnex =
    "<feature name=\"org.gnu.gdb.arm.vfp\"><reg name=\"d0\" bitsize=\"64\"/></feature>";

// GDB reads target.xml in one piece, and gets it unchanged.
void readTargetXml(ProxyRig& rig, const std::string& xml) {
    const std::string request = "qXfer:features:read:target.xml:0,3ff";
    ASSERT_TRUE(rig.gdb().sendPacket(request));
    ASSERT_EQ(request, rig.server().nextPayload());
    ASSERT_TRUE(rig.server().sendPacket("l" + xml));
    ASSERT_EQ("l" + xml, rig.gdb().nextPayload());
}

// The proxy's own read of one annex, answered in pieces.
void serveAnnex(ProxyRig& rig, const std::string& annex, const std::string& text, std::size_t piece) {
    for (std::size_t offset = 0; offset < text.size(); offset += piece) {
        char offsets[32];
        std::snprintf(offsets, sizeof(offsets), ":%zx,400", offset);
        ASSERT_EQ("qXfer:features:read:" + annex + offsets, rig.server().nextPayload());
        bool last = offset + piece >= text.size();
        ASSERT_TRUE(rig.server().sendPacket((last ? "l" : "m") + text.substr(offset, piece)));
    }
}

TEST(TarnwickTargetDescriptionIntegration, IncludedAnnexesAreReadInPiecesForTheRegisterOrder) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    const std::string xml = testfiles::readSourceFile(kIncludingXml);
    readTargetXml(rig, xml);
    serveAnnex(rig, "arm-m-profile.xml", kMProfileAnnex, 100);
    serveAnnex(rig, "arm-vfp.xml", kVfpAnnex, 0x400);
    serveAnnex(rig, "system-registers.xml", "<feature name=\"org.gnu.gdb.arm.sys\"></feature>", 0x400);
    // The annexes GDB then reads itself pass as they are.
    ASSERT_TRUE(rig.gdb().sendPacket("qXfer:features:read:arm-m-profile.xml:0,3ff"));
    EXPECT_EQ("qXfer:features:read:arm-m-profile.xml:0,3ff", rig.server().nextPayload());
    ASSERT_TRUE(rig.server().sendPacket("l" + kMProfileAnnex));
    EXPECT_EQ("l" + kMProfileAnnex, rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(xml, Tarnwick::getInstance().getDescriptionWatch().getTargetXml());
    // By name and number, as the annexes give them: pc right behind r0 here, d0 behind xpsr.
    const std::vector<TargetDescription::Entry>& registers =
        Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters();
    ASSERT_EQ(4u, registers.size());
    EXPECT_EQ(RegisterId::REG_R0, registers[0].low);
    EXPECT_EQ(RegisterId::REG_PC, registers[1].low);
    EXPECT_EQ(1u, registers[1].number);
    EXPECT_EQ(RegisterId::REG_XPSR, registers[2].low);
    EXPECT_EQ(25u, registers[2].number);
    EXPECT_EQ("d0", registers[3].name);
    EXPECT_EQ(26u, registers[3].number);
    EXPECT_EQ(8u, registers[3].bytes);
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(TarnwickTargetDescriptionIntegration, AMissingAnnexLeavesTheDescriptionOfTargetXmlAlone) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile(kIncludingXml));
    serveAnnex(rig, "arm-m-profile.xml", kMProfileAnnex, 0x400);
    EXPECT_EQ("qXfer:features:read:arm-vfp.xml:0,400", rig.server().nextPayload());
    ASSERT_TRUE(rig.server().sendPacket("E00"));
    // Nothing more is asked: the rest could not make the description whole.
    EXPECT_TRUE(rig.server().quietFor(100));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters().empty());
    EXPECT_EQ("Read target.xml. Failed reading arm-vfp.xml, switched-out tasks show no registers\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

TEST(TarnwickTargetDescriptionIntegration, InlineFeaturesNeedNoReadOfTheProxysOwn) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile("tests/fixtures/targetxml/m-profile-inline.xml"));
    EXPECT_TRUE(rig.server().quietFor(100));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(34u,
              Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters().size());
}

} // namespace
