// Kernel data that lies: list links that loop, counts and priorities of four billion, names without a
// terminator or with framing bytes in them, stack pointers into unmapped memory, a ThreadX list that never
// comes back to its head. A FreeRTOS list walk ends at its end marker, at a link seen before or past its
// count; a ThreadX ring at its head, at a link seen before or past the kernel's count and a margin; and
// either after 10,000 links whatever the count says.
#include "FaultyServer.h"
#include "KernelSession.h"
#include "RobustnessSteps.h"
#include "RspFrame.h"
#include "base/NumberCodec.h"
#include "base/StringUtil.h"

#include <gtest/gtest.h>

#include <string>

using namespace robustness;

namespace {

const char* const kFreertos = "freertos_snapshot.elf";
const char* const kThreadx = "threadx_state.elf";
const char* const kThreadxEdges = "threadx_edges.elf";
const std::string kLostGdb = "Lost connection to GDB Client\n";

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::string::size_type at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// GDB leaves and the session ends, having logged nothing but the warnings expected before that.
void expectEndAfter(KernelSession& session, const std::string& warnings = "") {
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(warnings + kLostGdb, session.log());
}

// The warning of a ThreadX created list cut at the thread at.
std::string createdListCut(std::uint32_t at, const std::string& why) {
    return "Walk of the created thread list cut short at " + StringUtil::to_string(at, 16, 8) + ": " + why +
           "\n";
}

// A ThreadX program behind a server whose memory the test falsifies.
struct ThreadxRig {
    ThreadxRig(const char* program, const char* variant, const std::vector<std::string>& options = {})
        : target(program),
          session(target, "threadx", variant, program, KernelSession::kDefaultLogLevel, options) {}
    FaultyServer target;
    KernelSession session;
};

class LyingFreertosIntegration : public ::testing::Test {
protected:
    FaultyServer target{kFreertos};
    // Every read counted here is one of the exact reads of a walk at every stop.
    KernelSession session{target,
                          "freertos",
                          "ARM_CM4F",
                          kFreertos,
                          KernelSession::kDefaultLogLevel,
                          KernelSession::exactReads()};

    std::uint32_t tcb(const char* name) { return session.address(name); }
    std::uint32_t stateItem(const char* name) {
        return KernelSession::member("tskTaskControlBlock", tcb(name), "xStateListItem");
    }
    std::uint32_t next(std::uint32_t item) { return KernelSession::member("xLIST_ITEM", item, "pxNext"); }
    std::uint32_t taskMember(const char* name, const char* memberName) {
        return KernelSession::member("tskTaskControlBlock", tcb(name), memberName);
    }
    std::string runningStop() { return "T05thread:" + hexId(tcb("xControlLoopTCB")) + ";"; }

    void expectLoopCut(std::uint32_t count) {
        ASSERT_TRUE(session.ready());
        unsigned plainReads = 0;
        std::string ids = baseline(plainReads);
        target.writeWord(session.address("xDelayedTaskList2"), count);
        target.writeWord(next(stateItem("xEventWaiterATCB")), stateItem("xTelemetryTCB"));
        unsigned before = target.memoryReads();
        EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
        EXPECT_EQ(plainReads, target.memoryReads() - before);
        EXPECT_EQ(ids, session.ask("qfThreadInfo"));
        EXPECT_TRUE(session.finish());
        EXPECT_EQ("Walk of the list at " +
                      StringUtil::to_string(session.address("xDelayedTaskList2"), 16, 8) + " cut short at " +
                      StringUtil::to_string(stateItem("xTelemetryTCB"), 16, 8) + ": a link seen before.\n" +
                      kLostGdb,
                  session.log());
    }

