#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/freertos/FreeRtosTaskView.h"

#include "FreeRtosDriverTestSupport.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace freertostest;

namespace {

// The tasks of freertos_snapshot in walk order: delayed, delayed overflow, pending, suspended, then
// ready from priority 0 upward.
const std::vector<std::string> kWalkOrder = {"xSleeperTCB",   "xSensorTCB",       "xProducerTCB",
                                             "xTelemetryTCB", "xEventWaiterATCB", "xPendingTCB",
                                             "xPausedTCB",    "xBinWaiterTCB",    "xEventWaiterBTCB",
                                             "xIdleTCB",      "xWorkerTCB",       "xControlLoopTCB"};
const std::vector<std::string> kNames = {"Sleeper",      "SensorFusionManager",
                                         "Producer",     "TelemetryUplinkSche",
                                         "EventWaiterA", "Pending",
                                         "Paused",       "BinWaiter",
                                         "EventWaiterB", "IDLE",
                                         "Worker",       "ControlLoop"};

// Reads of a plain walk of freertos_snapshot: each list head costs its count and, if not empty, its
// first link (delayed 2 + 2, pending 2, suspended 2, ready 2 + 2 + 1 + 1 + 1 + 2 + 1), the top priority
// one; each task six.
const unsigned int kListReads = 8 + 1 + 10;
const unsigned int kReadsPerTask = 6;

class FreeRtosTaskWalkIntegration : public FreeRtosDriverTest {
protected:
    KernelInfoNode walk(bool extended, bool expected = true) {
        KernelInfoNode tasks;
        EXPECT_EQ(expected, driver->collectTasks(kernel->server(), extended, tasks));
        return tasks;
    }

    std::vector<std::string> taskIds(const std::vector<std::string>& tcbs) const {
        std::vector<std::string> ids;
        for (const std::string& tcb : tcbs) {
            ids.push_back(hex(address(tcb)));
        }
        return ids;
    }

    // The task at at, found on a list of type, rendered as the extended walk renders it.
    bool readTask(unsigned int at, FreeRtosTaskWalk::TaskListType type, KernelInfoNode& node) {
        FreeRtosTask found;
        bool result = driver->getTaskWalk().readTask(kernel->server(), at, type, true, found);
        node = FreeRtosTaskView::taskNode(found, true);
        return result;
    }

    // The twelve tasks of freertos_snapshot as threads, by their names, ControlLoop the running one.
    void expectSnapshotThreads(const ThreadList& threads) {
        ASSERT_EQ(12u, threads.getNumberOfThreads());
        for (std::size_t i = 0; i < kWalkOrder.size(); ++i) {
            SCOPED_TRACE(kNames[i]);
            TargetThread thread;
            ASSERT_TRUE(threads.getThread(address(kWalkOrder[i]), thread));
            EXPECT_EQ(kNames[i], thread.getName());
            EXPECT_EQ(kWalkOrder[i] == "xControlLoopTCB", thread.getCpuActive());
        }
    }

    std::string captureWalk(bool expected) {
        ::testing::internal::CaptureStdout();
        walk(false, expected);
        return ::testing::internal::GetCapturedStdout();
    }
};

KernelInfoNode task(const std::vector<KernelInfoNode>& children) {
    KernelInfoNode node(0, "", "Task");
    for (const KernelInfoNode& each : children) {
        node.addChild(each);
    }
    return node;
}

} // namespace

