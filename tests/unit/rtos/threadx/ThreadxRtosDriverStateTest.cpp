#include "rtos/threadx/ThreadxRtosDriver.h"

#include "SourceFile.h"
#include "ThreadxEdgesProgram.h"
#include "ThreadxNodeText.h"
#include "ThreadxTestKernel.h"
#include "ThreadxTestLog.h"
#include "rtos/KernelInfoNode.h"

#include <gtest/gtest.h>

namespace {

using threadxtext::labelsOf;

const KernelInfoNode* section(const KernelInfoNode& out, const std::string& label) {
    for (const KernelInfoNode& child : out.getChildNodes()) {
        if (child.getLabel() == label) {
            return &child;
        }
    }
    return nullptr;
}

std::string sectionValue(const KernelInfoNode& out, const std::string& label) {
    const KernelInfoNode* found = section(out, label);
    EXPECT_NE(nullptr, found) << "no section " << label;
    return found ? found->getValue() : std::string();
}

const std::vector<std::string> kAllSections = {
    "Driver", "Kernel state",   "Stack usage", "Thread List",        "Semaphores",       "Mutexes",
    "Timers", "Message Queues", "Event Flags", "Memory Block Pools", "Memory Byte Pools"};

} // namespace

TEST(ThreadxStateIntegration, CompleteSnapshotInItsThreeForms) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode out;
    kernel.resetReads();
    bool result = false;
    // The collectors write no log line, the walks neither; only the kernel check has a debug line.
    EXPECT_EQ("Kernel is running: true\n", threadxlog::capture(threadxlog::kAll, [&] {
                  result = kernel.driver().runCommand(kernel.server(), {"state"}, out);
              }));
    ASSERT_TRUE(result);
    EXPECT_EQ(kAllSections, labelsOf(out));
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/threadx_state.txt"),
              KernelInfoNode::toString(out, FORMAT_TABULAR));
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/threadx_state_tree.txt"),
              KernelInfoNode::toString(out, FORMAT_TREE));
    EXPECT_EQ(testfiles::readSourceFile("tests/fixtures/expected/threadx_state.json"),
              KernelInfoNode::toString(out, FORMAT_JSON));
    // Kernel state 1; threads 2 + 11 each; semaphores 15, mutexes 19, timers 7, queues 18, event flags 10,
    // block pools 14, byte pools 13 (a suspension list costs a read of its count). The program defines no
    // kernel counts of created objects.
    EXPECT_EQ(1u + 2u + 11u * 13u + 15u + 19u + 7u + 18u + 10u + 14u + 13u, kernel.reads());
}

TEST(ThreadxStateIntegration, FurtherWordsChangeNothing) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode plain;
    KernelInfoNode more;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, plain));
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state", "-t", "everything", "STATE"}, more));
    EXPECT_EQ(KernelInfoNode::toString(plain, FORMAT_JSON), KernelInfoNode::toString(more, FORMAT_JSON));
}

TEST(ThreadxStateIntegration, OnlyTheExactWordIsACommand) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.resetReads();
    const std::vector<std::vector<std::string>> wrong = {
        {}, {"STATE"}, {"State"}, {"stat"}, {"states"}, {"state "}, {""}, {"threads", "state"}};
    for (const std::vector<std::string>& words : wrong) {
        KernelInfoNode out;
        EXPECT_FALSE(kernel.driver().runCommand(kernel.server(), words, out)) << words.size();
        EXPECT_TRUE(out.getChildNodes().empty());
    }
    EXPECT_EQ(0u, kernel.reads());
}

TEST(ThreadxStateIntegration, BeforeTheKernelStartsThreadsAreListedAllTheSame) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_thread_system_state"), 0xf0f0f0f0);
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    EXPECT_EQ(kAllSections, labelsOf(out));
    EXPECT_EQ("Not started", sectionValue(out, "Kernel state"));
    EXPECT_EQ(13u, section(out, "Thread List")->getChildNodes().size());
}

TEST(ThreadxStateIntegration, FailedKernelCheckIsNoKernelFound) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(kernel.address("_tx_thread_system_state"), 4);
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    EXPECT_EQ(kAllSections, labelsOf(out));
    EXPECT_EQ("No kernel found", sectionValue(out, "Kernel state"));
}

TEST(ThreadxStateIntegration, FailedThreadWalkDropsBothThreadSections) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(
        kernel.memberAddress(kernel.address("thread_logger"), "TX_THREAD_STRUCT", "tx_thread_created_next"),
        4);
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    EXPECT_EQ((std::vector<std::string>{"Driver", "Kernel state", "Semaphores", "Mutexes", "Timers",
                                        "Message Queues", "Event Flags", "Memory Block Pools",
                                        "Memory Byte Pools"}),
              labelsOf(out));
}

TEST(ThreadxStateIntegration, KernelAtItsEdges) {
    // Not started, one thread in an unknown state, no objects but ten event flags groups, no byte pools.
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    char lonely[200];
    std::uint32_t thread = kernel.address("lonely");
    std::uint32_t stack = kernel.address("stack_lonely");
    // Every field is filled to its column's width + 5, the empty State too.
    snprintf(
        lonely, sizeof(lonely),
        "0x%08x     0          lonely     0x%08x     7            %10s0             0x%08x      0x%08x     "
        "128B/256B (50.0%%)     \n",
        thread, stack + 48 * 4, "", stack, stack + 255);
    std::string flags;
    for (int i = 0; i < 10; ++i) {
        char row[80];
        snprintf(row, sizeof(row), "flags %d     0x%08x     %14s\n", i, i, "");
        flags += row;
    }
    EXPECT_EQ(std::string(
                  "Driver : ThreadX\n\n"
                  "Kernel state : Not started\n\n"
                  "Stack usage\n"
                  "lonely               : 128B/256B (50.0%)\n\n"
                  "Thread List\n"
                  "Thread Id      Active     Name       Stack Ptr      Priority     State     Run count     "
                  "Stack start     Stack end      Stack usage           \n") +
                  lonely +
                  "\n"
                  // An empty section has no rows: it prints as a value.
                  "Semaphores : \n\n"
                  "Mutexes : \n\n"
                  "Timers : \n\n"
                  "Message Queues : \n\n"
                  "Event Flags\n"
                  "Name        Flags          Suspended     \n" +
                  flags +
                  "\n"
                  "Memory Block Pools : \n\n",
              KernelInfoNode::toString(out, FORMAT_TABULAR));
}

TEST(ThreadxStateIntegration, NoThreadCreated) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.writeWord(kernel.address("_tx_thread_created_ptr"), 0);
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    EXPECT_EQ((std::vector<std::string>{"Driver", "Kernel state", "Thread List", "Semaphores", "Mutexes",
                                        "Timers", "Message Queues", "Event Flags", "Memory Block Pools"}),
              labelsOf(out));
    EXPECT_TRUE(section(out, "Thread List")->getChildNodes().empty());
    EXPECT_TRUE(section(out, "Semaphores")->getChildNodes().empty());
}

TEST(ThreadxStateIntegration, FailedObjectWalkLeavesOnlyItsSectionOut) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(threadxedges::tenthFlagGroupLink(kernel), 4);
    KernelInfoNode out;
    ASSERT_TRUE(kernel.driver().runCommand(kernel.server(), {"state"}, out));
    EXPECT_EQ((std::vector<std::string>{"Driver", "Kernel state", "Stack usage", "Thread List", "Semaphores",
                                        "Mutexes", "Timers", "Message Queues", "Memory Block Pools"}),
              labelsOf(out));
}
