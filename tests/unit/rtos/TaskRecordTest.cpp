#include "rtos/TaskRecord.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

TaskRecord record(unsigned int id, bool active, std::optional<std::string> name,
                  std::optional<unsigned int> stackPointer) {
    TaskRecord task;
    task.id = id;
    task.active = active;
    task.name = std::move(name);
    task.stackPointer = stackPointer;
    return task;
}

} // namespace

TEST(TaskRecordTest, TaskBecomesAThread) {
    TargetThread thread(7, 8);
    ASSERT_TRUE(record(0x20000a40, true, std::string("IDLE"), 0x20000800u).toThread("N/A", thread));
    EXPECT_EQ(0x20000a40u, thread.getThreadId());
    EXPECT_TRUE(thread.getCpuActive());
    EXPECT_EQ(0x20000800u, thread.getStackPtr());
    EXPECT_EQ("IDLE", thread.getName());
}

// A name that could not be read is named as the kernel's renderings show it; an empty one by the id.
TEST(TaskRecordTest, ThreadNames) {
    TargetThread thread;
    ASSERT_TRUE(record(0x20000b00, false, std::nullopt, 0x20000900u).toThread("N/A", thread));
    EXPECT_FALSE(thread.getCpuActive());
    EXPECT_EQ("N/A", thread.getName());
    ASSERT_TRUE(record(0x20000b00, false, std::nullopt, 0x20000900u).toThread("", thread));
    EXPECT_EQ("20000b00", thread.getName());
    ASSERT_TRUE(record(0x20000a40, false, std::string(), 0x20000900u).toThread("N/A", thread));
    EXPECT_EQ("20000a40", thread.getName());
}

TEST(TaskRecordTest, SwitchedOutTaskWithoutStackPointerIsNoThread) {
    TargetThread thread(7, 8);
    EXPECT_FALSE(record(0x20000a40, false, std::string("Lost"), std::nullopt).toThread("N/A", thread));
    EXPECT_EQ(7u, thread.getThreadId());
    EXPECT_EQ(8u, thread.getStackPtr());
}

// One task that cannot be a thread leaves the others in the list; the running one needs no stack pointer.
TEST(TaskRecordTest, ThreadListOfAWalk) {
    ThreadList threads;
    TaskRecord::addThreads(
        std::vector<TaskRecord>{record(0x20000a40, false, std::string("Lost"), std::nullopt),
                                record(0x20000b00, true, std::string("Running"), std::nullopt),
                                record(0x20000c00, false, std::string("Waiting"), 0x20000900u)},
        "N/A", threads);
    EXPECT_EQ(std::vector<unsigned int>({0x20000b00, 0x20000c00}), threads.getThreadIdentifiers());
    TargetThread running;
    ASSERT_TRUE(threads.getActiveThread(running));
    EXPECT_EQ("Running", running.getName());
    EXPECT_EQ(0u, running.getStackPtr());
}
