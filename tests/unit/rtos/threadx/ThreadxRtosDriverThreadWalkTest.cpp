#include "rtos/threadx/ThreadxReader.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "rtos/threadx/ThreadxThreadView.h"
#include "rtos/threadx/ThreadxThreadWalk.h"

#include "TestPaths.h"
#include "ThreadxNodeText.h"
#include "ThreadxTestKernel.h"
#include "ThreadxTestLog.h"
#include "base/StringUtil.h"
#include "rsp/RspClient.h"
#include "rsp/StopMemoryCache.h"
#include "rtos/KernelInfoNode.h"
#include "target/ThreadList.h"

#include <gtest/gtest.h>

namespace {

using threadxtext::hex8;
using threadxtext::labelsOf;

struct SnapshotThread {
    const char* symbol;
    const char* stack;
    unsigned int stackWords;
    const char* name;
};

// The created list of threadx_state.elf, in list order.
const SnapshotThread kSnapshot[] = {
    {"thread_main", "stack_main", 256, "main"},
    {"thread_sensor", "stack_sensor", 128, "sensor poll"},
    {"thread_uart_rx", "stack_uart_rx", 128, "uart rx"},
    {"thread_uart_tx", "stack_uart_tx", 128, "uart tx"},
    {"thread_logger", "stack_logger", 256, "logger"},
    {"thread_storage", "stack_storage", 256, "storage"},
    {"thread_net", "stack_net", 128, "net events"},
    {"thread_housekeeping", "stack_housekeeping", 128, "housekeeping and wa"},
    {"thread_buffers", "stack_buffers", 128, "buffer alloc"},
    {"thread_heap", "stack_heap", 128, "heap user"},
    {"thread_one_shot", "stack_one_shot", 128, "one shot"},
    {"thread_stopped", "stack_stopped", 128, "stopped"},
    {"thread_paused", "stack_paused", 128, "paused"},
};
constexpr unsigned int kSnapshotThreads = 13;

// Each saved frame lies on top of its stack.
std::uint32_t framePointer(ThreadxTestKernel& kernel, const SnapshotThread& thread) {
    return kernel.address(thread.stack) + (thread.stackWords - 17) * 4;
}

std::string valueOf(const KernelInfoNode& node, unsigned int id) {
    KernelInfoNode child;
    EXPECT_TRUE(node.getChildNode(id, child)) << "no child " << id;
    return child.getValue();
}

std::vector<std::string> namesOf(const KernelInfoNode& threads) {
    std::vector<std::string> names;
    for (const KernelInfoNode& thread : threads.getChildNodes()) {
        names.push_back(valueOf(thread, 0));
    }
    return names;
}

std::uint32_t member(ThreadxTestKernel& kernel, const char* thread, const char* name) {
    return kernel.memberAddress(kernel.address(thread), "TX_THREAD_STRUCT", name);
}

// The walk's threads as the monitor renders them, one "Thread" child of out each.
bool walkThreads(ThreadxTestKernel& kernel, bool detail, KernelInfoNode& out) {
    std::vector<ThreadxThread> threads;
    bool result = ThreadxThreadWalk::readThreads(kernel.server(), detail, threads);
    ThreadxThreadView::addTasks(threads, detail, out);
    return result;
}

// walkThreads with the stop's memory kept, as between a stop and the next resume: the reads it cost.
unsigned walkWithStopMemory(ThreadxTestKernel& kernel, KernelInfoNode& out) {
    StopMemoryCache cache;
    kernel.server().setMemoryCache(&cache);
    kernel.resetReads();
    EXPECT_TRUE(walkThreads(kernel, false, out));
    kernel.server().setMemoryCache(nullptr);
    return kernel.reads();
}

} // namespace

TEST(ThreadxThreadWalkIntegration, SnapshotAsGdbThreadsInFourReadsEach) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    ThreadList threads;
    kernel.resetReads();
    ASSERT_TRUE(kernel.driver().getThreads(kernel.server(), threads));
    // The active thread id and the list head, then name pointer, name, stack pointer and next per thread.
    EXPECT_EQ(2u + 4u * kSnapshotThreads, kernel.reads());

    ASSERT_EQ(kSnapshotThreads, threads.getNumberOfThreads());
    for (const SnapshotThread& expected : kSnapshot) {
        SCOPED_TRACE(expected.symbol);
        TargetThread thread;
        ASSERT_TRUE(threads.getThread(kernel.address(expected.symbol), thread));
        EXPECT_EQ(expected.name, thread.getName());
        EXPECT_EQ(framePointer(kernel, expected), thread.getStackPtr());
        EXPECT_EQ(expected.symbol == std::string("thread_main"), thread.getCpuActive());
        EXPECT_EQ(nullptr, thread.getThreadData());
    }
}

