#include "proxy/ThreadQueries.h"
#include "base/NumberCodec.h"

#include "proxy/Tarnwick.h"

#include "ProxyRig.h"
#include "ProxyTestHelpers.h"
#include "TwoTaskSession.h"
#include "UnconnectedEndpoints.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::string kTwoTaskXml = "<?xml version=\"1.0\"?><threads>"
                                "<thread id=\"20000a40\" name=\"IDLE\">RUNNING</thread>"
                                "<thread id=\"20000810\" name=\"Tmr Svc\"></thread></threads>";

TEST(ThreadQueriesIntegration, TheWorkedExchangeIsAnsweredFromTheSnapshot) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"qfThreadInfo", "m20000810,20000a40"},
                        {"qsThreadInfo", "l"},
                        {"qThreadExtraInfo,20000a40", "49444c452052554e4e494e47"},
                        {"T20000810", "OK"},
                        {"T1", "E17"},
                        {"qC", "QC20000a40"},
                        {"Hg20000810", "OK"}});
    unsigned int selected = 0;
    EXPECT_TRUE(Tarnwick::getInstance().getThreadSelection().get("g", selected));
    EXPECT_EQ(0x20000810u, selected);
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
    EXPECT_TRUE(session.driver.calls().empty());
}

TEST(ThreadQueriesIntegration, TheThreadDocumentComesWholeInOneReply) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("l" + kTwoTaskXml, rig.ask("qXfer:threads:read::0,fff"));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

TEST(ThreadQueriesIntegration, AReplyExactlyAsLongAsAskedIsSent) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    char length[16];
    std::snprintf(length, sizeof(length), "%zx", kTwoTaskXml.size() + 1);
    EXPECT_EQ("l" + kTwoTaskXml, rig.ask("qXfer:threads:read::0," + std::string(length)));
    EXPECT_TRUE(rig.finish());
}

TEST(ThreadQueriesIntegration, ADocumentLongerThanAskedComesInPiecesThatFitTogether) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    const std::size_t piece = 0x20;
    std::string document;
    std::string reply;
    for (std::size_t offset = 0; reply.empty() || reply[0] == 'm'; offset += piece) {
        char request[64];
        std::snprintf(request, sizeof(request), "qXfer:threads:read::%zx,%zx", offset, piece);
        reply = rig.ask(request);
        ASSERT_FALSE(reply.empty());
        EXPECT_EQ(offset + piece < kTwoTaskXml.size() ? 'm' : 'l', reply[0]) << request;
        document += reply.substr(1);
    }
    EXPECT_EQ(kTwoTaskXml, document);
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
    EXPECT_EQ("Reply: S Signal: 5\nReply: T Signal: 5\nLost connection to GDB Client\n", rig.log());
}

TEST(ThreadQueriesIntegration, AnyOffsetIsAnsweredAndNoneEndsTheSession) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    char request[64];
    std::snprintf(request, sizeof(request), "qXfer:threads:read::%zx,100", kTwoTaskXml.size() - 10);
    EXPECT_EQ("l" + kTwoTaskXml.substr(kTwoTaskXml.size() - 10), rig.ask(request));
    std::snprintf(request, sizeof(request), "qXfer:threads:read::%zx,100", kTwoTaskXml.size());
    expectReplies(rig, {{request, "l"},
                        {"qXfer:threads:read::10000,100", "l"},
                        {"qXfer:threads:read::10,5", "m" + kTwoTaskXml.substr(0x10, 5)},
                        {"qC", "QC20000a40"}});
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
    EXPECT_TRUE(session.driver.calls().empty()) << "one snapshot for the whole stop";
}

TEST(ThreadQueriesIntegration, WithoutAKernelEveryQuerySeesThreadOne) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    expectReplies(rig, {{"qfThreadInfo", "m1"},
                        {"qsThreadInfo", "l"},
                        {"qC", "QC1"},
                        {"T1", "OK"},
                        {"T2", "E17"},
                        {"qThreadExtraInfo,1", "312052554e4e494e47"},
                        {"qThreadExtraInfo,2", ""}});
    EXPECT_EQ("l<?xml version=\"1.0\"?><threads><thread id=\"1\" name=\"1\">RUNNING</thread></threads>",
              rig.ask("qXfer:threads:read::0,fff"));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(rig.server().receivedLog().empty());
    EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
}