    void expectTopPriorityCut(std::uint32_t top) {
        ASSERT_TRUE(session.ready());
        unsigned plainReads = 0;
        std::string ids = baseline(plainReads);
        target.writeWord(session.address("uxTopUsedPriority"), top);
        unsigned before = target.memoryReads();
        EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
        EXPECT_EQ(plainReads, target.memoryReads() - before);
        EXPECT_EQ(ids, session.ask("qfThreadInfo"));
        EXPECT_TRUE(session.finish());
        EXPECT_EQ("Top priority " + std::to_string(top) + " beyond the 7 ready lists: walk cut short.\n" +
                      kLostGdb,
                  session.log());
    }

    // Negotiation, the first stop, and a second stop that walks the kernel as built; returns the thread
    // ids GDB is told, and the reads that stop cost.
    std::string baseline(unsigned& reads) {
        session.negotiate();
        session.passFirstStop();
        unsigned before = target.memoryReads();
        EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
        reads = target.memoryReads() - before;
        return session.ask("qfThreadInfo");
    }
};

} // namespace

// xDelayedTaskList2 holds two tasks; its count says five, or four billion, and the second links back to the
// first. The walk is cut at the link seen before, with one warning naming the list, and GDB gets every task
// once, at the cost of the plain walk; the target is never asked past it.
TEST_F(LyingFreertosIntegration, LinksThatLoopAreCutAtALinkSeenBefore) {
    expectLoopCut(5);
}

TEST_F(LyingFreertosIntegration, CountOfFourBillionOverALoopIsCutAtALinkSeenBefore) {
    expectLoopCut(0xffffffffu);
}

// A count of four billion over links that end: the null link ends the walk, and nothing is lost.
TEST_F(LyingFreertosIntegration, CountOfFourBillionEndsAtANullLink) {
    ASSERT_TRUE(session.ready());
    unsigned plainReads = 0;
    std::string ids = baseline(plainReads);
    target.writeWord(session.address("xDelayedTaskList2"), 0xffffffffu);
    target.writeWord(next(stateItem("xEventWaiterATCB")), 0);
    unsigned before = target.memoryReads();
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    EXPECT_EQ(plainReads, target.memoryReads() - before);
    EXPECT_EQ(ids, session.ask("qfThreadInfo"));
    expectEndAfter(session);
}

// A count of four billion over list items whose links never repeat (each word of the RAM from base on holds
// its own address, so that each item's link is the next item, four bytes on), on a target that never refuses
// a read: the walk stops after 10,000 items with one warning, whatever the count says; GDB still gets its
// stop reply.
TEST_F(LyingFreertosIntegration, CountOfFourBillionOverLinksThatNeverRepeatStopsAtTheHardCap) {
    ASSERT_TRUE(session.ready());
    unsigned plainReads = 0;
    baseline(plainReads);
    const std::uint32_t base = 0x20020000;
    for (std::uint32_t word = base; word < base + 4 * 10100; word += 4) {
        target.writeWord(word, word);
    }
    const std::uint32_t list = session.address("xDelayedTaskList2");
    target.writeWord(list, 0xffffffffu);
    target.writeWord(KernelSession::member("xLIST", list, "xListEnd") + 4, base);
    unsigned before = target.memoryReads();
    session.server().sendPacket("T05thread:1;");
    // Seconds, not the two a plain stop may take.
    EXPECT_EQ(runningStop(), session.gdb().nextPayload(60000));
    const unsigned reads = target.memoryReads() - before;
    // Six reads an item, 10,000 items in place of the list's two tasks.
    EXPECT_EQ(plainReads - 2u * 6u + 10000u * 6u, reads);
    EXPECT_TRUE(session.finish());
    EXPECT_EQ("Walk of the list at " + StringUtil::to_string(list, 16, 8) + " cut short at " +
                  StringUtil::to_string(base + 4 * 10000, 16, 8) + ": more links than the list can hold.\n" +
                  kLostGdb,
              session.log());
}

// A top priority beyond the ready lists the program has (seven, from the bound of pxReadyTasksLists in the
// debug information) is cut to them, with one warning: no read more than the plain walk, whether the word
// says 5,000 or four billion.
TEST_F(LyingFreertosIntegration, TopPriorityIsBoundedByTheReadyListsOfTheProgram) {
    expectTopPriorityCut(5000);
}

