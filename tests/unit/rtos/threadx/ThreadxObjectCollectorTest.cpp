#include "rtos/threadx/ThreadxObjectCollector.h"
#include "rtos/threadx/ThreadxObjectView.h"

#include "TestPaths.h"
#include "ThreadxEdgesProgram.h"
#include "ThreadxNodeText.h"
#include "ThreadxTestKernel.h"
#include "ThreadxTestLog.h"
#include "rtos/KernelInfoNode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

namespace {

using threadxtext::hex8;

using Collect = ThreadxObjectKinds::Kind;

// Each object as "label: child=value, child=value".
std::vector<std::string> objectsOf(const KernelInfoNode& out) {
    std::vector<std::string> objects;
    for (const KernelInfoNode& object : out.getChildNodes()) {
        std::string text = object.getLabel() + ":";
        for (const KernelInfoNode& child : object.getChildNodes()) {
            text += " " + child.getLabel() + "=" + child.getValue() + ";";
        }
        objects.push_back(text);
    }
    return objects;
}

class ThreadxObjectCollectorIntegration : public ::testing::Test {
protected:
    // The collectors log nothing but the warning of a ring they cut, expectedLog.
    bool collect(ThreadxTestKernel& kernel, Collect collector, KernelInfoNode& out,
                 const std::string& expectedLog = "") {
        bool result = false;
        kernel.resetReads();
        EXPECT_EQ(expectedLog, threadxlog::capture(threadxlog::kAll, [&] {
                      std::vector<ThreadxObject> objects;
                      result = ThreadxObjectCollector::read(kernel.server(), collector, objects);
                      ThreadxObjectView::addObjects(objects, out);
                  }));
        return result;
    }

    std::uint32_t member(ThreadxTestKernel& kernel, const char* object, const char* structure,
                         const char* name) {
        return kernel.memberAddress(kernel.address(object), structure, name);
    }
};

} // namespace

TEST_F(ThreadxObjectCollectorIntegration, EveryKindOfTheSnapshot) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    struct Case {
        Collect collector;
        std::vector<std::string> objects;
        unsigned int reads;
    };
    const Case cases[] = {
        {ThreadxObjectKinds::SEMAPHORES,
         {"Semaphore: Name=tx done; Count=0; Suspended=housekeeping and wa;",
          "Semaphore: Name=rx ready; Count=3; Suspended=;"},
         15},
        {ThreadxObjectKinds::MUTEXES,
         {"Mutex: Name=fs lock; Owner=main; Owner count=1; Suspended=storage;",
          "Mutex: Name=spi bus; Owner=; Owner count=0; Suspended=;"},
         19},
        {ThreadxObjectKinds::TIMERS,
         {"Timer: Name=heartbeat; Remaining=250; Re init=1000; Function=0x" +
          [&] {
              char text[16];
              snprintf(text, sizeof(text), "%x", kernel.address("heartbeat_expired") | 1);
              return std::string(text);
          }() +
          ";"},
         7},
        {ThreadxObjectKinds::QUEUES,
         {"Queue: Name=uart queue; Message size=4; Capacity=16; Used=0; Suspended=uart rx, uart tx, logger;"},
         18},
        {ThreadxObjectKinds::EVENT_FLAGS,
         {"EventFlag: Name=net flags; Flags=0x00000005; Suspended=net events;"},
         10},
        {ThreadxObjectKinds::BLOCK_POOLS,
         {"Memory block pool: Name=buffers; Address=" + hex8(kernel.address("buffer_area")) +
          "; Available=0; Total=8; Pool size=544; Block size=64; Suspended=buffer alloc;"},
         14},
        {ThreadxObjectKinds::BYTE_POOLS,
         {"Memory byte pool: Name=heap; Address=" + hex8(kernel.address("heap_area")) +
          "; Available=1200; Size=4096; Fragments=3; Suspended=heap user;"},
         13},
    };
    for (const Case& entry : cases) {
        KernelInfoNode out(0, "", "Section");
        ASSERT_TRUE(collect(kernel, entry.collector, out));
        EXPECT_EQ(entry.objects, objectsOf(out));
        EXPECT_EQ(entry.reads, kernel.reads()) << entry.objects[0];
        for (const KernelInfoNode& object : out.getChildNodes()) {
            EXPECT_EQ(0u, object.getId());
            EXPECT_EQ("", object.getValue());
            for (const KernelInfoNode& child : object.getChildNodes()) {
                EXPECT_EQ(0u, child.getId());
                EXPECT_TRUE(child.getChildNodes().empty());
            }
        }
    }
}