TEST(ThreadxThreadWalkIntegration, FailureAtAnyThreadGivesNoSnapshot) {
    struct Case {
        const char* thread;
        const char* member;
    };
    for (Case entry :
         {Case{"thread_main", "tx_thread_created_next"}, Case{"thread_uart_rx", "tx_thread_created_next"},
          Case{"thread_logger", "tx_thread_created_next"}, Case{"thread_paused", "tx_thread_created_next"}}) {
        SCOPED_TRACE(std::string(entry.thread) + "." + entry.member);
        ThreadxTestKernel kernel("threadx_state.elf");
        ASSERT_TRUE(kernel.ok());
        kernel.failReads(member(kernel, entry.thread, entry.member), 4);
        ThreadList threads;
        TargetThread stale(0x1234, 0x5678);
        threads.addThread(stale);
        std::string log;
        bool result = true;
        log = threadxlog::capture(threadxlog::kAll,
                                  [&] { result = kernel.driver().getThreads(kernel.server(), threads); });
        EXPECT_FALSE(result);
        EXPECT_EQ(0u, threads.getNumberOfThreads());
        EXPECT_EQ("", log);
    }
}

TEST(ThreadxThreadWalkIntegration, PlainNodesHaveFourChildrenInTheirOrder) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    ASSERT_TRUE(walkThreads(kernel, false, root));
    ASSERT_EQ(kSnapshotThreads, root.getChildNodes().size());
    const KernelInfoNode& main = root.getChildNodes()[0];
    EXPECT_EQ("Thread", main.getLabel());
    EXPECT_EQ("", main.getValue());
    EXPECT_EQ(0u, main.getId());
    ASSERT_EQ(4u, main.getChildNodes().size());
    const unsigned int ids[] = {2, 1, 0, 3};
    const std::string labels[] = {"Thread Id", "Active", "Name", "Stack Ptr"};
    const std::string values[] = {hex8(kernel.address("thread_main")), "1", "main",
                                  hex8(framePointer(kernel, kSnapshot[0]))};
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(ids[i], main.getChildNodes()[i].getId());
        EXPECT_EQ(labels[i], main.getChildNodes()[i].getLabel());
        EXPECT_EQ(values[i], main.getChildNodes()[i].getValue());
    }
    for (unsigned int i = 1; i < kSnapshotThreads; ++i) {
        EXPECT_EQ("0", valueOf(root.getChildNodes()[i], 1)) << kSnapshot[i].symbol;
    }
}

TEST(ThreadxThreadWalkIntegration, WithNoRunningThreadNoneIsActive) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_thread_current_ptr"), 0);
    KernelInfoNode root;
    ASSERT_TRUE(walkThreads(kernel, false, root));
    ASSERT_EQ(kSnapshotThreads, root.getChildNodes().size());
    for (const KernelInfoNode& thread : root.getChildNodes()) {
        EXPECT_EQ("0", valueOf(thread, 1)) << valueOf(thread, 0);
    }
    ThreadList threads;
    ASSERT_TRUE(kernel.driver().getThreads(kernel.server(), threads));
    TargetThread active;
    EXPECT_FALSE(threads.getActiveThread(active));
}

TEST(ThreadxThreadWalkIntegration, DetailAddsSixReadsAndTheStack) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    kernel.resetReads();
    ASSERT_TRUE(walkThreads(kernel, true, root));
    EXPECT_EQ(2u + 11u * kSnapshotThreads, kernel.reads());
    const KernelInfoNode& storage = root.getChildNodes()[5];
    EXPECT_EQ((std::vector<std::string>{"Thread Id", "Active", "Name", "Stack Ptr", "Priority", "State",
                                        "Run count", "Stack start", "Stack end", "Stack usage"}),
              labelsOf(storage));
    std::uint32_t stack = kernel.address("stack_storage");
    EXPECT_EQ("8", valueOf(storage, 4));
    EXPECT_EQ("SUSPENDED (MUTEX)", valueOf(storage, 5));
    EXPECT_EQ("31", valueOf(storage, 6));
    EXPECT_EQ(hex8(stack), valueOf(storage, 7));
    EXPECT_EQ(hex8(stack + 1023), valueOf(storage, 8));
    EXPECT_EQ("862B/1024B (84.2%)", valueOf(storage, 9));
    EXPECT_EQ("Overflow!", valueOf(root.getChildNodes()[9], 9));
}

