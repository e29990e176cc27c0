#include "proxy/SymbolNegotiation.h"

#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "TestPaths.h"
#include "UnconnectedEndpoints.h"
#include "debuginfo/Symbol.h"
#include "debuginfo/SymbolTable.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Calls = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

const std::string kSchedulerRunning = "xSchedulerRunning";
const std::string kSchedulerRunningHex = "785363686564756c657252756e6e696e67";
const std::string kQueueRegistry = "xQueueRegistry";
const std::string kQueueRegistryHex = "7851756575655265676973747279";

// One structure in the dump tool's text shape.
const char* const kListDump =
    " <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)\n"
    "    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): xLIST\n"
    "    <34>   DW_AT_byte_size   : 20\n"
    " <2><3a>: Abbrev Number: 4 (DW_TAG_member)\n"
    "    <3b>   DW_AT_name        : (indirect string, offset: 0x1c1): uxNumberOfItems\n"
    "    <43>   DW_AT_data_member_location: 0\n"
    " <2><4e>: Abbrev Number: 0\n";

// A scratch folder holding the debug-info cache, removed with the object.
class ScratchCache {
public:
    ScratchCache() {
        char pattern[] = "/tmp/tarnwick-symbols-XXXXXX";
        if (mkdtemp(pattern) != nullptr) {
            folder = pattern;
        }
        path = folder + "/program.proxy_cache";
    }
    ~ScratchCache() {
        std::remove(path.c_str());
        rmdir(folder.c_str());
    }
    std::string folder;
    std::string path;
};