TEST_F(LyingFreertosIntegration, TopPriorityOfFourBillionIsBoundedByTheReadyListsOfTheProgram) {
    expectTopPriorityCut(0xffffffffu);
}

// A name without a terminator is cut to 19 characters.
TEST_F(LyingFreertosIntegration, NameWithoutATerminatorIsCut) {
    ASSERT_TRUE(session.startAtKernel());
    target.writeBytes(taskMember("xSleeperTCB", "pcTaskName"), std::string(32, 'N'));
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    EXPECT_EQ(NumberCodec::encodeHex(std::string(19, 'N')),
              session.ask("qThreadExtraInfo," + hexId(tcb("xSleeperTCB"))));
    expectEndAfter(session);
}

// A name with XML's special characters and the frame's own bytes: the document escapes the first as
// entities, and the reply frame writes '#', '$', '}' and '*' as binary data, so GDB reads the name whole.
TEST_F(LyingFreertosIntegration, NameWithFramingAndXmlBytesIsEscaped) {
    ASSERT_TRUE(session.startAtKernel());
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::string document = session.ask("qXfer:threads:read::0,fff");
    std::string::size_type at = document.find("name=\"Sleeper\"");
    ASSERT_NE(std::string::npos, at);
    std::string lying = document.replace(at, 14,
                                         "name=\"a}\x03"
                                         "b&lt;c&gt;&quot;d}\x04}]}\x0a&amp;&apos;\"");
    target.writeBytes(taskMember("xSleeperTCB", "pcTaskName"), std::string("a#b<c>\"d$}*&'") + '\0');
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::size_t before = session.gdb().receivedBytes().size();
    session.gdb().sendPacket("qXfer:threads:read::0,fff");
    std::string frame = "$" + lying + "#" + rspframe::checksumHex(lying);
    ASSERT_TRUE(session.gdb().waitReceivedBytes(before + frame.size()));
    EXPECT_EQ(frame, session.gdb().receivedBytes().substr(before));
    EXPECT_TRUE(session.finish());
}

// Saved stack pointers into unmapped memory, and at the top of the address space so that the frame
// wraps: the frame read fails and GDB gets "E01" for that thread.
TEST_F(LyingFreertosIntegration, StackPointerIntoUnmappedMemoryGivesE01) {
    ASSERT_TRUE(session.startAtKernel());
    target.writeWord(taskMember("xSleeperTCB", "pxTopOfStack"), 0x30000000);
    target.writeWord(taskMember("xPausedTCB", "pxTopOfStack"), 0xfffffff0);
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    EXPECT_EQ(target.plainAnswer("g"), session.ask("g"));
    EXPECT_EQ("OK", session.ask("Hg" + hexId(tcb("xSleeperTCB"))));
    EXPECT_EQ("E01", session.ask("g"));
    EXPECT_EQ("OK", session.ask("Hg" + hexId(tcb("xPausedTCB"))));
    EXPECT_EQ("E01", session.ask("g"));
    EXPECT_TRUE(session.finish());
    EXPECT_EQ("Failed reading saved stack ptr\nRead registers. Failed reading registers from driver.\n"
              "failed reading frame\nRead registers. Failed reading registers from driver.\n" +
                  kLostGdb,
              session.log());
}

// A ThreadX created list whose last thread links back into the middle: it never comes back to its head.
// The walk is cut at the thread seen before, with one warning, and GDB gets every thread once, at the cost
// of the plain walk.
TEST(LyingThreadxIntegration, CreatedListThatNeverReturnsToItsHeadIsCutAtAThreadSeenBefore) {
    ThreadxRig rig(kThreadx, "cortex_m4");
    ASSERT_TRUE(rig.session.startAtKernel());
    unsigned before = rig.target.memoryReads();
    const std::string stop = rig.session.stop("T05thread:1;");
    const unsigned plainReads = rig.target.memoryReads() - before;
    const std::string ids = rig.session.ask("qfThreadInfo");
    rig.target.writeWord(KernelSession::member("TX_THREAD_STRUCT", rig.session.address("thread_paused"),
                                               "tx_thread_created_next"),
                         rig.session.address("thread_sensor"));
    before = rig.target.memoryReads();
    EXPECT_EQ(stop, rig.session.stop("T05thread:1;"));
    EXPECT_EQ(plainReads, rig.target.memoryReads() - before);
    EXPECT_EQ(ids, rig.session.ask("qfThreadInfo"));
    expectEndAfter(rig.session, createdListCut(rig.session.address("thread_sensor"), "a link seen before."));
}

