#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "FreeRtosDriverTestSupport.h"
#include "SourceFile.h"

#include <gtest/gtest.h>

using namespace freertostest;

namespace {

class FreeRtosStateIntegration : public FreeRtosDriverTest {
protected:
    KernelInfoNode state(const std::vector<std::string>& words = {"state"}) {
        KernelInfoNode out;
        EXPECT_TRUE(driver->runCommand(kernel->server(), words, out));
        return out;
    }

    // The labels of the sections, in order.
    static std::string sections(const KernelInfoNode& out) {
        std::string text;
        for (const KernelInfoNode& section : out.getChildNodes()) {
            text += section.getLabel() + "|";
        }
        return text;
    }

    static std::size_t occurrences(const std::string& text, const std::string& line) {
        std::size_t count = 0;
        for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
            ++count;
        }
        return count;
    }
};

const char* const kAllSections = "Driver|Kernel state|Stack usage|Tasks|Queues|Semaphores|Software timers|";

} // namespace

// The whole snapshot, in the three forms the user can ask for.
TEST_F(FreeRtosStateIntegration, CompleteSnapshotInEveryForm) {
    load("freertos_snapshot.elf");
    KernelInfoNode out = state();
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/freertos_state.txt"),
              KernelInfoNode::toString(out, FORMAT_TABULAR));
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/freertos_state_tree.txt"),
              KernelInfoNode::toString(out, FORMAT_TREE));
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/freertos_state.json"),
              KernelInfoNode::toString(out, FORMAT_JSON));
}

TEST_F(FreeRtosStateIntegration, SectionsInOrderWithTheirValues) {
    load("freertos_snapshot.elf");
    KernelInfoNode out = state();
    EXPECT_EQ(kAllSections, sections(out));
    const std::vector<KernelInfoNode>& nodes = out.getChildNodes();
    EXPECT_EQ("freeRTOS", nodes[0].getValue());
    EXPECT_EQ("Started", nodes[1].getValue());
    EXPECT_EQ(12u, nodes[2].getChildNodes().size());
    EXPECT_EQ(12u, nodes[3].getChildNodes().size());
    EXPECT_EQ(3u, nodes[4].getChildNodes().size());
    EXPECT_EQ(4u, nodes[5].getChildNodes().size());
    EXPECT_EQ(2u, nodes[6].getChildNodes().size());
    for (const KernelInfoNode& node : nodes) {
        EXPECT_EQ(0u, node.getId());
    }
}

TEST_F(FreeRtosStateIntegration, FurtherWordsChangeNothing) {
    load("freertos_snapshot.elf");
    std::string plain = KernelInfoNode::toString(state(), FORMAT_JSON);
    EXPECT_EQ(plain, KernelInfoNode::toString(state({"state", "extra", "words"}), FORMAT_JSON));
}

TEST_F(FreeRtosStateIntegration, OnlyTheExactWordIsACommand) {
    load("freertos_snapshot.elf");
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {}, {"STATE"}, {"State"}, {"stat"}, {"states"}, {"state "}, {""}, {"tasks", "state"}}) {
        KernelInfoNode out;
        EXPECT_FALSE(driver->runCommand(kernel->server(), words, out)) << words.size();
        EXPECT_TRUE(out.getChildNodes().empty());
    }
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosStateIntegration, TasksAreListedBeforeTheSchedulerStarts) {
    load("freertos_snapshot.elf");
    writeWord(address("xSchedulerRunning"), 0);
    KernelInfoNode out = state();
    EXPECT_EQ("Not started", out.getChildNodes()[1].getValue());
    EXPECT_EQ(kAllSections, sections(out));
    EXPECT_EQ(12u, out.getChildNodes()[3].getChildNodes().size());
}

TEST_F(FreeRtosStateIntegration, KernelStateThatCannotBeCheckedIsNoKernel) {
    load("freertos_snapshot.elf", {}, {"xSchedulerRunning"});
    KernelInfoNode out = state();
    EXPECT_EQ("No kernel found", out.getChildNodes()[1].getValue());
    EXPECT_EQ(kAllSections, sections(out));
}

// Without the registry both of its sections go, and each walk says why.
TEST_F(FreeRtosStateIntegration, WithoutTheRegistryTheOtherSectionsStand) {
    load("freertos_snapshot.elf", {}, {"xQueueRegistry"});
    ::testing::internal::CaptureStdout();
    KernelInfoNode out = state();
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ("Driver|Kernel state|Stack usage|Tasks|Software timers|", sections(out));
    EXPECT_EQ(2u, occurrences(log, "Missing symbol: xQueueRegistry.\n"));
}