TEST(ThreadQueriesIntegration, PacketsTheParsersRefuseGoToTheServer) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    // qCRC reaches the qC handler by its prefix; an empty id; "T" alone; an id that is no number.
    const std::vector<std::string> packets = {"qCRC:8000000,100", "qThreadExtraInfo,",    "T", "Hp1.2",
                                              "qfThreadInfoX",    "qXfer:threads:read::0"};
    for (const std::string& packet : packets) {
        ASSERT_TRUE(rig.gdb().sendPacket(packet));
        EXPECT_EQ(framed(packet), rig.server().nextRaw());
    }
    EXPECT_TRUE(rig.gdb().quietFor(50));
    EXPECT_TRUE(rig.finish());
    unsigned int selected = 0;
    EXPECT_FALSE(Tarnwick::getInstance().getThreadSelection().get("p", selected));
    // The conversion speaks for the empty id it cannot read.
    EXPECT_EQ("RspUtil::toUINT32(), failure: \nLost connection to GDB Client\n", rig.log());
}

TEST(ThreadQueriesIntegration, QsThreadInfoBeforeAnyQfThreadInfoEndsTheListAndReadsNothing) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    FakeRtosDriver& driver = session.driver;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("l", rig.ask("qsThreadInfo"));
    EXPECT_TRUE(rig.finish());
    EXPECT_TRUE(driver.calls().empty());
}

TEST(ThreadQueriesIntegration, AllIdsGoInOneReplyInAscendingOrder) {
    FakeRtosDriver driver;
    std::string expected = "m";
    for (unsigned int i = 300; i > 0; --i) {
        driver.threads.push_back(TargetThread(0x20000000 + i * 0x100, 0, i == 150, ""));
    }
    for (unsigned int i = 1; i <= 300; ++i) {
        char id[16];
        std::snprintf(id, sizeof(id), "%x", 0x20000000 + i * 0x100);
        expected += std::string(i == 1 ? "" : ",") + id;
    }
    ProxyRig rig(driver, 7);
    ASSERT_TRUE(rig.ready());
    rig.passFirstStop();
    EXPECT_EQ("T05thread:20009600;", rig.stop("T05"));
    EXPECT_EQ(expected, rig.ask("qfThreadInfo"));
    EXPECT_EQ("l", rig.ask("qsThreadInfo"));
    EXPECT_TRUE(rig.finish());
}

TEST(ThreadQueriesIntegration, EveryHIsTakenAndStoredUnchecked) {
    FakeRtosDriver driver;
    ProxyRig rig(driver);
    ASSERT_TRUE(rig.ready());
    struct Row {
        std::string packet;
        std::string operation;
        unsigned int id;
    };
    const Row rows[] = {
        {"Hc-1", "c", 0xFFFFFFFFu}, {"Hg0", "g", 0}, {"Hg2000dead", "g", 0x2000dead}, {"Hm5", "m", 5}};
    for (const Row& row : rows) {
        EXPECT_EQ("OK", rig.ask(row.packet));
    }
    EXPECT_TRUE(rig.finish());
    // The latest one of each operation stands, and no operation's selection touches another's.
    const ThreadSelection& selection = Tarnwick::getInstance().getThreadSelection();
    const std::pair<const char*, unsigned int> expected[] = {{"c", 0xFFFFFFFFu}, {"g", 0x2000dead}, {"m", 5}};
    for (const auto& entry : expected) {
        unsigned int selected = 0;
        EXPECT_TRUE(selection.get(entry.first, selected)) << entry.first;
        EXPECT_EQ(entry.second, selected) << entry.first;
    }
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

TEST(ThreadQueriesIntegration, AnHcAfterAnHgLeavesTheSelectionForG) {
    TwoTaskSession session;
    ProxyRig& rig = session.rig;
    ASSERT_TRUE(rig.ready());
    EXPECT_EQ("OK", rig.ask("Hg20000810"));
    EXPECT_EQ("OK", rig.ask("Hc20000a40"));
    // The g that follows is still for the switched-out thread: the driver answers, not the server.
    ASSERT_TRUE(rig.gdb().sendPacket("g"));
    EXPECT_EQ("", rig.gdb().nextPayload());
    EXPECT_TRUE(rig.finish());
    EXPECT_EQ(std::vector<unsigned int>{0x20000810}, session.driver.registerRequests());
    EXPECT_TRUE(rig.server().receivedLog().empty());
}

} // namespace
