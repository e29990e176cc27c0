#include "rtos/AbstractRtosDriver.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosInfo.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

const AbstractRtosDriver::Names kNames = {"Idle", "idleFlag", "", "Idle tasks"};

// A driver of a kernel that reads nothing: its hooks answer what the test sets.
class IdleDriver : public AbstractRtosDriver {
public:
    explicit IdleDriver(const RtosDriverInfo& row) : AbstractRtosDriver(row, kNames) {}
    bool init() override { return true; }
    bool init(RspClient& /*server*/) override { return true; }
    void getSymbols(std::vector<std::string>& /*symbols*/) override {}
    void getDataStructures(std::vector<std::string>& /*structures*/) override {}
    bool getThreads(RspClient& /*server*/, ThreadList& /*threads*/) override { return false; }

    bool flagRead = true;
    bool flagRunning = true;
    bool idRead = true;
    unsigned int activeId = 0;
    std::string flagName;

private:
    bool readRunningFlag(RspClient& /*server*/, const Symbol& flag, bool& running) override {
        flagName = flag.getName();
        running = flagRunning;
        return flagRead;
    }
    bool readActiveThreadId(RspClient& /*server*/, unsigned int& id) override {
        id = activeId;
        return idRead;
    }
    void addStateSections(RspClient& /*server*/, KernelInfoNode& out) override {
        out.addChild(KernelInfoNode(0, "", "Idle tasks"));
    }
};

class AbstractRtosDriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        SymbolTable::getInstance().clear();
        Logger::getInstance().setLogLevel(Logger::LOG_ERROR | Logger::LOG_DEBUG);
    }
    void TearDown() override { SymbolTable::getInstance().clear(); }

    std::string labels(const KernelInfoNode& tree) {
        std::string text;
        for (const KernelInfoNode& child : tree.getChildNodes()) {
            text += child.getLabel() + "=" + child.getValue() + ";";
        }
        return text;
    }

    RspClient server{nullptr, "server", ROLE_GDB_SERVER};
    IdleDriver driver{RtosDriverInfo()};
};

} // namespace

TEST_F(AbstractRtosDriverTest, KeepsACopyOfItsRow) {
    RtosDriverInfo row;
    row.setName("Idle");
    row.setId("idle");
    std::unique_ptr<IRtosDriver> copy = std::make_unique<IdleDriver>(row);
    row.setName("changed");

    EXPECT_EQ("Idle", copy->getDriverInfo().getName());
    EXPECT_EQ("idle", copy->getDriverInfo().getId());
    copy->getDriverInfo().setDescription("set through the reference");
    EXPECT_EQ("set through the reference", copy->getDriverInfo().getDescription());
}

TEST_F(AbstractRtosDriverTest, CataloguesTheStateCommandUnderTheDriversName) {
    const RtosInfo& catalogue = *driver.getInfo();
    EXPECT_EQ(&catalogue, IdleDriver(RtosDriverInfo()).getInfo()) << "one catalogue for the kernel";
    EXPECT_EQ("Idle", catalogue.getId());
    ASSERT_EQ(1u, catalogue.getCommands().size());
    EXPECT_EQ("state", catalogue.getCommands()[0].getCommandId());
    EXPECT_EQ("Displays RTOS state", catalogue.getCommands()[0].getCommandDescription());
}

TEST_F(AbstractRtosDriverTest, ChecksTheRunningFlagAtItsSymbol) {
    SymbolTable::getInstance().addSymbol(Symbol("idleFlag", "20000010"));
    bool running = false;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.checkKernelRunning(server, running));
    EXPECT_EQ("Kernel is running: true\n", testing::internal::GetCapturedStdout());
    EXPECT_TRUE(running);
    EXPECT_EQ("idleFlag", driver.flagName);

    driver.flagRead = false;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(driver.checkKernelRunning(server, running));
    EXPECT_EQ("", testing::internal::GetCapturedStdout()) << "the hook logs its own failed read";
}

TEST_F(AbstractRtosDriverTest, AMissingFlagSymbolIsLogged) {
    bool running = true;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(driver.checkKernelRunning(server, running));
    EXPECT_EQ("Symbol not found: idleFlag\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", driver.flagName);
}

TEST_F(AbstractRtosDriverTest, TheActiveThreadIsTheHooksNonZeroId) {
    TargetThread thread;
    EXPECT_FALSE(driver.getActiveThread(server, thread)) << "no current task";
    driver.activeId = 0x20000400;
    driver.idRead = false;
    EXPECT_FALSE(driver.getActiveThread(server, thread));
    EXPECT_EQ(0u, thread.getThreadId());
    driver.idRead = true;
    EXPECT_TRUE(driver.getActiveThread(server, thread));
    EXPECT_EQ(0x20000400u, thread.getThreadId());
    EXPECT_TRUE(thread.getCpuActive());
}

TEST_F(AbstractRtosDriverTest, NoRegistersWithoutAPort) {
    TargetThread thread(0x20000400, 0x20001000, false, "idle");
    RegisterList registers;
    EXPECT_FALSE(driver.getRegisters(server, thread, registers));
}

TEST_F(AbstractRtosDriverTest, StateHeadsTheKernelsSectionsWithTheDriverAndKernelState) {
    KernelInfoNode out;
    EXPECT_FALSE(driver.runCommand(server, {}, out));
    EXPECT_FALSE(driver.runCommand(server, {"status"}, out));
    EXPECT_EQ("", labels(out));

    testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.runCommand(server, {"state"}, out));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ("Driver=Idle;Kernel state=No kernel found;Idle tasks=;", labels(out));

    SymbolTable::getInstance().addSymbol(Symbol("idleFlag", "20000010"));
    driver.flagRunning = false;
    KernelInfoNode again;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.runCommand(server, {"state"}, again));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ("Driver=Idle;Kernel state=Not started;Idle tasks=;", labels(again));
}