TEST_F(FreeRtosStateIntegration, WithoutTheRegistrySizeTheWarningComesTwice) {
    load("freertos_snapshot.elf", {}, {"xQueueRegistrySize"});
    ::testing::internal::CaptureStdout();
    KernelInfoNode out = state();
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(
        2u,
        occurrences(log,
                    "Missing symbol: xQueueRegistrySize. Size 8 from the array length of xQueueRegistry.\n"));
    EXPECT_EQ(3u, out.getChildNodes()[4].getChildNodes().size());
    EXPECT_EQ(4u, out.getChildNodes()[5].getChildNodes().size());
}

TEST_F(FreeRtosStateIntegration, TimersNotSetUpGiveAnEmptySection) {
    load("freertos_snapshot.elf");
    writeWord(address("pxCurrentTimerList"), 0);
    KernelInfoNode out = state();
    EXPECT_EQ(kAllSections, sections(out));
    EXPECT_EQ("Software timers", out.getChildNodes()[6].getLabel());
    EXPECT_TRUE(out.getChildNodes()[6].getChildNodes().empty());
}

TEST_F(FreeRtosStateIntegration, TimerListUnknownLeavesOutItsSection) {
    load("freertos_snapshot.elf", {}, {"pxCurrentTimerList"});
    EXPECT_EQ("Driver|Kernel state|Stack usage|Tasks|Queues|Semaphores|", sections(state()));
}

// A failed task walk drops its tasks, and the stack section with them.
TEST_F(FreeRtosStateIntegration, FailedTaskWalkLeavesOutTasksAndStacks) {
    load("freertos_snapshot.elf", {}, {"pxCurrentTCB"});
    EXPECT_EQ("Driver|Kernel state|Queues|Semaphores|Software timers|", sections(state()));
}

TEST_F(FreeRtosStateIntegration, KernelWithoutTasksHasTasksButNoStacks) {
    load("freertos_snapshot.elf");
    emptyEveryTaskList();
    KernelInfoNode out = state();
    EXPECT_EQ("Driver|Kernel state|Tasks|Queues|Semaphores|Software timers|", sections(out));
    EXPECT_TRUE(out.getChildNodes()[2].getChildNodes().empty());
}

TEST_F(FreeRtosStateIntegration, StackSectionOfAKernelWithoutEndOfStack) {
    load("freertos_snapshot_legacy.elf", {{"--opt_task_sel", "true"}});
    KernelInfoNode out = state();
    const KernelInfoNode& stacks = out.getChildNodes()[2];
    EXPECT_EQ("Min free stack", stacks.getLabel());
    EXPECT_EQ(
        "Min free stack:\n Sleeper:0B\n SensorFusionManager:96B\n Producer:128B\n TelemetryUplinkSche:64B\n"
        " EventWaiterA:180B\n Pending:32B\n Paused:>256B\n BinWaiter:150B\n EventWaiterB:100B\n"
        " IDLE:>256B\n Worker:200B\n ControlLoop:255B\n",
        KernelInfoNode::toStringTree(stacks, 0));
}

// The label follows the first task alone: one without either figure leaves the column unnamed, and a
// task without a figure shows "N/A".
TEST_F(FreeRtosStateIntegration, StackSectionIsNamedByTheFirstTask) {
    load("freertos_snapshot.elf");
    writeWord(taskMember("xSleeperTCB", "pxEndOfStack"), address("xSleeperStack"));
    KernelInfoNode out = state();
    const KernelInfoNode& stacks = out.getChildNodes()[2];
    EXPECT_EQ("", stacks.getLabel());
    EXPECT_EQ("N/A", child(stacks, "Sleeper"));
    EXPECT_EQ("420B/516B (81.4%)", child(stacks, "SensorFusionManager"));
    EXPECT_EQ("Tasks", out.getChildNodes()[3].getLabel());
}

// Two walks of the registry, and in each every occupied slot costs at least its name and item size.
TEST_F(FreeRtosStateIntegration, ReadsOfOneStateCommand) {
    load("freertos_snapshot.elf");
    state();
    unsigned int kernelState = 1;
    unsigned int tasks = (8 + 1 + 10) + 12 * 12 + 9;
    unsigned int queues = 1 + 8 * 2 + 7 * 2 + 6 + 6 + 5;
    unsigned int semaphores = 1 + 8 * 2 + 7 * 2 + 6 + 5 + 5 + 5;
    // The pointer, the list's count and first link, per timer its two links and six members.
    unsigned int timers = 1 + 2 + 2 * (2 + 6);
    EXPECT_EQ(kernelState + tasks + queues + semaphores + timers, kernel->memoryReads());
}