TEST(ThreadxThreadWalkIntegration, StateTextsByValue) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    std::uint32_t state = member(kernel, "thread_sensor", "tx_thread_state");
    const char* const texts[] = {"READY",
                                 "COMPLETED",
                                 "TERMINATED",
                                 "SUSPENDED",
                                 "SLEEP",
                                 "SUSPENDED (QUEUE)",
                                 "SUSPENDED (SEMAPHORE)",
                                 "SUSPENDED (EVENT FLAG)",
                                 "SUSPENDED (BLOCK MEMORY)",
                                 "SUSPENDED (BYTE MEMORY)",
                                 "SUSPENDED (IO DRIVER)",
                                 "SUSPENDED (TX FILE)",
                                 "SUSPENDED (TCP/IP)",
                                 "SUSPENDED (MUTEX)",
                                 "",
                                 ""};
    for (std::uint32_t value = 0; value < 16; ++value) {
        kernel.writeWord(state, value == 15 ? 0xffffffff : value);
        KernelInfoNode root;
        ASSERT_TRUE(walkThreads(kernel, true, root));
        EXPECT_EQ(texts[value], valueOf(root.getChildNodes()[1], 5)) << value;
    }
}

TEST(ThreadxThreadWalkIntegration, NoThreadCreated) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_thread_created_ptr"), 0);
    KernelInfoNode root;
    kernel.resetReads();
    EXPECT_TRUE(walkThreads(kernel, true, root));
    EXPECT_TRUE(root.getChildNodes().empty());
    EXPECT_EQ(2u, kernel.reads());
}

TEST(ThreadxThreadWalkIntegration, ThreadLinkedToItselfIsTheWholeList) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    kernel.resetReads();
    ASSERT_TRUE(walkThreads(kernel, false, root));
    ASSERT_EQ(1u, root.getChildNodes().size());
    EXPECT_EQ("lonely", valueOf(root.getChildNodes()[0], 0));
    // Nothing runs before the scheduler starts.
    EXPECT_EQ("0", valueOf(root.getChildNodes()[0], 1));
    // The active id, the head and the kernel's count, then the thread.
    EXPECT_EQ(3u + 4u, kernel.reads());
}

TEST(ThreadxThreadWalkIntegration, UnknownStateWordGivesAnEmptyState) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    ASSERT_TRUE(walkThreads(kernel, true, root));
    ASSERT_EQ(1u, root.getChildNodes().size());
    const KernelInfoNode& lonely = root.getChildNodes()[0];
    EXPECT_EQ("7", valueOf(lonely, 4));
    EXPECT_EQ("", valueOf(lonely, 5));
    EXPECT_EQ(10u, lonely.getChildNodes().size());
    EXPECT_EQ("128B/256B (50.0%)", valueOf(lonely, 9));
}

// A switched-out thread whose saved frame cannot be found is left out of GDB's threads alone, and the
// monitor shows it with an empty stack pointer.
TEST(ThreadxThreadWalkIntegration, UnreadableStackPointerLeavesOutThatThreadAlone) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_uart_rx", "tx_thread_stack_ptr"), 4);
    KernelInfoNode root;
    ASSERT_TRUE(walkThreads(kernel, false, root));
    ASSERT_EQ(kSnapshotThreads, root.getChildNodes().size());
    EXPECT_EQ("uart rx", valueOf(root.getChildNodes()[2], 0));
    EXPECT_EQ("", valueOf(root.getChildNodes()[2], 3));
    EXPECT_EQ(hex8(framePointer(kernel, kSnapshot[3])), valueOf(root.getChildNodes()[3], 3));

    ThreadList threads;
    ASSERT_TRUE(kernel.driver().getThreads(kernel.server(), threads));
    EXPECT_EQ(kSnapshotThreads - 1, threads.getNumberOfThreads());
    TargetThread thread;
    EXPECT_FALSE(threads.getThread(kernel.address("thread_uart_rx"), thread));
    ASSERT_TRUE(threads.getThread(kernel.address("thread_uart_tx"), thread));
    EXPECT_EQ(framePointer(kernel, kSnapshot[3]), thread.getStackPtr());
}