// A ThreadX name pointer into a stack full of the fill byte: 19 bytes of 0xef, each written by the
// signed hexadecimal form as eight digits.
TEST(LyingThreadxIntegration, NameWithoutATerminatorIsCut) {
    ThreadxRig rig(kThreadx, "cortex_m4");
    ASSERT_TRUE(rig.session.startAtKernel());
    std::uint32_t sensor = rig.session.address("thread_sensor");
    rig.target.writeWord(KernelSession::member("TX_THREAD_STRUCT", sensor, "tx_thread_name"),
                         rig.session.address("stack_sensor"));
    EXPECT_EQ("T05thread:" + hexId(rig.session.address("thread_main")) + ";",
              rig.session.stop("T05thread:1;"));
    std::string expected;
    for (int i = 0; i < 19; ++i) {
        expected += "ffffffef";
    }
    EXPECT_EQ(expected, rig.session.ask("qThreadExtraInfo," + hexId(sensor)));
    expectEndAfter(rig.session);
}

// A stack larger than one reply can carry: its fill is read in pieces of 4 KB, what the proxy asks at most
// of a server that names no packet size, and the figure covers the whole stack: the same 100 bytes of fill
// at its low end, all above them in use. The size changes behind the proxy's back, so every value is read
// anew.
TEST(LyingThreadxIntegration, StackLargerThanOneReplyIsReadInPieces) {
    ThreadxRig rig(kThreadx, "cortex_m4", KernelSession::exactReads());
    ASSERT_TRUE(rig.session.ready());
    rig.session.negotiate();
    std::string whole = rig.session.monitor("rtos -t state");
    const std::string figure = "924B/1024B (90.2%)\n";
    ASSERT_EQ(2u, countOf(whole, figure));
    rig.target.writeWord(
        KernelSession::member("TX_THREAD_STRUCT", rig.session.address("thread_main"), "tx_thread_stack_size"),
        16384);
    std::string expected = whole;
    for (std::string::size_type at = expected.find(figure); at != std::string::npos;
         at = expected.find(figure)) {
        expected.replace(at, figure.size(), "16284B/16384B (99.4%)\n");
    }
    EXPECT_EQ(expected, rig.session.monitor("rtos -t state"));
    expectEndAfter(rig.session);
}