TEST_F(FreeRtosTaskWalkIntegration, PlainWalkFindsEveryTaskInListOrder) {
    load("freertos_snapshot.elf");
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ(taskIds(kWalkOrder), column(tasks, "Task id"));
    EXPECT_EQ(kNames, column(tasks, "Name"));
    std::vector<std::string> active(12, "0");
    active[11] = "1";
    EXPECT_EQ(active, column(tasks, "Active"));
    for (const KernelInfoNode& each : tasks.getChildNodes()) {
        EXPECT_EQ("Task", each.getLabel());
        EXPECT_EQ(std::vector<std::string>({"Active", "Task id", "Name", "Top of stack"}), labels(each));
    }
    EXPECT_EQ(hex(address("xControlLoopStack") + (128 - 17) * 4),
              child(tasks.getChildNodes()[11], "Top of stack"));
    EXPECT_EQ(kListReads + 12 * kReadsPerTask, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, ExtendedTaskHasEveryChildWithItsId) {
    load("freertos_snapshot.elf");
    KernelInfoNode tasks = walk(true);
    ASSERT_EQ(12u, tasks.getChildNodes().size());
    unsigned int sensor = address("xSensorTCB");
    unsigned int stack = address("xSensorStack");
    unsigned int waitingToReceive =
        member("QueueDefinition", address("xRxBytesQueue"), "xTasksWaitingToReceive");
    KernelInfoNode expected = task({
        KernelInfoNode(7, "0", "Active"),
        KernelInfoNode(8, hex(sensor), "Task id"),
        KernelInfoNode(0, "SensorFusionManager", "Name"),
        KernelInfoNode(1, hex(stack + (128 - 17) * 4), "Top of stack"),
        KernelInfoNode(2, hex(stack), "Start of stack"),
        KernelInfoNode(3, hex(stack + 127 * 4), "End of stack"),
        KernelInfoNode(5, "420B/516B (81.4%)", "Stack usage"),
        KernelInfoNode(10, "3/3", "Priority (Base/Actual)"),
        KernelInfoNode(11, "4.36%", "Run-time"),
        KernelInfoNode(12, "BLOCKED", "State"),
        KernelInfoNode(13, hex(waitingToReceive), "Event object"),
    });
    const KernelInfoNode& found = tasks.getChildNodes()[1];
    EXPECT_EQ(KernelInfoNode::toStringJson(expected, true), KernelInfoNode::toStringJson(found, true));
    for (unsigned int id : {0u, 1u, 2u, 3u, 5u, 7u, 8u, 10u, 11u, 12u, 13u}) {
        KernelInfoNode byId;
        EXPECT_TRUE(found.getChildNode(id, byId)) << id;
    }
}

TEST_F(FreeRtosTaskWalkIntegration, ExtendedWalkGivesStackRunTimeAndState) {
    load("freertos_snapshot.elf");
    KernelInfoNode tasks = walk(true);
    EXPECT_EQ(std::vector<std::string>({"Overflow!", "420B/516B (81.4%)", "388B/516B (75.2%)",
                                        "452B/516B (87.6%)", "336B/516B (65.1%)", "484B/516B (93.8%)",
                                        "260B/516B (50.4%)", "366B/516B (70.9%)", "416B/516B (80.6%)",
                                        "116B/516B (22.5%)", "316B/516B (61.2%)", "261B/516B (50.6%)"}),
              column(tasks, "Stack usage"));
    EXPECT_EQ(std::vector<std::string>(12, "<none>"), column(tasks, "Min free stack"));
    EXPECT_EQ(std::vector<std::string>(
                  {"1/1", "3/3", "2/4", "2/2", "3/3", "3/3", "1/1", "2/2", "3/3", "0/0", "1/1", "5/5"}),
              column(tasks, "Priority (Base/Actual)"));
    EXPECT_EQ(std::vector<std::string>({"0.00%", "4.36%", "1.91%", "0.95%", "0.26%", "0.48%", "0.00%",
                                        "3.00%", "0.10%", "50.00%", "11.77%", "25.00%"}),
              column(tasks, "Run-time"));
    EXPECT_EQ(std::vector<std::string>({"DELAYED", "BLOCKED", "BLOCKED", "DELAYED", "BLOCKED", "BLOCKED",
                                        "SUSPENDED", "BLOCKED", "BLOCKED", "READY", "READY", "RUNNING"}),
              column(tasks, "State"));
    unsigned int queue = address("xRxBytesQueue");
    unsigned int bits = member("EventGroupDef_t", address("xEventGroupA"), "xTasksWaitingForBits");
    EXPECT_EQ(
        std::vector<std::string>(
            {"", hex(member("QueueDefinition", queue, "xTasksWaitingToReceive")),
             hex(member("QueueDefinition", address("xCmdQueue"), "xTasksWaitingToSend")), "", hex(bits), "",
             "", hex(member("QueueDefinition", address("xBinarySemaphore"), "xTasksWaitingToReceive")),
             hex(bits), "", "", ""}),
        column(tasks, "Event object"));
    // The plain walk's six reads, the two ends of the stack, the stack itself, two priorities and the
    // run-time counter; and for a task off the ready lists, its event item's list.
    EXPECT_EQ(kListReads + 12 * (kReadsPerTask + 6) + 9, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, GetThreadsMakesOneThreadPerTask) {
    load("freertos_snapshot.elf");
    ThreadList threads;
    threads.addThread(TargetThread(0x1234, 0x5678));
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    expectSnapshotThreads(threads);
    TargetThread worker;
    ASSERT_TRUE(threads.getThread(address("xWorkerTCB"), worker));
    EXPECT_EQ(address("xWorkerStack") + (128 - 51) * 4, worker.getStackPtr());
    TargetThread active;
    ASSERT_TRUE(threads.getActiveThread(active));
    EXPECT_EQ(address("xControlLoopTCB"), active.getThreadId());
    EXPECT_EQ(kListReads + 12 * kReadsPerTask, kernel->memoryReads());
}

// configUSE_MINI_LIST_ITEM 0: the debug information has no mini item, every list ends in a full item.
TEST_F(FreeRtosTaskWalkIntegration, EveryTaskWithoutTheMiniListItem) {
    load("freertos_snapshot.elf", {}, {}, {"xMINI_LIST_ITEM"});
    ThreadList threads;
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    expectSnapshotThreads(threads);
}

TEST_F(FreeRtosTaskWalkIntegration, HundredTasks) {
    load("freertos_hundred.elf");
    ThreadList threads;
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    ASSERT_EQ(100u, threads.getNumberOfThreads());
    KernelInfoNode tasks = walk(false);
    ASSERT_EQ(100u, tasks.getChildNodes().size());
    unsigned int first = address("xTasks");
    StructInfo tcb;
    ASSERT_TRUE(SymbolTable::getInstance().lookupStruct("tskTaskControlBlock", tcb));
    for (unsigned int i = 0; i < 100; ++i) {
        const KernelInfoNode& each = tasks.getChildNodes()[i];
        char name[8];
        snprintf(name, sizeof(name), "Task%02u", i);
        EXPECT_EQ(name, child(each, "Name"));
        EXPECT_EQ(hex(first + i * tcb.getSize()), child(each, "Task id"));
        EXPECT_EQ(i == 70 ? "1" : "0", child(each, "Active"));
    }
    // Heads: four fixed lists of two reads, the top priority, ready lists 0 to 4 (only 1 holds tasks).
    EXPECT_EQ(2 * (8 + 1 + 6 + 100 * kReadsPerTask), kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, KernelWithoutTasks) {
    load("freertos_snapshot.elf");
    emptyEveryTaskList();
    kernel->resetReads();
    KernelInfoNode tasks = walk(true);
    EXPECT_TRUE(tasks.getChildNodes().empty());
    EXPECT_EQ(4u + 1 + 7, kernel->memoryReads());
    ThreadList threads;
    EXPECT_TRUE(driver->getThreads(kernel->server(), threads));
    EXPECT_EQ(0u, threads.getNumberOfThreads());
}

// A switched-out task whose saved frame cannot be found is left out of the threads alone.
TEST_F(FreeRtosTaskWalkIntegration, UnreadableTopOfStackLeavesOutThatTaskAlone) {
    load("freertos_snapshot.elf");
    fault(taskMember("xPausedTCB", "pxTopOfStack"), 4);
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ("N/A", child(tasks.getChildNodes()[6], "Top of stack"));
    ThreadList threads;
    threads.addThread(TargetThread(0x1234, 0x5678));
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    std::vector<std::string> expected = kWalkOrder;
    expected.erase(expected.begin() + 6);
    std::vector<unsigned int> ids;
    for (const std::string& tcb : expected) {
        ids.push_back(address(tcb));
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, threads.getThreadIdentifiers());
    TargetThread running;
    ASSERT_TRUE(threads.getThread(address("xControlLoopTCB"), running));
    EXPECT_EQ(address("xControlLoopStack") + (128 - 17) * 4, running.getStackPtr());
}

// The running task's registers are the core's: it stays a thread without its saved frame.
TEST_F(FreeRtosTaskWalkIntegration, RunningTaskWithoutTopOfStackStaysAThread) {
    load("freertos_snapshot.elf");
    fault(taskMember("xControlLoopTCB", "pxTopOfStack"), 4);
    ThreadList threads;
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    EXPECT_EQ(12u, threads.getNumberOfThreads());
    TargetThread active;
    ASSERT_TRUE(threads.getActiveThread(active));
    EXPECT_EQ(address("xControlLoopTCB"), active.getThreadId());
    EXPECT_EQ("ControlLoop", active.getName());
}

TEST_F(FreeRtosTaskWalkIntegration, UnreadableNameShowsNotAvailable) {
    load("freertos_snapshot.elf");
    fault(taskMember("xWorkerTCB", "pcTaskName") + 8, 1);
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ("N/A", child(tasks.getChildNodes()[10], "Name"));
    ThreadList threads;
    ASSERT_TRUE(driver->getThreads(kernel->server(), threads));
    TargetThread worker;
    ASSERT_TRUE(threads.getThread(address("xWorkerTCB"), worker));
    EXPECT_EQ("N/A", worker.getName());
}

TEST_F(FreeRtosTaskWalkIntegration, WithoutEndOfStackTheStackIsProbed) {
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    KernelInfoNode tasks = walk(true);
    // A full probe of 256 fill bytes has more behind it; 255 and then another byte is exact.
    EXPECT_EQ(std::vector<std::string>({"0B", "96B", "128B", "64B", "180B", "32B", ">256B", "150B", "100B",
                                        ">256B", "200B", "255B"}),
              column(tasks, "Min free stack"));
    EXPECT_EQ(std::vector<std::string>(12, "<none>"), column(tasks, "End of stack"));
    EXPECT_EQ(std::vector<std::string>(12, "<none>"), column(tasks, "Stack usage"));
    EXPECT_EQ(hex(address("xIdleStack")), child(tasks.getChildNodes()[9], "Start of stack"));
    EXPECT_EQ(std::vector<std::string>({"Active", "Task id", "Name", "Top of stack", "Start of stack",
                                        "Min free stack", "Priority (Base/Actual)", "Run-time", "State",
                                        "Event object"}),
              labels(tasks.getChildNodes()[0]));
}

// The older member name of a list item's container gives the same states.
TEST_F(FreeRtosTaskWalkIntegration, OlderContainerNameGivesTheSameStates) {
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    KernelInfoNode tasks = walk(true);
    EXPECT_EQ(std::vector<std::string>({"DELAYED", "BLOCKED", "BLOCKED", "DELAYED", "BLOCKED", "BLOCKED",
                                        "SUSPENDED", "BLOCKED", "BLOCKED", "READY", "READY", "RUNNING"}),
              column(tasks, "State"));
    EXPECT_EQ(hex(member("QueueDefinition", address("xCmdQueue"), "xTasksWaitingToSend")),
              child(tasks.getChildNodes()[2], "Event object"));
}

TEST_F(FreeRtosTaskWalkIntegration, EndOfStackNotAboveStartGivesNoStackFigure) {
    load("freertos_snapshot.elf");
    writeWord(taskMember("xWorkerTCB", "pxEndOfStack"), address("xWorkerStack"));
    KernelInfoNode tasks = walk(true);
    const KernelInfoNode& worker = tasks.getChildNodes()[10];
    EXPECT_EQ(hex(address("xWorkerStack")), child(worker, "End of stack"));
    EXPECT_EQ("<none>", child(worker, "Stack usage"));
    EXPECT_EQ("<none>", child(worker, "Min free stack"));
    EXPECT_EQ("116B/516B (22.5%)", child(tasks.getChildNodes()[9], "Stack usage"));
}

TEST_F(FreeRtosTaskWalkIntegration, ZeroTotalRunTimeGivesNotAvailableForAll) {
    load("freertos_snapshot.elf");
    writeWord(address("ulTotalRunTime"), 0);
    EXPECT_EQ(std::vector<std::string>(12, "N/A"), column(walk(true), "Run-time"));
}

TEST_F(FreeRtosTaskWalkIntegration, KernelWithoutTotalRunTimeGivesNotAvailableForAll) {
    load("freertos_snapshot.elf", {}, {"ulTotalRunTime"});
    EXPECT_EQ(std::vector<std::string>(12, "N/A"), column(walk(true), "Run-time"));
}

TEST_F(FreeRtosTaskWalkIntegration, CounterEqualToTheTotalIsAHundredPercent) {
    load("freertos_snapshot.elf");
    writeWord(taskMember("xPausedTCB", "ulRunTimeCounter"), 1048576);
    EXPECT_EQ("100.00%", child(walk(true).getChildNodes()[6], "Run-time"));
}

// No uxBasePriority, no container of either name, no run-time statistics.
TEST_F(FreeRtosTaskWalkIntegration, StrippedDownKernel) {
    load("freertos_snapshot_minimal.elf");
    KernelInfoNode tasks = walk(true);
    ASSERT_EQ(12u, tasks.getChildNodes().size());
    EXPECT_EQ(
        std::vector<std::string>({"/1", "/3", "/4", "/2", "/3", "/3", "/1", "/2", "/3", "/0", "/1", "/5"}),
        column(tasks, "Priority (Base/Actual)"));
    EXPECT_EQ(std::vector<std::string>({"", "", "", "", "", "", "", "", "", "READY", "READY", "RUNNING"}),
              column(tasks, "State"));
    EXPECT_EQ(std::vector<std::string>(12, ""), column(tasks, "Event object"));
    EXPECT_EQ(std::vector<std::string>(12, "N/A"), column(tasks, "Run-time"));
}

// Each member the configuration removed is named once, however many tasks the walk reads.
TEST_F(FreeRtosTaskWalkIntegration, StrippedDownKernelNamesEachMissingMemberOnce) {
    load("freertos_snapshot_minimal.elf");
    for (const char* expected : {"Member not in this kernel build: tskTaskControlBlock.uxBasePriority.\n"
                                 "Member not in this kernel build: xLIST_ITEM.pxContainer.\n",
                                 ""}) {
        ::testing::internal::CaptureStdout();
        walk(true);
        EXPECT_EQ(expected, ::testing::internal::GetCapturedStdout());
    }
}

TEST_F(FreeRtosTaskWalkIntegration, ReadTaskOnADelayedListWithoutContainerSucceeds) {
    load("freertos_snapshot_minimal.elf");
    KernelInfoNode node(0, "", "Task");
    EXPECT_TRUE(readTask(address("xSensorTCB"), FreeRtosTaskWalk::TASK_LIST_DELAYED, node));
    EXPECT_EQ("", child(node, "State"));
    EXPECT_EQ("", child(node, "Event object"));
}

// The pending list holds tasks that are about to be ready; they are shown as blocked, without an object.
TEST_F(FreeRtosTaskWalkIntegration, StateByListAndContainer) {
    load("freertos_snapshot.elf");
    struct StateCase {
        const char* tcb;
        FreeRtosTaskWalk::TaskListType type;
        const char* state;
        bool showsContainer;
    };
    const StateCase cases[] = {
        {"xSleeperTCB", FreeRtosTaskWalk::TASK_LIST_DELAYED, "DELAYED", false},
        {"xSensorTCB", FreeRtosTaskWalk::TASK_LIST_DELAYED, "BLOCKED", true},
        {"xSleeperTCB", FreeRtosTaskWalk::TASK_LIST_PENDING_READY, "BLOCKED", false},
        {"xSensorTCB", FreeRtosTaskWalk::TASK_LIST_PENDING_READY, "BLOCKED", false},
        {"xPausedTCB", FreeRtosTaskWalk::TASK_LIST_SUSPENDED, "SUSPENDED", false},
        {"xBinWaiterTCB", FreeRtosTaskWalk::TASK_LIST_SUSPENDED, "BLOCKED", true},
        {"xSensorTCB", FreeRtosTaskWalk::TASK_LIST_READY, "READY", false},
        {"xControlLoopTCB", FreeRtosTaskWalk::TASK_LIST_READY, "RUNNING", false},
    };
    for (const StateCase& each : cases) {
        SCOPED_TRACE(::testing::Message() << each.tcb << " on list type " << each.type);
        KernelInfoNode node(0, "", "Task");
        ASSERT_TRUE(readTask(address(each.tcb), each.type, node));
        EXPECT_EQ(each.state, child(node, "State"));
        unsigned int container = 0;
        ASSERT_TRUE(kernel->server().readMemory(
            member("xLIST_ITEM", taskMember(each.tcb, "xEventListItem"), "pxContainer"), container));
        EXPECT_EQ(each.showsContainer ? hex(container) : "", child(node, "Event object"));
    }
}

TEST_F(FreeRtosTaskWalkIntegration, OnlyTheRunningTaskIsActive) {
    load("freertos_snapshot.elf");
    // The same task, off the ready lists, is active but not running.
    writeWord(address("pxCurrentTCB"), address("xPausedTCB"));
    KernelInfoNode tasks = walk(true);
    std::vector<std::string> active(12, "0");
    active[6] = "1";
    EXPECT_EQ(active, column(tasks, "Active"));
    EXPECT_EQ("SUSPENDED", child(tasks.getChildNodes()[6], "State"));
    EXPECT_EQ("READY", child(tasks.getChildNodes()[11], "State"));
}

// A count larger than the links: the walk ends at a null link if there is one...
TEST_F(FreeRtosTaskWalkIntegration, CountLargerThanTheLinksEndsAtANullLink) {
    load("freertos_snapshot.elf");
    writeWord(address("xSuspendedTaskList"), 5);
    writeWord(member("xLIST_ITEM", taskMember("xBinWaiterTCB", "xStateListItem"), "pxNext"), 0);
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ(
        taskIds({"xSleeperTCB", "xSensorTCB", "xProducerTCB", "xTelemetryTCB", "xEventWaiterATCB",
                 "xPendingTCB", "xPausedTCB", "xBinWaiterTCB", "xIdleTCB", "xWorkerTCB", "xControlLoopTCB"}),
        column(tasks, "Task id"));
}

// ...and otherwise at the list's end marker: the word behind it is never taken for a task.
TEST_F(FreeRtosTaskWalkIntegration, CountLargerThanTheLinksEndsAtTheEndMarker) {
    load("freertos_snapshot.elf");
    writeWord(address("pxReadyTasksLists"), 3);
    unsigned int before = kernel->memoryReads();
    KernelInfoNode tasks = walk(false);
    std::vector<std::string> ids = column(tasks, "Task id");
    ASSERT_EQ(12u, ids.size());
    EXPECT_EQ(hex(address("xIdleTCB")), ids[9]);
    EXPECT_EQ(kListReads + 12 * kReadsPerTask, kernel->memoryReads() - before);
}

TEST_F(FreeRtosTaskWalkIntegration, TaskSelectionDecidesHowManyReadyListsAreWalked) {
    // Absent: uxTopUsedPriority, 6, so lists 0 to 6.
    load("freertos_snapshot.elf");
    EXPECT_EQ(12u, walk(false).getChildNodes().size());
    EXPECT_EQ(kListReads + 12 * kReadsPerTask, kernel->memoryReads());
    // False: uxTopReadyPriority as a number, 5, so lists 0 to 5.
    load("freertos_snapshot.elf", {{"--opt_task_sel", "false"}});
    EXPECT_EQ(12u, walk(false).getChildNodes().size());
    EXPECT_EQ(kListReads - 1 + 12 * kReadsPerTask, kernel->memoryReads());
    // True: 5 as a bit map has its highest bit at 2, so lists 0 to 2, and ControlLoop is not seen.
    load("freertos_snapshot.elf", {{"--opt_task_sel", "true"}});
    EXPECT_EQ(11u, walk(false).getChildNodes().size());
    EXPECT_EQ(8 + 1 + 5 + 11 * kReadsPerTask, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, BitMapOfPrioritiesZeroAndFive) {
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    writeWord(address("uxTopReadyPriority"), 0x00000021);
    kernel->resetReads();
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ(12u, tasks.getChildNodes().size());
    // Ready lists 0 to 5: 2 + 2 + 1 + 1 + 1 + 2 reads.
    EXPECT_EQ(8 + 1 + 9 + 12 * kReadsPerTask, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, EmptyBitMapWalksPriorityZero) {
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    writeWord(address("uxTopReadyPriority"), 0);
    kernel->resetReads();
    EXPECT_EQ(10u, walk(false).getChildNodes().size());
    EXPECT_EQ(8 + 1 + 2 + 10 * kReadsPerTask, kernel->memoryReads());
}

// Without the option and without uxTopUsedPriority, a bit map is taken for a number: 2 walks lists 0 to 2
// where the bit map means lists 0 and 1.
TEST_F(FreeRtosTaskWalkIntegration, BitMapTakenForANumberWithoutTheOption) {
    load("freertos_snapshot_legacy.elf");
    writeWord(address("uxTopReadyPriority"), 2);
    kernel->resetReads();
    walk(false);
    EXPECT_EQ(8 + 1 + 5 + 11 * kReadsPerTask, kernel->memoryReads());
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    writeWord(address("uxTopReadyPriority"), 2);
    kernel->resetReads();
    walk(false);
    EXPECT_EQ(8 + 1 + 4 + 11 * kReadsPerTask, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, ListLayoutUnknown) {
    load("freertos_snapshot.elf", {}, {}, {"xLIST"});
    EXPECT_EQ("Unknown data structure layoutxLIST\n", captureWalk(false));
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, FixedListSymbolUnknown) {
    load("freertos_snapshot.elf", {}, {"xDelayedTaskList2"});
    KernelInfoNode tasks;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->collectTasks(kernel->server(), false, tasks));
    EXPECT_EQ("Symbol not found: xDelayedTaskList2\n", ::testing::internal::GetCapturedStdout());
    // The first list was walked, and its tasks stay.
    EXPECT_EQ(3u, tasks.getChildNodes().size());
}

TEST_F(FreeRtosTaskWalkIntegration, EveryFixedSymbolIsRequired) {
    for (const char* symbol :
         {"xDelayedTaskList1", "xPendingReadyList", "xSuspendedTaskList", "pxReadyTasksLists"}) {
        SCOPED_TRACE(symbol);
        load("freertos_snapshot.elf", {}, {symbol});
        EXPECT_EQ(std::string("Symbol not found: ") + symbol + "\n", captureWalk(false));
    }
}

TEST_F(FreeRtosTaskWalkIntegration, TopPrioritySymbolsUnknown) {
    load("freertos_snapshot.elf", {}, {"uxTopUsedPriority", "uxTopReadyPriority"});
    EXPECT_EQ("Symbol not found: uxTopUsedPriority/uxTopReadyPriority\n", captureWalk(false));
    load("freertos_snapshot.elf", {{"--opt_task_sel", "false"}}, {"uxTopReadyPriority"});
    EXPECT_EQ("Symbol not found: uxTopReadyPriority\n", captureWalk(false));
}

// Without the option, a kernel lacking uxTopUsedPriority is walked up to uxTopReadyPriority.
TEST_F(FreeRtosTaskWalkIntegration, TopReadyPriorityStandsInForTopUsedPriority) {
    load("freertos_snapshot.elf", {}, {"uxTopUsedPriority"});
    EXPECT_EQ(12u, walk(false).getChildNodes().size());
    EXPECT_EQ(kListReads - 1 + 12 * kReadsPerTask, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, TopPriorityUnreadable) {
    load("freertos_snapshot.elf");
    fault(address("uxTopUsedPriority"), 4);
    EXPECT_EQ("Failed reading: uxTopReadyPriority/uxTopUsedPriority\n", captureWalk(false));
}

TEST_F(FreeRtosTaskWalkIntegration, CurrentTaskUnknownFailsAtTheFirstTask) {
    load("freertos_snapshot.elf", {}, {"pxCurrentTCB"});
    EXPECT_EQ("Symbol not found: pxCurrentTCB\n", captureWalk(false));
    // Count and link of the first list, its first item's links and the total run time.
    EXPECT_EQ(2u + 2 + 1, kernel->memoryReads());
}

TEST_F(FreeRtosTaskWalkIntegration, CurrentTaskUnreadable) {
    load("freertos_snapshot.elf");
    fault(address("pxCurrentTCB"), 4);
    EXPECT_EQ("Symbol not found: pxCurrentTCB\n", captureWalk(false));
}

TEST_F(FreeRtosTaskWalkIntegration, TaskLayoutUnknownFailsTheWalk) {
    load("freertos_snapshot.elf", {}, {}, {"tskTaskControlBlock"});
    KernelInfoNode tasks;
    EXPECT_FALSE(driver->collectTasks(kernel->server(), false, tasks));
    EXPECT_TRUE(tasks.getChildNodes().empty());
}

TEST_F(FreeRtosTaskWalkIntegration, UnreadableLinkFailsTheWalkButKeepsTheTasksFound) {
    load("freertos_snapshot.elf");
    fault(member("xLIST_ITEM", taskMember("xTelemetryTCB", "xStateListItem"), "pvOwner"), 4);
    KernelInfoNode tasks;
    EXPECT_FALSE(driver->collectTasks(kernel->server(), false, tasks));
    EXPECT_EQ(3u, tasks.getChildNodes().size());
}

// An unreadable list head looks like an empty list.
TEST_F(FreeRtosTaskWalkIntegration, UnreadableListHeadCountsAsEmpty) {
    load("freertos_snapshot.elf");
    fault(address("xPendingReadyList"), 4);
    KernelInfoNode tasks = walk(false);
    EXPECT_EQ(11u, tasks.getChildNodes().size());
}

TEST(FreeRtosTaskViewTest, StackUsageNamesEachTaskByItsName) {
    FreeRtosTask idle;
    idle.name = "IDLE";
    idle.stackSize = 516;
    idle.freeStack = 400;
    FreeRtosTask worker;
    worker.name = "Worker";
    worker.freeStack = 256;
    worker.freeStackAtLeast = true;
    FreeRtosTask unknown;
    EXPECT_EQ("Stack usage:\n IDLE:116B/516B (22.5%)\n Worker:>256B\n N/A:N/A\n",
              KernelInfoNode::toStringTree(FreeRtosTaskView::stackUsage({idle, worker, unknown}), 0));
    EXPECT_EQ("Min free stack:\n Worker:>256B\n",
              KernelInfoNode::toStringTree(FreeRtosTaskView::stackUsage({worker}), 0));
    EXPECT_EQ(":\n N/A:N/A\n", KernelInfoNode::toStringTree(FreeRtosTaskView::stackUsage({unknown}), 0));
}