TEST_F(ThreadxObjectCollectorIntegration, EmptyListIsAnEmptySection) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    for (Collect collector :
         {ThreadxObjectKinds::SEMAPHORES, ThreadxObjectKinds::MUTEXES, ThreadxObjectKinds::TIMERS,
          ThreadxObjectKinds::QUEUES, ThreadxObjectKinds::BLOCK_POOLS}) {
        KernelInfoNode out;
        EXPECT_TRUE(collect(kernel, collector, out));
        EXPECT_TRUE(out.getChildNodes().empty());
        EXPECT_EQ(1u, kernel.reads());
    }
}

TEST_F(ThreadxObjectCollectorIntegration, TenObjectsAndAFailedTenthLink) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode out;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::EVENT_FLAGS, out));
    ASSERT_EQ(10u, out.getChildNodes().size());
    EXPECT_EQ("EventFlag: Name=flags 9; Flags=0x00000009; Suspended=;", objectsOf(out)[9]);

    kernel.failReads(threadxedges::tenthFlagGroupLink(kernel), 4);
    KernelInfoNode failed;
    EXPECT_FALSE(collect(kernel, ThreadxObjectKinds::EVENT_FLAGS, failed));
    // What was walked stays in the node; the caller drops it.
    EXPECT_EQ(9u, failed.getChildNodes().size());
}

// Walks that fail before their first object: an empty node, after the reads it took to know.
TEST_F(ThreadxObjectCollectorIntegration, WalksThatFailAtTheHead) {
    struct Case {
        const char* what;
        const char* program;
        Collect collector;
        std::function<void(ThreadxTestKernel&)> spoil;
        unsigned int reads;
    };
    const Case cases[] = {
        {"head symbol that GDB did not resolve", "threadx_edges.elf", ThreadxObjectKinds::BYTE_POOLS,
         [](ThreadxTestKernel&) {}, 0},
        {"unreadable head", "threadx_state.elf", ThreadxObjectKinds::QUEUES,
         [](ThreadxTestKernel& kernel) { kernel.failReads(kernel.address("_tx_queue_created_ptr"), 4); }, 1},
        {"missing layout", "threadx_state.elf", ThreadxObjectKinds::SEMAPHORES,
         [](ThreadxTestKernel& kernel) { kernel.kernel().resolveStructures({"TX_THREAD_STRUCT"}); }, 1},
    };
    for (const Case& each : cases) {
        ThreadxTestKernel kernel(each.program);
        ASSERT_TRUE(kernel.ok()) << each.what;
        each.spoil(kernel);
        KernelInfoNode out;
        EXPECT_FALSE(collect(kernel, each.collector, out)) << each.what;
        EXPECT_TRUE(out.getChildNodes().empty()) << each.what;
        EXPECT_EQ(each.reads, kernel.reads()) << each.what;
    }
}

TEST_F(ThreadxObjectCollectorIntegration, TimerWithoutTheInternalLayoutShowsOnlyItsName) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.kernel().resolveStructures({"TX_TIMER_STRUCT"});
    KernelInfoNode out;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::TIMERS, out));
    EXPECT_EQ((std::vector<std::string>{"Timer: Name=heartbeat;"}), objectsOf(out));
    EXPECT_EQ(1u + 2u + 1u, kernel.reads());
}

TEST_F(ThreadxObjectCollectorIntegration, UnreadableMembersLeaveEmptyValues) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(member(kernel, "mutex_fs", "TX_MUTEX_STRUCT", "tx_mutex_ownership_count"), 4);
    kernel.failReads(member(kernel, "mutex_fs", "TX_MUTEX_STRUCT", "tx_mutex_suspension_list"), 4);
    // The owner's name pointer, read through the owner's own layout.
    kernel.failReads(member(kernel, "thread_main", "TX_THREAD_STRUCT", "tx_thread_name"), 4);
    kernel.writeWord(member(kernel, "mutex_spi", "TX_MUTEX_STRUCT", "tx_mutex_name"), 0x30000000);
    KernelInfoNode out;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::MUTEXES, out));
    EXPECT_EQ((std::vector<std::string>{"Mutex: Name=fs lock; Owner=; Owner count=; Suspended=;",
                                        "Mutex: Name=; Owner=; Owner count=0; Suspended=;"}),
              objectsOf(out));
}