// A count of four billion over a created ring whose links never repeat (threads that overlap, each four
// bytes after the one before, so that each one's link is the next one's address), on a target that never
// refuses a read: the walk stops at 10,000 threads with one warning, four reads a thread more than the
// plain walk of one thread, and GDB gets the stop and every thread read up to the cut.
TEST(LyingThreadxIntegration, CountOfFourBillionOverARingThatNeverRepeatsStopsAtTheHardCap) {
    ThreadxRig rig(kThreadxEdges, "cortex_m3", KernelSession::exactReads());
    ASSERT_TRUE(rig.session.startAtKernel());
    // The scheduler runs the program's one thread.
    const std::uint32_t lonely = rig.session.address("lonely");
    rig.target.writeWord(rig.session.address("_tx_thread_system_state"), 0);
    rig.target.writeWord(rig.session.address("_tx_thread_current_ptr"), lonely);
    unsigned before = rig.target.memoryReads();
    EXPECT_EQ("T05thread:" + hexId(lonely) + ";", rig.session.stop("T05thread:1;"));
    const unsigned plainReads = rig.target.memoryReads() - before;
    EXPECT_EQ("m" + hexId(lonely), rig.session.ask("qfThreadInfo"));

    const std::uint32_t base = 0x20010000;
    const std::uint32_t link = KernelSession::member("TX_THREAD_STRUCT", base, "tx_thread_created_next");
    for (std::uint32_t i = 0; i < 10100; ++i) {
        rig.target.writeWord(link + 4 * i, base + 4 * (i + 1));
    }
    rig.target.writeWord(rig.session.address("_tx_thread_current_ptr"), base);
    rig.target.writeWord(rig.session.address("_tx_thread_created_ptr"), base);
    rig.target.writeWord(rig.session.address("_tx_thread_created_count"), 0xffffffffu);
    before = rig.target.memoryReads();
    rig.session.server().sendPacket("T05thread:1;");
    // Seconds, not the two a plain stop may take.
    EXPECT_EQ("T05thread:" + hexId(base) + ";", rig.session.gdb().nextPayload(60000));
    EXPECT_EQ(plainReads + 4u * 9999u, rig.target.memoryReads() - before);
    std::string ids = "m" + hexId(base);
    for (std::uint32_t i = 1; i < 10000; ++i) {
        ids += "," + hexId(base + 4 * i);
    }
    EXPECT_EQ(ids, rig.session.ask("qfThreadInfo"));
    EXPECT_EQ("l", rig.session.ask("qsThreadInfo"));
    expectEndAfter(rig.session, createdListCut(base + 4 * 10000, "more links than the list can hold."));
}

// The kernel's count bounds the ring: nine threads linked in a whole ring under a count of two give the
// count and the margin of four, six threads, and one warning; the reads of six threads, no more.
TEST(LyingThreadxIntegration, RingLongerThanItsCountIsCutPastTheCountAndMargin) {
    ThreadxRig rig(kThreadxEdges, "cortex_m3", KernelSession::exactReads());
    ASSERT_TRUE(rig.session.startAtKernel());
    const char* const threads[] = {"lonely",   "cycle_a",  "cycle_b",       "cycle_c",       "waiter_x",
                                   "waiter_y", "waiter_z", "first_in_line", "second_in_line"};
    for (std::size_t i = 0; i < 9; ++i) {
        rig.target.writeWord(KernelSession::member("TX_THREAD_STRUCT", rig.session.address(threads[i]),
                                                   "tx_thread_created_next"),
                             rig.session.address(threads[(i + 1) % 9]));
    }
    const std::uint32_t lonely = rig.session.address("lonely");
    rig.target.writeWord(rig.session.address("_tx_thread_system_state"), 0);
    rig.target.writeWord(rig.session.address("_tx_thread_current_ptr"), lonely);
    rig.target.writeWord(rig.session.address("_tx_thread_created_count"), 9);
    unsigned before = rig.target.memoryReads();
    EXPECT_EQ("T05thread:" + hexId(lonely) + ";", rig.session.stop("T05thread:1;"));
    const unsigned wholeReads = rig.target.memoryReads() - before;
    std::string ids = "m" + hexId(lonely);
    for (std::size_t i = 1; i < 9; ++i) {
        ids += "," + hexId(rig.session.address(threads[i]));
    }
    EXPECT_EQ(ids, rig.session.ask("qfThreadInfo"));

    rig.target.writeWord(rig.session.address("_tx_thread_created_count"), 2);
    before = rig.target.memoryReads();
    EXPECT_EQ("T05thread:" + hexId(lonely) + ";", rig.session.stop("T05thread:1;"));
    EXPECT_EQ(wholeReads - 3u * 4u, rig.target.memoryReads() - before);
    ids = "m" + hexId(lonely);
    for (std::size_t i = 1; i < 6; ++i) {
        ids += "," + hexId(rig.session.address(threads[i]));
    }
    EXPECT_EQ(ids, rig.session.ask("qfThreadInfo"));
    expectEndAfter(rig.session,
                   createdListCut(rig.session.address("waiter_z"), "more links than the list can hold."));
}
