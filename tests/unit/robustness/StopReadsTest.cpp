// What a stop costs in reads of target memory with the defaults (a memory cache for the stop, the walk when
// first asked for), and that no value is served stale: after a write of GDB's, a forwarded monitor command
// or a run of the target every value is read anew.
#include "FaultyServer.h"
#include "KernelSession.h"
#include "RobustnessSteps.h"
#include "rsp/RspUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

using namespace robustness;

namespace {

const char* const kFreertos = "freertos_snapshot.elf";
const char* const kThreadx = "threadx_state.elf";

class FreertosStopReadsIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(session.ready());
        session.negotiate();
        session.passFirstStop();
    }

    std::uint32_t tcb(const char* name) { return session.address(name); }
    std::string runningStop() { return "T05thread:" + hexId(tcb("xControlLoopTCB")) + ";"; }
    std::uint32_t nameOf(const char* task) {
        return KernelSession::member("tskTaskControlBlock", tcb(task), "pcTaskName");
    }
    unsigned readsOf(const std::function<void()>& step) {
        unsigned before = target.memoryReads();
        step();
        return target.memoryReads() - before;
    }

    FaultyServer target{kFreertos};
    KernelSession session{target, "freertos", "ARM_CM4F", kFreertos};
};

} // namespace

// Twelve tasks: the stop reads the scheduler's variables, which lie together, with one read; the thread list
// then costs one read per control block (the state item comes with it) and is not read again in the same
// stop; the next stop starts afresh.
TEST_F(FreertosStopReadsIntegration, AStopReadsOnceAndTheListOnceForEachTask) {
    EXPECT_EQ(1u, readsOf([&] { EXPECT_EQ(runningStop(), session.stop("T05thread:1;")); }));
    std::string ids;
    EXPECT_EQ(12u, readsOf([&] { ids = session.ask("qfThreadInfo"); }));
    EXPECT_EQ(12u, static_cast<unsigned>(std::count(ids.begin(), ids.end(), ',') + 1));
    EXPECT_EQ(0u, readsOf([&] { EXPECT_EQ(ids, session.ask("qfThreadInfo")); }));
    EXPECT_EQ(0u, readsOf([&] { EXPECT_EQ("OK", session.ask("T" + hexId(tcb("xSleeperTCB")))); }));
    EXPECT_EQ(1u, readsOf([&] { EXPECT_EQ(runningStop(), session.stop("T05thread:1;")); }));
    EXPECT_TRUE(session.finish());
}

// A step in the current task: the stop reply and the registers of the thread it names need no walk.
TEST_F(FreertosStopReadsIntegration, AStepInTheCurrentTaskReadsNoList) {
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    // The first g learns the length of a register reply from the server.
    std::string registers = target.plainAnswer("g");
    EXPECT_EQ(registers, session.ask("g"));
    EXPECT_EQ(1u, readsOf([&] { EXPECT_EQ(runningStop(), session.stop("T05thread:1;")); }));
    EXPECT_EQ(0u, readsOf([&] {
                  EXPECT_EQ("OK", session.ask("Hg" + hexId(tcb("xControlLoopTCB"))));
                  EXPECT_EQ(registers, session.ask("g"));
              }));
    EXPECT_TRUE(session.finish());
    EXPECT_EQ("Lost connection to GDB Client\n", session.log());
}

// The registers of a switched-out task: the walk, then its saved frame, fetched whole as large as the
// extended frame, which answers the exception-return word that chooses the frame and then the frame.
TEST_F(FreertosStopReadsIntegration, ASwitchedOutTaskCostsTheWalkAndItsFrame) {
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    EXPECT_EQ(target.plainAnswer("g"), session.ask("g"));
    EXPECT_EQ(0u, readsOf([&] { EXPECT_EQ("OK", session.ask("Hg" + hexId(tcb("xSleeperTCB")))); }));
    std::string registers;
    EXPECT_EQ(12u + 1u, readsOf([&] { registers = session.ask("g"); }));
    EXPECT_EQ(target.plainAnswer("g").size(), registers.size());
    EXPECT_NE('E', registers[0]);
    EXPECT_TRUE(session.finish());
}