// The running thread's registers are the core's: it stays a thread without its saved frame.
TEST(ThreadxThreadWalkIntegration, RunningThreadWithoutStackPointerStaysAThread) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_main", "tx_thread_stack_ptr"), 4);
    ThreadList threads;
    ASSERT_TRUE(kernel.driver().getThreads(kernel.server(), threads));
    EXPECT_EQ(kSnapshotThreads, threads.getNumberOfThreads());
    TargetThread active;
    ASSERT_TRUE(threads.getActiveThread(active));
    EXPECT_EQ(kernel.address("thread_main"), active.getThreadId());
    EXPECT_EQ("main", active.getName());
}

TEST(ThreadxThreadWalkIntegration, UnreadableNextPointerDropsTheThread) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_uart_rx", "tx_thread_created_next"), 4);
    KernelInfoNode root;
    EXPECT_FALSE(walkThreads(kernel, false, root));
    EXPECT_EQ((std::vector<std::string>{"main", "sensor poll"}), namesOf(root));
}

TEST(ThreadxThreadWalkIntegration, UnreadableNameOnlyEmptiesTheName) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_sensor", "tx_thread_name"), 4);
    // A name pointer that leads nowhere.
    kernel.writeWord(member(kernel, "thread_logger", "tx_thread_name"), 0x30000000);
    KernelInfoNode root;
    kernel.resetReads();
    ASSERT_TRUE(walkThreads(kernel, false, root));
    ASSERT_EQ(kSnapshotThreads, root.getChildNodes().size());
    EXPECT_EQ("", valueOf(root.getChildNodes()[1], 0));
    EXPECT_EQ("", valueOf(root.getChildNodes()[4], 0));
    EXPECT_EQ("uart rx", valueOf(root.getChildNodes()[2], 0));
    // A name pointer that cannot be read saves the read of the name.
    EXPECT_EQ(2u + 4u * kSnapshotThreads - 1u, kernel.reads());
}

// With the stop's memory kept, a thread costs the read of its control block, and the names, string literals
// side by side in this program, come in one read.
TEST(ThreadxThreadWalkIntegration, WithTheStopsMemoryEachThreadIsOneReadAndTheNamesOne) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    EXPECT_EQ(2u + kSnapshotThreads + 1u, walkWithStopMemory(kernel, root));
    std::vector<std::string> names;
    for (const SnapshotThread& thread : kSnapshot) {
        names.push_back(thread.name);
    }
    EXPECT_EQ(names, namesOf(root));
}

// A name pointer that cannot be read, one that leads nowhere and a null one give the names they give without
// the stop's memory; the pointer that leads nowhere lies alone and is read alone, as before.
TEST(ThreadxThreadWalkIntegration, WithTheStopsMemoryUnreadableAndNullNamesAreAsWithout) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_sensor", "tx_thread_name"), 4);
    kernel.writeWord(member(kernel, "thread_logger", "tx_thread_name"), 0x30000000);
    kernel.writeWord(member(kernel, "thread_paused", "tx_thread_name"), 0);
    KernelInfoNode plain;
    ASSERT_TRUE(walkThreads(kernel, false, plain));
    KernelInfoNode cached;
    // The sensor's control block is refused whole and read member by member: its name pointer, its stack
    // pointer and its link. Then one read for the names that lie together and one for the lone pointer.
    EXPECT_EQ(2u + kSnapshotThreads + 3u + 1u + 1u, walkWithStopMemory(kernel, cached));
    EXPECT_EQ(namesOf(plain), namesOf(cached));
    EXPECT_EQ("", namesOf(cached)[1]);
    EXPECT_EQ("", namesOf(cached)[4]);
}

TEST(ThreadxThreadWalkIntegration, UnreadableDetailStaysEmpty) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_sensor", "tx_thread_priority"), 4);
    kernel.failReads(member(kernel, "thread_sensor", "tx_thread_stack_size"), 4);
    kernel.failReads(member(kernel, "thread_logger", "tx_thread_stack_start"), 4);
    kernel.failReads(kernel.address("stack_uart_tx") + 500, 1);
    KernelInfoNode root;
    ASSERT_TRUE(walkThreads(kernel, true, root));
    const KernelInfoNode& sensor = root.getChildNodes()[1];
    EXPECT_EQ("", valueOf(sensor, 4));
    EXPECT_EQ("SLEEP", valueOf(sensor, 5));
    EXPECT_EQ("", valueOf(sensor, 9));
    const KernelInfoNode& logger = root.getChildNodes()[4];
    EXPECT_EQ("", valueOf(logger, 7));
    EXPECT_EQ("", valueOf(logger, 9));
    // The stack itself cannot be read.
    EXPECT_EQ("", valueOf(root.getChildNodes()[3], 9));
    EXPECT_EQ(10u, sensor.getChildNodes().size());
}