// A writer for a FIFO: opens it once a reader waits at the other end, or gives up after the time-out.
int openWhenRead(const std::string& fifo, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int descriptor = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
        if (descriptor >= 0 || errno != ENXIO || Clock::now() > deadline) {
            return descriptor;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool lookup(const std::string& name, std::string& address) {
    Symbol symbol;
    if (!SymbolTable::getInstance().lookupSymbol(name, symbol)) {
        return false;
    }
    address = symbol.getAddress();
    return true;
}

// A rig whose driver asks for names.
class SymbolSession {
public:
    explicit SymbolSession(const std::vector<std::string>& names,
                           unsigned int logLevel = ProxyRig::kAllSeverities)
        : rig((driver.symbols = names, driver), logLevel) {}

    // GDB offers to look symbols up; the proxy asks for the first name.
    void offer() {
        ASSERT_TRUE(rig.gdb().sendPacket("qSymbol::"));
        EXPECT_EQ("qSymbol:" + hexOf(driver.symbols.front()), rig.gdb().nextPayload());
    }
    // One negotiation of a driver that asks for one name, which GDB answers with address (empty: the
    // program has no such symbol).
    void negotiateOne(const std::string& address) {
        offer();
        ASSERT_TRUE(rig.gdb().sendPacket("qSymbol:" + address + ":" + hexOf(driver.symbols.front())));
        EXPECT_EQ("OK", rig.gdb().nextPayload());
    }

    FakeRtosDriver driver;
    ProxyRig rig;
};

TEST(SymbolNegotiationIntegration, TheWorkedExchangeAsksEachNameOnceAndAnswersOkBeforeTheLayouts) {
    ScratchCache cache;
    ASSERT_EQ(0, mkfifo(cache.path.c_str(), 0600));
    FakeRtosDriver driver;
    driver.symbols = {kSchedulerRunning, kQueueRegistry};
    driver.structures = {"xLIST"};
    // Only the file's time is read: older than the cache, so the cache stands and no dump is made.
    const std::string program = testpaths::sourceDir() + "/tests/fixtures/targetxml/m-profile-inline.xml";
    ProxyRig rig(driver, ProxyRig::kAllSeverities, {"--debug_info_cache", cache.path, "--file", program});
    ASSERT_TRUE(rig.ready());

    ASSERT_TRUE(rig.gdb().sendPacket("qSymbol::"));
    EXPECT_EQ("qSymbol:" + kSchedulerRunningHex, rig.gdb().nextPayload());
    ASSERT_TRUE(rig.gdb().sendPacket("qSymbol:20000104:" + kSchedulerRunningHex));
    EXPECT_EQ("qSymbol:" + kQueueRegistryHex, rig.gdb().nextPayload());
    ASSERT_TRUE(rig.gdb().sendPacket("qSymbol::" + kQueueRegistryHex));
    EXPECT_EQ("OK", rig.gdb().nextPayload());

    // The proxy now waits at the cache, a FIFO, for the dump: GDB has its "OK" before any layout is read.
    int writer = openWhenRead(cache.path, 2000);
    ASSERT_GE(writer, 0) << "the layouts were never read";
    const std::string dump = kListDump;
    EXPECT_EQ(static_cast<ssize_t>(dump.size()), write(writer, dump.data(), dump.size()));
    close(writer);

    // The next thread query waits behind the layouts.
    EXPECT_EQ("m1", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());

    std::string address;
    EXPECT_TRUE(lookup(kSchedulerRunning, address));
    EXPECT_EQ("20000104", address);
    EXPECT_FALSE(lookup(kQueueRegistry, address));
    StructInfo list;
    EXPECT_TRUE(SymbolTable::getInstance().lookupStruct("xLIST", list));
    EXPECT_EQ(20u, list.getSize());
    EXPECT_TRUE(rig.server().receivedLog().empty()) << "the server sees nothing of the negotiation";
    EXPECT_EQ((Calls{FakeRtosDriver::kCallInitServer, FakeRtosDriver::kCallGetSymbols,
                     FakeRtosDriver::kCallGetDataStructures}),
              driver.calls());
    EXPECT_EQ(std::vector<RspClient*>{rig.serverEndpoint()}, driver.endpoints());
    EXPECT_EQ("xSchedulerRunning:0x20000104\n"
              "xQueueRegistry:N/A\n"
              "SymbolTable::validDebugInfo(), True\n"
              "SymbolTable::resolveDataStructures(), <n> ms\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

TEST(SymbolNegotiationIntegration, ADriverThatAsksForNoSymbolsGetsOkAtOnceAndItsStructuresAsked) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("OK", rig.ask("qSymbol::"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ((Calls{FakeRtosDriver::kCallInitServer, FakeRtosDriver::kCallGetSymbols,
                     FakeRtosDriver::kCallGetDataStructures}),
              driver.calls());
    // An empty list of structures is not resolved: no line of the resolution.
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(SymbolNegotiationIntegration, AnAcknowledgementInPlaceOfAReplyLosesThatSymbolOnly) {
    SymbolSession session({kSchedulerRunning, kQueueRegistry});
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    session.offer();
    ASSERT_TRUE(rig.gdb().sendRaw("+"));
    EXPECT_EQ("qSymbol:" + kQueueRegistryHex, rig.gdb().nextPayload());
    ASSERT_TRUE(rig.gdb().sendPacket("qSymbol:20000200:" + kQueueRegistryHex));
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    std::string address;
    EXPECT_FALSE(lookup(kSchedulerRunning, address));
    EXPECT_TRUE(lookup(kQueueRegistry, address));
    EXPECT_EQ("Symbol lookup. Reply failure\n"
              "xQueueRegistry:0x20000200\n"
              "Lost connection to GDB Client\n",
              rig.log());
}

TEST(SymbolNegotiationIntegration, ALateReplyIsTakenForTheNextNameAndTheWorkEnds) {
    SymbolSession session({kSchedulerRunning, kQueueRegistry});
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    session.offer();
    auto asked = Clock::now();
    // GDB is slow: the proxy gives the first name up after its second and asks the next.
    EXPECT_EQ("qSymbol:" + kQueueRegistryHex, rig.gdb().nextPayload(3000));
    auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - asked).count();
    EXPECT_GE(waited, 950);
    EXPECT_LT(waited, 1500);
    ASSERT_TRUE(rig.gdb().sendPacket("qSymbol:20000104:" + kSchedulerRunningHex));
    EXPECT_EQ("OK", rig.gdb().nextPayload());
    ASSERT_TRUE(rig.ended());
    EXPECT_FALSE(rig.finish());
    std::string address;
    EXPECT_FALSE(lookup(kSchedulerRunning, address));
    EXPECT_EQ("Symbol lookup. No reply\n"
              "Symbol lookup. Unexpected reply\n"
              "failure qSymbol::\n"
              "Packet intercept failed: GDB Client to: GDB Server\n"
              "Failed handle packet from: GDB Client to: GDB Server\n",
              rig.log());
    // A failed negotiation resolves no structures.
    EXPECT_EQ((Calls{FakeRtosDriver::kCallInitServer, FakeRtosDriver::kCallGetSymbols}), driver.calls());
}

TEST(SymbolNegotiationIntegration, QSymbolWithoutTheSecondColonOrWithMoreBehindItGoesToTheServer) {
    FakeRtosDriver driver;
    driver.symbols = {kSchedulerRunning};
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    for (const std::string& packet :
         {"qSymbol:20000104:" + kSchedulerRunningHex, "qSymbol::" + kQueueRegistryHex}) {
        ASSERT_TRUE(rig.gdb().sendPacket(packet));
        EXPECT_EQ(framed(packet), rig.server().nextRaw());
    }
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(SymbolNegotiationIntegration, AFailedDriverInitStillClosesWithOkAndThenStops) {
    FakeRtosDriver driver;
    driver.symbols = {kSchedulerRunning};
    driver.initServerResult = false;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("OK", rig.ask("qSymbol::"));
    ASSERT_TRUE(rig.ended());
    EXPECT_FALSE(rig.finish());
    EXPECT_EQ(Calls{FakeRtosDriver::kCallInitServer}, driver.calls());
    EXPECT_EQ("Failed initialize rtos driver\n"
              "failure qSymbol::\n"
              "Packet intercept failed: GDB Client to: GDB Server\n"
              "Failed handle packet from: GDB Client to: GDB Server\n",
              rig.log());
}

TEST(SymbolNegotiationIntegration, EveryOfferAsksAgainAndTheNewAddressReplacesTheOld) {
    SymbolSession session({kSchedulerRunning}, 7);
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    for (const char* address : {"20000104", "20000999"}) {
        session.negotiateOne(address);
    }
    EXPECT_TRUE(rig.finish());
    std::string address;
    EXPECT_TRUE(lookup(kSchedulerRunning, address));
    EXPECT_EQ("20000999", address);
    EXPECT_EQ((Calls{FakeRtosDriver::kCallInitServer, FakeRtosDriver::kCallGetSymbols,
                     FakeRtosDriver::kCallGetDataStructures, FakeRtosDriver::kCallInitServer,
                     FakeRtosDriver::kCallGetSymbols, FakeRtosDriver::kCallGetDataStructures}),
              session.driver.calls());
}

TEST(SymbolNegotiationIntegration, ANameTheNewProgramLacksIsForgotten) {
    SymbolSession session({kSchedulerRunning}, 7);
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    session.negotiateOne("20000104");
    session.negotiateOne("");
    EXPECT_TRUE(rig.finish());
    std::string address;
    EXPECT_FALSE(lookup(kSchedulerRunning, address));
}

TEST(SymbolNegotiationIntegration, TheThreadListStandsUntilTheNextStopWalksWithTheNewAddresses) {
    FakeRtosDriver driver;
    useTwoTaskSnapshot(driver);
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    rig.stop("T05");
    EXPECT_EQ("m20000810,20000a40", rig.ask("qfThreadInfo"));
    driver.threads = {TargetThread(0x20000c00, 0x20000b00, true, "main")};
    EXPECT_EQ("OK", rig.ask("qSymbol::"));
    EXPECT_EQ("m20000810,20000a40", rig.ask("qfThreadInfo"));
    EXPECT_EQ("T05thread:20000c00;", rig.stop("T05"));
    EXPECT_EQ("m20000c00", rig.ask("qfThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ((Calls{FakeRtosDriver::kCallCheckKernelRunning, FakeRtosDriver::kCallGetThreads,
                     FakeRtosDriver::kCallInitServer, FakeRtosDriver::kCallGetSymbols,
                     FakeRtosDriver::kCallGetDataStructures, FakeRtosDriver::kCallCheckKernelRunning,
                     FakeRtosDriver::kCallGetThreads}),
              driver.calls());
}

} // namespace