namespace {

// Four bytes of the Sleeper task's name, as GDB writes them.
std::string writeWithM(std::uint32_t address) {
    return "M" + hexId(address) + ",4:41424344";
}

std::string renamed(std::string state) {
    std::string::size_type at = state.find("Sleeper ");
    EXPECT_NE(std::string::npos, at);
    if (at != std::string::npos) {
        state.replace(at, 7, "ABCDper");
    }
    return state;
}

} // namespace

TEST_F(FreertosStopReadsIntegration, AValueWrittenWithMIsReadAnew) {
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::string before = session.monitor("rtos state");
    EXPECT_EQ("OK", session.ask(writeWithM(nameOf("xSleeperTCB"))));
    EXPECT_EQ(renamed(before), session.monitor("rtos state"));
    EXPECT_TRUE(session.finish());
}

// Memory that changes behind the proxy's back in a stop is not seen, as long as nothing could have changed
// it: the stop's memory answers. A monitor command for the server may have, and ends it.
TEST_F(FreertosStopReadsIntegration, AForwardedMonitorCommandEndsTheStopsMemory) {
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::string before = session.monitor("rtos state");
    target.writeBytes(nameOf("xSleeperTCB"), "ABCD");
    EXPECT_EQ(0u, readsOf([&] { EXPECT_EQ(before, session.monitor("rtos state")); }));
    EXPECT_NE("", session.monitor("sim stats"));
    EXPECT_EQ(renamed(before), session.monitor("rtos state"));
    EXPECT_TRUE(session.finish());
}

TEST_F(FreertosStopReadsIntegration, ARunOfTheTargetEndsTheStopsMemory) {
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::string before = session.monitor("rtos state");
    target.writeBytes(nameOf("xSleeperTCB"), "ABCD");
    // The simulator stops again at once, with the stop reply the proxy rewrites.
    EXPECT_EQ(runningStop(), session.ask("c"));
    EXPECT_EQ(renamed(before), session.monitor("rtos state"));
    EXPECT_TRUE(session.finish());
}

// A control block the server refuses or answers short as a whole: its values are read one by one, and the
// list is the same.
TEST_F(FreertosStopReadsIntegration, ARefusedOrShortControlBlockIsReadValueByValue) {
    StructInfo layout;
    ASSERT_TRUE(SymbolTable::getInstance().lookupStruct("tskTaskControlBlock", layout));
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    const std::string ids = session.ask("qfThreadInfo");
    const std::string names = session.ask("qThreadExtraInfo," + hexId(tcb("xSleeperTCB")));
    for (FaultyServer::Fault fault : {FaultyServer::Fault::Error, FaultyServer::Fault::Short}) {
        EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
        target.inject({tcb("xSleeperTCB"), layout.getSize(), fault, 2});
        unsigned reads = readsOf([&] { EXPECT_EQ(ids, session.ask("qfThreadInfo")); });
        // In place of the one read of the block: the refused fetch as the walk's owner and again as the bound
        // task, then its list item, its name and its top of stack.
        EXPECT_EQ(12u - 1u + 5u, reads) << faultName(fault);
        EXPECT_EQ(names, session.ask("qThreadExtraInfo," + hexId(tcb("xSleeperTCB"))));
    }
    EXPECT_TRUE(session.finish());
}

