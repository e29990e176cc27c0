#include "proxy/TargetDescriptionWatch.h"

#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "SourceFile.h"
#include "UnconnectedEndpoints.h"
#include "target/RegisterId.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kMProfileXml = "tests/fixtures/targetxml/m-profile-inline.xml";
const std::string kAProfileXml = "tests/fixtures/targetxml/a-profile-inline.xml";
const std::string kFeaturesRequest = "qXfer:features:read:target.xml:";
const std::string kIncludingXml = "tests/fixtures/targetxml/xinclude.xml";
const std::string kMProfileAnnex =
    "<?xml version=\"1.0\"?><!DOCTYPE feature SYSTEM \"gdb-target.dtd\">"
    "<feature name=\"org.gnu.gdb.arm.m-profile\"><reg name=\"r0\" bitsize=\"32\"/>"
    "<reg name=\"pc\" bitsize=\"32\" type=\"code_ptr\"/><reg name=\"xpsr\" bitsize=\"32\" regnum=\"25\"/>"
    "</feature>";
const std::string kVfpAnnex =
    "<feature name=\"org.gnu.gdb.arm.vfp\"><reg name=\"d0\" bitsize=\"64\"/></feature>";

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

TEST(TargetDescriptionWatchIntegration, IncludedAnnexesAreReadInPiecesForTheRegisterOrder) {
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
    serverAnswers(rig, "qXfer:features:read:arm-m-profile.xml:0,3ff", "l" + kMProfileAnnex);
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

TEST(TargetDescriptionWatchIntegration, AMissingAnnexLeavesTheDescriptionOfTargetXmlAlone) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile(kIncludingXml));
    serveAnnex(rig, "arm-m-profile.xml", kMProfileAnnex, 0x400);
    serverAnswers(rig, "qXfer:features:read:arm-vfp.xml:0,400", "E00");
    // Nothing more is asked: the rest could not make the description whole.
    EXPECT_TRUE(rig.server().quietFor(100));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters().empty());
    EXPECT_EQ("Read target.xml. Failed reading arm-vfp.xml, switched-out tasks show no registers\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

TEST(TargetDescriptionWatchIntegration, InlineFeaturesNeedNoReadOfTheProxysOwn) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    readTargetXml(rig, testfiles::readSourceFile("tests/fixtures/targetxml/m-profile-inline.xml"));
    EXPECT_TRUE(rig.server().quietFor(100));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(34u,
              Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters().size());
}

TEST(TargetDescriptionWatchIntegration, TargetXmlInTwoChunksIsCollectedAndLoaded) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    const std::string xml = testfiles::readSourceFile(kMProfileXml);
    ASSERT_TRUE(rig.gdb().sendPacket(kFeaturesRequest + "0,3ff"));
    serverAnswers(rig, kFeaturesRequest + "0,3ff", "m" + xml.substr(0, 1023));
    EXPECT_EQ("m" + xml.substr(0, 1023), rig.gdb().nextPayload());
    ASSERT_TRUE(rig.gdb().sendPacket(kFeaturesRequest + "3ff,3ff"));
    serverAnswers(rig, kFeaturesRequest + "3ff,3ff", "l" + xml.substr(1023));
    EXPECT_EQ("l" + xml.substr(1023), rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(xml, Tarnwick::getInstance().getDescriptionWatch().getTargetXml());
    const std::vector<TargetDescription::Entry>& registers =
        Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters();
    ASSERT_EQ(34u, registers.size());
    EXPECT_EQ(RegisterId::REG_XPSR, registers[16].low);
    EXPECT_EQ(RegisterId::REG_FPSCR, registers[33].low);
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(TargetDescriptionWatchIntegration, ASecondReadingAppendsToTheFirst) {
    FakeRtosDriver driver;
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    const std::string xml = testfiles::readSourceFile(kAProfileXml);
    readTargetXml(rig, xml);
    readTargetXml(rig, xml);
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(xml + xml, Tarnwick::getInstance().getDescriptionWatch().getTargetXml());
    EXPECT_EQ(68u,
              Tarnwick::getInstance().getDescriptionWatch().getTargetDescription().getRegisters().size());
}

TEST(TargetDescriptionWatchIntegration, AnErrorChunkIsLoggedAndStillForwarded) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket(kFeaturesRequest + "0,3ff"));
    serverAnswers(rig, kFeaturesRequest + "0,3ff", "E01");
    EXPECT_EQ("E01", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("", Tarnwick::getInstance().getDescriptionWatch().getTargetXml());
    EXPECT_EQ("Read target.xml. Failed parse reply\nLost connection to GDB Client\n", rig.log());
}

TEST(TargetDescriptionWatchIntegration, AFeaturesReadForAnotherAnnexIsForwarded) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    for (const std::string request :
         {"qXfer:features:read:target.xml", "qXfer:features:read:target.xmlx:0,3ff"}) {
        ASSERT_TRUE(rig.gdb().sendPacket(request));
        EXPECT_EQ(framed(request), rig.server().nextRaw());
    }
    EXPECT_TRUE(rig.finish());
}

} // namespace