TEST(ThreadxThreadWalkIntegration, WalkNeedsTheActiveIdTheHeadAndTheLayout) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode root;
    kernel.failReads(kernel.address("_tx_thread_current_ptr"), 4);
    kernel.resetReads();
    EXPECT_FALSE(walkThreads(kernel, false, root));
    EXPECT_EQ(1u, kernel.reads());

    ThreadxTestKernel headless("threadx_state.elf");
    ASSERT_TRUE(headless.ok());
    headless.failReads(headless.address("_tx_thread_created_ptr"), 4);
    EXPECT_FALSE(walkThreads(headless, false, root));

    ThreadxTestKernel layoutless("threadx_state.elf");
    ASSERT_TRUE(layoutless.ok());
    layoutless.kernel().resolveStructures({"TX_QUEUE_STRUCT"});
    layoutless.resetReads();
    EXPECT_FALSE(walkThreads(layoutless, false, root));
    EXPECT_EQ(2u, layoutless.reads());
    EXPECT_TRUE(root.getChildNodes().empty());
}

TEST(ThreadxThreadWalkIntegration, ListThatNeverReturnsToItsHeadIsCutAtAThreadSeenBefore) {
    // a -> b -> c -> b: each thread once, then one warning; 3 reads, then 4 a thread. The kernel's count of
    // one thread and the margin would allow five.
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_thread_created_ptr"), kernel.address("cycle_a"));
    KernelInfoNode root;
    kernel.resetReads();
    bool result = false;
    EXPECT_EQ("Walk of the created thread list cut short at " +
                  StringUtil::to_string(kernel.address("cycle_b"), 16, 8) + ": a link seen before.\n",
              threadxlog::capture(threadxlog::kAll, [&] { result = walkThreads(kernel, false, root); }));
    EXPECT_TRUE(result);
    EXPECT_EQ((std::vector<std::string>{"cycle a", "cycle b", "cycle c"}), namesOf(root));
    EXPECT_EQ(3u + 3u * 4u, kernel.reads());
}

namespace {

// The nine threads of threadx_edges.elf, in the order the tests link them.
const char* const kEdgeThreads[] = {"lonely",   "cycle_a",  "cycle_b",       "cycle_c",       "waiter_x",
                                    "waiter_y", "waiter_z", "first_in_line", "second_in_line"};
const std::vector<std::string> kEdgeNames = {"lonely",   "cycle a",       "cycle b",
                                             "cycle c",  "waiter x",      "waiter y",
                                             "waiter z", "first in line", "second in line"};

// Links the nine threads into one ring by the given member; the last links back to the first unless
// open says otherwise.
void linkEdgeThreads(ThreadxTestKernel& kernel, const char* next, bool open = false) {
    const std::size_t count = sizeof(kEdgeThreads) / sizeof(kEdgeThreads[0]);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t following = i + 1 < count ? kernel.address(kEdgeThreads[i + 1]) : 0;
        if (i + 1 == count && !open) {
            following = kernel.address(kEdgeThreads[0]);
        }
        kernel.writeWord(member(kernel, kEdgeThreads[i], next), following);
    }
}

// Threads that overlap, each four bytes after the one before, so that each one's link word is the next
// one's address: a ring that never repeats a link for as long as the target's RAM goes on, written from
// base on for links threads.
void layEndlessRing(ThreadxTestKernel& kernel, std::uint32_t base, const char* next, unsigned int links) {
    std::uint32_t offset = kernel.memberAddress(base, "TX_THREAD_STRUCT", next) - base;
    for (unsigned int i = 0; i < links; ++i) {
        kernel.writeWord(base + offset + 4 * i, base + 4 * (i + 1));
    }
}

// Far above the program's own data, in the RAM the target serves.
constexpr std::uint32_t kEndlessBase = 0x20010000;

} // namespace