// A list whose tasks hang in it by another item than the walk takes: the first owner is fetched in vain,
// and its address tells where the next owners lie. Here the suspended list holds IDLE and Worker by their
// event items in place of its three tasks: nine tasks remain, one read each (the ready list finds IDLE and
// Worker fetched already), and one read in vain for IDLE; Worker's is fetched where IDLE's showed.
TEST_F(FreertosStopReadsIntegration, AListOfEventItemsCostsOneReadInVain) {
    const std::uint32_t list = session.address("xSuspendedTaskList");
    const std::uint32_t end = KernelSession::member("xLIST", list, "xListEnd");
    const std::uint32_t idle =
        KernelSession::member("tskTaskControlBlock", tcb("xIdleTCB"), "xEventListItem");
    const std::uint32_t worker =
        KernelSession::member("tskTaskControlBlock", tcb("xWorkerTCB"), "xEventListItem");
    target.writeWord(KernelSession::member("xLIST", list, "uxNumberOfItems"), 2);
    target.writeWord(end + 4, idle);
    target.writeWord(KernelSession::member("xLIST_ITEM", idle, "pxNext"), worker);
    target.writeWord(KernelSession::member("xLIST_ITEM", idle, "pvOwner"), tcb("xIdleTCB"));
    target.writeWord(KernelSession::member("xLIST_ITEM", worker, "pxNext"), end);
    target.writeWord(KernelSession::member("xLIST_ITEM", worker, "pvOwner"), tcb("xWorkerTCB"));
    EXPECT_EQ(runningStop(), session.stop("T05thread:1;"));
    std::string ids;
    EXPECT_EQ(9u + 1u, readsOf([&] { ids = session.ask("qfThreadInfo"); }));
    EXPECT_EQ(std::string::npos, ids.find(hexId(tcb("xPausedTCB"))));
    EXPECT_EQ(9u, static_cast<unsigned>(std::count(ids.begin(), ids.end(), ',') + 1));
    EXPECT_TRUE(session.finish());
}

// Thirteen threads: the stop reads the system state and the current thread; the list costs the head, each
// control block, and one read for the names, string literals side by side: 15 reads in this program.
TEST(ThreadxStopReadsIntegration, AStopReadsTwoWordsAndTheListOneReadPerThreadAndOneForTheNames) {
    FaultyServer target(kThreadx);
    KernelSession session(target, "threadx", "cortex_m4", kThreadx);
    ASSERT_TRUE(session.startAtKernel());
    unsigned before = target.memoryReads();
    EXPECT_EQ("T05thread:" + hexId(session.address("thread_main")) + ";", session.stop("T05thread:1;"));
    EXPECT_EQ(2u, target.memoryReads() - before);
    before = target.memoryReads();
    std::string ids = session.ask("qfThreadInfo");
    EXPECT_EQ(13u, static_cast<unsigned>(std::count(ids.begin(), ids.end(), ',') + 1));
    EXPECT_EQ(1u + 13u + 1u, target.memoryReads() - before);
    EXPECT_TRUE(session.finish());
}

// The read of the names answered short: each name is then read on its own, and every name is the same.
TEST(ThreadxStopReadsIntegration, ANameGroupAnsweredShortIsReadNameByName) {
    FaultyServer target(kThreadx);
    KernelSession session(target, "threadx", "cortex_m4", kThreadx);
    ASSERT_TRUE(session.startAtKernel());
    const std::string stop = "T05thread:" + hexId(session.address("thread_main")) + ";";
    const std::vector<std::string> threads = {"thread_main", "thread_sensor", "thread_paused"};
    EXPECT_EQ(stop, session.stop("T05thread:1;"));
    const std::string ids = session.ask("qfThreadInfo");
    std::vector<std::string> names;
    for (const std::string& thread : threads) {
        names.push_back(session.ask("qThreadExtraInfo," + hexId(session.address(thread))));
    }
    EXPECT_EQ(stop, session.stop("T05thread:1;"));
    const std::uint32_t mainName = wordAt(
        target, KernelSession::member("TX_THREAD_STRUCT", session.address("thread_main"), "tx_thread_name"));
    target.inject({mainName, 1, FaultyServer::Fault::Short, 1});
    unsigned before = target.memoryReads();
    EXPECT_EQ(ids, session.ask("qfThreadInfo"));
    EXPECT_EQ(1u + 13u + 1u + 13u, target.memoryReads() - before);
    for (std::size_t i = 0; i < threads.size(); ++i) {
        EXPECT_EQ(names[i], session.ask("qThreadExtraInfo," + hexId(session.address(threads[i]))));
    }
    EXPECT_TRUE(session.finish());
}
