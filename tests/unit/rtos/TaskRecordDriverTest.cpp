#include "rtos/TaskRecordDriver.h"

#include "rsp/RspClient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Renders a walk as one node per task, and its stack usage as the number of tasks.
struct CountingView {
    static KernelInfoNode stackUsage(const std::vector<TaskRecord>& records) {
        return KernelInfoNode(0, std::to_string(records.size()), "Usage");
    }
    static void addTasks(const std::vector<TaskRecord>& records, bool detail, KernelInfoNode& node) {
        for (const TaskRecord& record : records) {
            node.addChild(KernelInfoNode(0, record.name.value_or("?") + (detail ? "+" : ""), "Task"));
        }
    }
};

// A kernel whose walk gives the records the test sets, and one object section.
class RecordKernelDriver : public TaskRecordDriver<TaskRecord, CountingView> {
public:
    RecordKernelDriver() : TaskRecordDriver(RtosDriverInfo(), {"Records", "flag", "(unread)", "Task list"}) {}
    bool init() override { return true; }
    bool init(RspClient& /*server*/) override { return true; }
    void getSymbols(std::vector<std::string>& /*symbols*/) override {}
    void getDataStructures(std::vector<std::string>& /*structures*/) override {}

    bool walkSucceeds = true;
    std::vector<TaskRecord> records;
    std::vector<bool> walks;

private:
    bool readRunningFlag(RspClient& /*server*/, const Symbol& /*flag*/, bool& /*running*/) override {
        return false;
    }
    bool readActiveThreadId(RspClient& /*server*/, unsigned int& /*id*/) override { return false; }
    bool walk(RspClient& /*server*/, bool detailed, std::vector<TaskRecord>& out) override {
        walks.push_back(detailed);
        out = records;
        return walkSucceeds;
    }
    void addObjectSections(RspClient& /*server*/, KernelInfoNode& out) override {
        out.addChild(KernelInfoNode(0, "", "Objects"));
    }
};

TaskRecord record(unsigned int id, bool active, std::optional<std::string> name,
                  std::optional<unsigned int> stackPointer) {
    TaskRecord made;
    made.id = id;
    made.active = active;
    made.name = name;
    made.stackPointer = stackPointer;
    return made;
}

std::string text(const KernelInfoNode& tree) {
    std::string written = tree.getLabel() + "=" + tree.getValue();
    if (!tree.getChildNodes().empty()) {
        written += "(";
        for (const KernelInfoNode& child : tree.getChildNodes()) {
            written += text(child) + ";";
        }
        written += ")";
    }
    return written;
}

class TaskRecordDriverTest : public ::testing::Test {
protected:
    RspClient server{nullptr, "server", ROLE_GDB_SERVER};
    RecordKernelDriver driver;
};

} // namespace

TEST_F(TaskRecordDriverTest, ThreadsOfThePlainWalkWithoutTasksThatHaveNoFrame) {
    driver.records = {record(0x100, true, "main", std::nullopt), record(0x200, false, std::nullopt, 0x2000),
                      record(0x300, false, "lost", std::nullopt)};
    ThreadList threads;
    threads.addThread(TargetThread(0x999, 0));
    ASSERT_TRUE(driver.getThreads(server, threads));
    EXPECT_EQ(std::vector<bool>{false}, driver.walks);
    EXPECT_EQ(2u, threads.getNumberOfThreads());
    TargetThread thread;
    ASSERT_TRUE(threads.getThread(0x100, thread));
    EXPECT_TRUE(thread.getCpuActive());
    EXPECT_EQ("main", thread.getName());
    ASSERT_TRUE(threads.getThread(0x200, thread));
    EXPECT_EQ("(unread)", thread.getName());
    EXPECT_EQ(0x2000u, thread.getStackPtr());
}

TEST_F(TaskRecordDriverTest, AFailedWalkLeavesNoThreads) {
    driver.records = {record(0x100, true, "main", std::nullopt)};
    driver.walkSucceeds = false;
    ThreadList threads;
    threads.addThread(TargetThread(0x999, 0));
    EXPECT_FALSE(driver.getThreads(server, threads));
    EXPECT_EQ(0u, threads.getNumberOfThreads());
}

TEST_F(TaskRecordDriverTest, StateShowsTheDetailedWalkThenTheObjects) {
    driver.records = {record(0x100, true, "main", std::nullopt), record(0x200, false, "idle", 0x2000)};
    KernelInfoNode out;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(driver.runCommand(server, {"state"}, out));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::vector<bool>{true}, driver.walks);
    EXPECT_EQ(
        "=(Driver=Records;Kernel state=No kernel found;Usage=2;Task list=(Task=main+;Task=idle+;);Objects=;)",
        text(out));
}

TEST_F(TaskRecordDriverTest, StateOfAnEmptyWalkHasNoUsageAndOfAFailedOneNoTaskList) {
    KernelInfoNode empty;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(driver.runCommand(server, {"state"}, empty));
    driver.walkSucceeds = false;
    KernelInfoNode failed;
    ASSERT_TRUE(driver.runCommand(server, {"state"}, failed));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ("=(Driver=Records;Kernel state=No kernel found;Task list=;Objects=;)", text(empty));
    EXPECT_EQ("=(Driver=Records;Kernel state=No kernel found;Objects=;)", text(failed));
}