// A whole ring of nine threads whose kernel count says two: the walk takes the count and the margin of four,
// six threads, and is cut at the seventh with one warning, keeping what it read.
TEST(ThreadxThreadWalkIntegration, RingLongerThanItsCountIsCutPastTheCountAndMargin) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    linkEdgeThreads(kernel, "tx_thread_created_next");
    kernel.writeWord(kernel.address("_tx_thread_created_count"), 2);
    KernelInfoNode root;
    kernel.resetReads();
    bool result = false;
    EXPECT_EQ("Walk of the created thread list cut short at " +
                  StringUtil::to_string(kernel.address("waiter_z"), 16, 8) +
                  ": more links than the list can hold.\n",
              threadxlog::capture(threadxlog::kAll, [&] { result = walkThreads(kernel, false, root); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(std::vector<std::string>(kEdgeNames.begin(), kEdgeNames.begin() + 6), namesOf(root));
    EXPECT_EQ(3u + 6u * 4u, kernel.reads());

    // A count that is short by the margin still gives the whole ring, without a warning.
    kernel.writeWord(kernel.address("_tx_thread_created_count"), 5);
    ThreadList threads;
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] {
                  result = kernel.driver().getThreads(kernel.server(), threads);
              }));
    EXPECT_TRUE(result);
    EXPECT_EQ(9u, threads.getNumberOfThreads());
}

// A count of four billion over a ring whose links never repeat, on a target that never refuses a read:
// the walk stops at the hard cap of 10,000 threads, with one warning, after 4 reads a thread.
TEST(ThreadxThreadWalkIntegration, CountOfFourBillionOverLinksThatNeverRepeatStopsAtTheHardCap) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    layEndlessRing(kernel, kEndlessBase, "tx_thread_created_next", 10100);
    kernel.writeWord(kernel.address("_tx_thread_created_ptr"), kEndlessBase);
    kernel.writeWord(kernel.address("_tx_thread_created_count"), 0xffffffffu);
    ThreadList threads;
    kernel.resetReads();
    bool result = false;
    EXPECT_EQ("Walk of the created thread list cut short at " +
                  StringUtil::to_string(kEndlessBase + 4 * 10000, 16, 8) +
                  ": more links than the list can hold.\n",
              threadxlog::capture(threadxlog::kAll,
                                  [&] { result = kernel.driver().getThreads(kernel.server(), threads); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(10000u, threads.getNumberOfThreads());
    EXPECT_EQ(3u + 4u * 10000u, kernel.reads());
    TargetThread last;
    EXPECT_TRUE(threads.getThread(kEndlessBase + 4 * 9999, last));
}

TEST(ThreadxThreadViewTest, StackUsageTable) {
    ThreadxThread full;
    full.name = "main";
    full.stackSize = 1024;
    full.freeStack = 100;
    ThreadxThread plain;
    plain.name = "idle";
    ThreadxThread anonymous;
    KernelInfoNode out = ThreadxThreadView::stackUsage({full, plain, anonymous});
    EXPECT_EQ("Stack usage:\n"
              " main:924B/1024B (90.2%)\n"
              " idle:\n"
              " :\n",
              KernelInfoNode::toString(out, FORMAT_TREE));
    EXPECT_EQ(0u, out.getChildNodes()[1].getId());
}

TEST(ThreadxThreadWalkIntegration, SuspensionListNames) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    std::vector<std::string> names = {"kept"};
    kernel.resetReads();
    ASSERT_TRUE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("thread_uart_rx"),
                                                  ThreadxReader::ringLimit(true, 3), names));
    EXPECT_EQ((std::vector<std::string>{"kept", "uart rx", "uart tx", "logger"}), names);
    EXPECT_EQ(9u, kernel.reads());

    names.clear();
    ASSERT_TRUE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("thread_storage"),
                                                  ThreadxReader::ringLimit(true, 1), names));
    EXPECT_EQ((std::vector<std::string>{"storage"}), names);

    names.clear();
    kernel.resetReads();
    ASSERT_TRUE(
        ThreadxReader::readSuspensionList(kernel.server(), 0, ThreadxReader::ringLimit(true, 0), names));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(0u, kernel.reads());
}

TEST(ThreadxThreadWalkIntegration, SuspensionListEndingInANullLink) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    std::vector<std::string> names;
    ASSERT_TRUE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("first_in_line"),
                                                  ThreadxReader::ringLimit(true, 2), names));
    EXPECT_EQ((std::vector<std::string>{"first in line", "second in line"}), names);
}