TEST_F(ThreadxObjectCollectorIntegration, SuspensionListThatCirclesWithoutItsFirstIsCutAtAThreadSeenBefore) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_queue_created_ptr"), kernel.address("queue_looping_waiters"));
    // waiter x -> waiter y -> waiter z -> waiter y: each once, then the warning.
    const std::uint32_t first = kernel.address("waiter_x");
    const std::uint32_t second = kernel.address("waiter_y");
    KernelInfoNode out;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::QUEUES, out,
                        "Walk of the suspension list at " + hex8(first) + " cut short at " + hex8(second) +
                            ": a link seen before.\n"));
    EXPECT_EQ((std::vector<std::string>{"Queue: Name=looping waiters; Message size=0; Capacity=0; Used=0; "
                                        "Suspended=waiter x, waiter y, waiter z;"}),
              objectsOf(out));

    kernel.writeWord(kernel.address("_tx_queue_created_ptr"), kernel.address("queue_open_waiters"));
    KernelInfoNode open;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::QUEUES, open));
    EXPECT_EQ((std::vector<std::string>{"Queue: Name=open waiters; Message size=0; Capacity=0; Used=0; "
                                        "Suspended=first in line, second in line;"}),
              objectsOf(open));
}

TEST_F(ThreadxObjectCollectorIntegration, ListThatNeverReturnsToItsHeadIsCutAtAnObjectSeenBefore) {
    // a -> b -> c -> b: each semaphore once, then the warning; a semaphore costs 5 reads (name pointer,
    // name, count, suspension list, next), the head and the kernel's count one each.
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_semaphore_created_ptr"), kernel.address("semaphore_a"));
    KernelInfoNode out;
    EXPECT_TRUE(collect(kernel, ThreadxObjectKinds::SEMAPHORES, out,
                        "Walk of the created list _tx_semaphore_created_ptr cut short at " +
                            hex8(kernel.address("semaphore_b")) + ": a link seen before.\n"));
    EXPECT_EQ((std::vector<std::string>{"Semaphore: Name=semaphore a; Count=0; Suspended=;",
                                        "Semaphore: Name=semaphore b; Count=0; Suspended=;",
                                        "Semaphore: Name=semaphore c; Count=0; Suspended=;"}),
              objectsOf(out));
    EXPECT_EQ(2u + 3u * 5u, kernel.reads());
}

// Ten groups whose kernel count says three: the count and the margin of four, seven groups, then the
// warning.
TEST_F(ThreadxObjectCollectorIntegration, RingLongerThanItsCountIsCutPastTheCountAndMargin) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_event_flags_created_count"), 3);
    KernelInfoNode out;
    EXPECT_TRUE(collect(kernel, ThreadxObjectKinds::EVENT_FLAGS, out,
                        "Walk of the created list _tx_event_flags_created_ptr cut short at " +
                            hex8(threadxedges::flagGroup(kernel, 7)) +
                            ": more links than the list can hold.\n"));
    ASSERT_EQ(7u, out.getChildNodes().size());
    EXPECT_EQ("EventFlag: Name=flags 6; Flags=0x00000006; Suspended=;", objectsOf(out)[6]);
}

// Six threads wait on the queue, whose own count says none: four of them (the margin), then the warning.
// With its count of three all six show.
TEST_F(ThreadxObjectCollectorIntegration, SuspensionListLongerThanItsCountIsCutPastTheMargin) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    const char* const waiters[] = {"thread_uart_rx", "thread_uart_tx", "thread_logger",
                                   "thread_storage", "thread_net",     "thread_housekeeping"};
    for (std::size_t i = 0; i < 6; ++i) {
        kernel.writeWord(member(kernel, waiters[i], "TX_THREAD_STRUCT", "tx_thread_suspended_next"),
                         i + 1 < 6 ? kernel.address(waiters[i + 1]) : 0);
    }
    const std::uint32_t count = member(kernel, "queue_uart", "TX_QUEUE_STRUCT", "tx_queue_suspended_count");
    kernel.writeWord(count, 0);
    KernelInfoNode out;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::QUEUES, out,
                        "Walk of the suspension list at " + hex8(kernel.address("thread_uart_rx")) +
                            " cut short at " + hex8(kernel.address("thread_net")) +
                            ": more links than the list can hold.\n"));
    EXPECT_EQ((std::vector<std::string>{"Queue: Name=uart queue; Message size=4; Capacity=16; Used=0; "
                                        "Suspended=uart rx, uart tx, logger, storage;"}),
              objectsOf(out));

    kernel.writeWord(count, 3);
    KernelInfoNode all;
    ASSERT_TRUE(collect(kernel, ThreadxObjectKinds::QUEUES, all));
    EXPECT_EQ((std::vector<std::string>{"Queue: Name=uart queue; Message size=4; Capacity=16; Used=0; "
                                        "Suspended=uart rx, uart tx, logger, storage, net events, "
                                        "housekeeping and wa;"}),
              objectsOf(all));
}
