#include "proxy/MonitorCommand.h"

#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "UnconnectedEndpoints.h"
#include "rtos/RtosCommand.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::vector<std::string>>;

const std::string kCatalogueTabular = "Driver: freeRTOS\n"
                                      "Command             Description         \n"
                                      "state               Displays RTOS state \n"
                                      "\n";
const std::string kCatalogueJson = "{\n"
                                   "  \"rtosInfo\": {\n"
                                   "    \"rtosId\":\"freeRTOS\",\n"
                                   "    \"commands\": [\n"
                                   "      {\n"
                                   "        \"command\":\"state\",\n"
                                   "        \"description\":\"Displays RTOS state\"\n"
                                   "      },\n"
                                   "    ]\n"
                                   "  }\n"
                                   "}\n";
const std::string kStateTabular = "Driver : FreeRTOS\n\nTasks : 3\n\n";
const std::string kStateTree = "State:\n Driver:FreeRTOS\n Tasks:3\n";
const std::string kStateJson = "{\"label\":\"State\",\"value\":[{\"label\":\"Driver\",\"value\":\"FreeRTOS\"}"
                               ",{\"label\":\"Tasks\",\"value\":\"3\"}]}";

// A driver with the one command "state" in its catalogue, which prints a small state tree.
void scriptStateCommand(FakeRtosDriver& driver) {
    driver.catalogue = RtosInfo("freeRTOS", {RtosCommand("state", "Displays RTOS state", {{"", ""}})});
    KernelInfoNode root(0, "", "State");
    root.addChild(KernelInfoNode(0, "FreeRTOS", "Driver"));
    root.addChild(KernelInfoNode(0, "3", "Tasks"));
    driver.commandOutput = root;
}

std::string monitor(const std::string& command) {
    return "qRcmd," + hexOf(command);
}

TEST(MonitorCommandIntegration, RtosDashMStateRunsTheDriverAndAnswersJsonInOnePacket) {
    FakeRtosDriver driver;
    scriptStateCommand(driver);
    driver.reads[FakeRtosDriver::kCallRunCommand] = {0x20000104};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("qRcmd,72746f73202d6d207374617465"));
    serverAnswers(rig, "m20000104,4", "01000000");
    EXPECT_EQ(hexOf(kStateJson + "\n"), rig.gdb().nextPayload());
    EXPECT_TRUE(rig.gdb().quietFor(50)) << "no OK and no console packets follow";
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(Words{{"state"}}, driver.commandWords());
    EXPECT_EQ(std::vector<RspClient*>{rig.serverEndpoint()}, driver.endpoints());
    EXPECT_EQ(std::vector<std::string>{framed("m20000104,4")}, rig.server().receivedLog());
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(MonitorCommandIntegration, ACommandForTheServerPassesBothWays) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket("qRcmd,72657365742068616c74"));
    EXPECT_EQ(framed("qRcmd,72657365742068616c74"), rig.server().nextRaw());
    ASSERT_TRUE(rig.server().sendPacket("OK"));
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(MonitorCommandIntegration, OnlyTheExactKeywordIsTheProxys) {
    FakeRtosDriver driver;
    scriptStateCommand(driver);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    for (const std::string& packet : {std::string("qRcmd,"), monitor("rtosx"), monitor("Rtos"),
                                      monitor("RTOS state"), monitor(" rtos"), std::string("qRcmdX")}) {
        SCOPED_TRACE(packet);
        ASSERT_TRUE(rig.gdb().sendPacket(packet));
        EXPECT_EQ(framed(packet), rig.server().nextRaw());
    }
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(MonitorCommandIntegration, TheCatalogueWithoutACommandTabularOrJsonAndNothingAsATree) {
    FakeRtosDriver driver;
    scriptStateCommand(driver);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{monitor("rtos"), hexOf(kCatalogueTabular + "\n")},
                        {monitor("rtos -m"), hexOf(kCatalogueJson + "\n")},
                        {monitor("rtos -t"), "OK"}});
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.commandWords().empty());
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

TEST(MonitorCommandIntegration, OnlyTheWordBehindTheKeywordIsAnOption) {
    FakeRtosDriver driver;
    scriptStateCommand(driver);
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{monitor("rtos state"), hexOf(kStateTabular + "\n")},
                        {monitor("rtos -t state"), hexOf(kStateTree + "\n")},
                        {monitor("rtos -m -t"), hexOf(kStateJson + "\n")},
                        {monitor("rtos state -m"), hexOf(kStateTabular + "\n")},
                        {monitor("rtos -x"), hexOf(kStateTabular + "\n")},
                        {monitor("rtos  state"), hexOf(kStateTabular + "\n")}});
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ((Words{{"state"}, {"state"}, {"-t"}, {"state", "-m"}, {"-x"}, {"", "state"}}),
              driver.commandWords());
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

TEST(MonitorCommandIntegration, ACommandTheDriverRefusesPrintsItsFailure) {
    FakeRtosDriver driver;
    scriptStateCommand(driver);
    driver.commandResult = false;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ(hexOf("Failed to execute command\n"), rig.ask(monitor("rtos tasks")));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(MonitorCommandIntegration, AHundredKilobyteReplyArrivesWhole) {
    FakeRtosDriver driver;
    std::string log(100 * 1024, 'x');
    for (std::size_t i = 0; i < log.size(); i += 64) {
        log[i] = static_cast<char>('a' + (i / 64) % 26);
    }
    KernelInfoNode root;
    root.addChild(KernelInfoNode(0, log, "Trace"));
    driver.commandOutput = root;
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    ASSERT_TRUE(rig.gdb().sendPacket(monitor("rtos trace")));
    EXPECT_EQ(hexOf("Trace : " + log + "\n\n\n"), rig.gdb().nextPayload(10000));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(1u, rig.gdb().receivedLog().size());
}

TEST(MonitorCommandIntegration, WithoutADriverTheOutputSaysSo) {
    // The dispatch refuses every packet without a driver, so the interceptor is called by hand.
    PeeredEndpoint gdb = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
    ASSERT_TRUE(gdb.endpoint);
    UnconnectedEndpoints unconnected;
    IRtosDriver* const noDriver = nullptr;
    MonitorCommand command(noDriver);
    UnconnectedEndpoints::receive(*gdb.endpoint, monitor("rtos state"));
    bool handled = false;
    EXPECT_TRUE(command.intercept_monitor(*gdb.endpoint, unconnected.server, handled));
    EXPECT_TRUE(handled);
    EXPECT_EQ(hexOf("No driver loaded\n"), gdb.peer->nextPayload());
    EXPECT_EQ(0, gdb.endpoint->getReceiveBuffer().getPacketLength()) << "the packet is consumed";
}

} // namespace