TEST(ThreadxThreadWalkIntegration, SuspensionListThatCirclesWithoutItsFirstIsCutAtAThreadSeenBefore) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    std::vector<std::string> names;
    kernel.resetReads();
    bool result = false;
    // x -> y -> z -> y: it stops when it comes back to y, and keeps the names it read.
    EXPECT_EQ("Walk of the suspension list at " + StringUtil::to_string(kernel.address("waiter_x"), 16, 8) +
                  " cut short at " + StringUtil::to_string(kernel.address("waiter_y"), 16, 8) +
                  ": a link seen before.\n",
              threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxReader::readSuspensionList(kernel.server(), kernel.address("waiter_x"),
                                                             ThreadxReader::ringLimit(true, 3), names);
              }));
    EXPECT_TRUE(result);
    EXPECT_EQ((std::vector<std::string>{"waiter x", "waiter y", "waiter z"}), names);
    EXPECT_EQ(9u, kernel.reads());
}

TEST(ThreadxThreadWalkIntegration, SuspensionListSkipsUnreadableNamesAndStopsAtUnreadableLinks) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "thread_uart_tx", "tx_thread_name"), 4);
    std::vector<std::string> names;
    ASSERT_TRUE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("thread_uart_rx"),
                                                  ThreadxReader::ringLimit(true, 3), names));
    EXPECT_EQ((std::vector<std::string>{"uart rx", "logger"}), names);

    kernel.failReads(member(kernel, "thread_logger", "tx_thread_suspended_next"), 4);
    names.clear();
    EXPECT_FALSE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("thread_uart_rx"),
                                                   ThreadxReader::ringLimit(true, 3), names));
    EXPECT_EQ((std::vector<std::string>{"uart rx", "logger"}), names);

    kernel.kernel().resolveStructures({"TX_QUEUE_STRUCT"});
    names.clear();
    EXPECT_FALSE(ThreadxReader::readSuspensionList(kernel.server(), kernel.address("thread_uart_rx"),
                                                   ThreadxReader::ringLimit(true, 3), names));
    EXPECT_TRUE(names.empty());
}

// A suspension list of nine threads whose object counts none: four threads (the margin), then the warning.
// A count that could not be read leaves the hard cap: all nine.
TEST(ThreadxThreadWalkIntegration, SuspensionListLongerThanItsCountIsCutPastTheMargin) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    linkEdgeThreads(kernel, "tx_thread_suspended_next", true);
    const std::uint32_t first = kernel.address(kEdgeThreads[0]);
    std::vector<std::string> names;
    bool result = false;
    EXPECT_EQ("Walk of the suspension list at " + StringUtil::to_string(first, 16, 8) + " cut short at " +
                  StringUtil::to_string(kernel.address("waiter_x"), 16, 8) +
                  ": more links than the list can hold.\n",
              threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxReader::readSuspensionList(kernel.server(), first,
                                                             ThreadxReader::ringLimit(true, 0), names);
              }));
    EXPECT_TRUE(result);
    EXPECT_EQ(std::vector<std::string>(kEdgeNames.begin(), kEdgeNames.begin() + 4), names);

    names.clear();
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxReader::readSuspensionList(kernel.server(), first,
                                                             ThreadxReader::ringLimit(false, 0), names);
              }));
    EXPECT_TRUE(result);
    EXPECT_EQ(kEdgeNames, names);
}

// A suspension list whose links never repeat, under an object whose count says four billion: cut at the
// hard cap with one warning.
TEST(ThreadxThreadWalkIntegration, SuspensionCountOfFourBillionOverLinksThatNeverRepeatStopsAtTheHardCap) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    layEndlessRing(kernel, kEndlessBase, "tx_thread_suspended_next", 10100);
    std::vector<std::string> names;
    bool result = false;
    kernel.resetReads();
    EXPECT_EQ("Walk of the suspension list at " + StringUtil::to_string(kEndlessBase, 16, 8) +
                  " cut short at " + StringUtil::to_string(kEndlessBase + 4 * 10000, 16, 8) +
                  ": more links than the list can hold.\n",
              threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxReader::readSuspensionList(
                      kernel.server(), kEndlessBase, ThreadxReader::ringLimit(true, 0xffffffffu), names);
              }));
    EXPECT_TRUE(result);
    EXPECT_EQ(10000u, names.size());
    // Name pointer, name and link a thread: the name pointers point into the ring's own words.
    EXPECT_EQ(3u * 10000u, kernel.reads());
}
