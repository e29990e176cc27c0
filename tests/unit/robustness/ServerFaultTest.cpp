// A GDB server that answers the proxy's memory reads with an error, a short reply, a reply after the time
// limit, no reply, a frame larger than the receive buffer, or by closing the connection: at the kernel
// check and in the middle of the task walk of a stop, in a register read of a switched-out thread, and in
// the "state" command. Every case ends as the failure handling of the proxy and the drivers says, and the
// session goes on (or ends in order, when the server is gone).
#include "FaultyServer.h"
#include "KernelSession.h"
#include "RobustnessSteps.h"
#include "RspFrame.h"
#include "base/NumberCodec.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace robustness;
using Fault = FaultyServer::Fault;

namespace {

const std::string kLostGdb = "Lost connection to GDB Client\n";
const std::string kLostServer = "Lost connection to GDB Server\n";

bool endsTheServer(Fault fault) {
    return fault == Fault::Oversize || fault == Fault::Close;
}

// Where a kernel read fails, and the line the proxy logs for it.
struct Place {
    const char* program;
    const char* driver;
    const char* variant;
    std::function<std::uint32_t(KernelSession&)> address;
    std::string line;
};

// After the faulty read, what GDB gets next and how the session ends: the late reply reaches GDB as a
// packet of its own, forwarded by the loop; the server's end shows as a lost connection. Otherwise the
// session is still serving, which stillServing may show, until GDB leaves.
void expectAftermath(KernelSession& session, FaultyServer& target, Fault fault, std::uint32_t address,
                     std::uint32_t length, const std::string& logged,
                     const std::function<void()>& stillServing = {}) {
    if (fault == Fault::Late) {
        EXPECT_EQ(rspframe::frame(target.plainAnswer(RspUtil::createCommand_m(address, length))),
                  session.gdb().nextRaw(FaultyServer::kLateMs + 1000));
    }
    if (endsTheServer(fault)) {
        EXPECT_TRUE(session.ended());
        EXPECT_TRUE(session.finish());
        EXPECT_EQ(logged + kLostServer, session.log());
        return;
    }
    if (stillServing) {
        stillServing();
    }
    EXPECT_TRUE(session.finish());
    EXPECT_EQ(logged + kLostGdb, session.log());
}

// Sends the server's stop reply, with the fault waiting at the first read it names, and returns what GDB
// gets: for the Close fault the server peer goes away the moment that read arrives.
std::string faultyStop(KernelSession& session, FaultyServer& target, Fault fault) {
    session.server().sendPacket("T05thread:1;");
    if (fault == Fault::Close) {
        EXPECT_TRUE(target.waitCloseRequest());
        session.server().close();
    }
    return session.gdb().nextPayload(FaultyServer::kLateMs + 1000);
}

// threadx_state.elf behind a server that can be made to fail, every value read anew, and what the state
// command prints while nothing fails.
struct StateCommandSession {
    StateCommandSession()
        : session(target, "threadx", "cortex_m4", "threadx_state.elf", KernelSession::kDefaultLogLevel,
                  KernelSession::exactReads()) {
        if (session.ready()) {
            session.negotiate();
            whole = session.monitor("rtos -t state");
        }
    }

    FaultyServer target{"threadx_state.elf"};
    KernelSession session;
    std::string whole;
};

class ServerFaultIntegration : public ::testing::TestWithParam<Fault> {};

std::string nameOf(const ::testing::TestParamInfo<Fault>& info) {
    return faultName(info.param);
}

const Place kFreertosCheck = {"freertos_snapshot.elf", "freertos", "ARM_CM4F",
                              [](KernelSession& s) { return s.address("xSchedulerRunning"); },
                              "Failed reading: xSchedulerRunning\n"};
const Place kFreertosWalk = {"freertos_snapshot.elf", "freertos", "ARM_CM4F",
                             [](KernelSession& s) {
                                 // The link behind the third task of the walk.
                                 std::uint32_t item = KernelSession::member(
                                     "tskTaskControlBlock", s.address("xProducerTCB"), "xStateListItem");
                                 return KernelSession::member("xLIST_ITEM", item, "pxNext");
                             },
                             "Update threads. Failed collecting threads.\n"};
const Place kThreadxCheck = {"threadx_state.elf", "threadx", "cortex_m4",
                             [](KernelSession& s) { return s.address("_tx_thread_system_state"); },
                             "Failed reading _tx_thread_system_state\n"};
const Place kThreadxWalk = {"threadx_state.elf", "threadx", "cortex_m4",
                            [](KernelSession& s) {
                                return KernelSession::member("TX_THREAD_STRUCT", s.address("thread_sensor"),
                                                             "tx_thread_created_next");
                            },
                            "Update threads. Failed collecting threads.\n"};

// The second stop asks the driver; the faulty read makes the kernel or its threads unknown, and GDB is
// told of the core alone, thread 1.
void stopWithFault(const Place& place, Fault fault) {
    FaultyServer target(place.program);
    KernelSession session(target, place.driver, place.variant, place.program, KernelSession::kDefaultLogLevel,
                          KernelSession::exactReads());
    ASSERT_TRUE(session.startAtKernel());
    std::uint32_t address = place.address(session);
    target.inject({address, 4, fault, 1});
    EXPECT_EQ("T05thread:1;", faultyStop(session, target, fault));
    EXPECT_EQ(1u, target.faultsGiven());
    expectAftermath(session, target, fault, address, 4, place.line, [&session] {
        // The snapshot holds the fallback thread, and the proxy serves GDB on.
        EXPECT_EQ("m1", session.ask("qfThreadInfo"));
        EXPECT_EQ("QC1", session.ask("qC"));
    });
}

} // namespace

TEST_P(ServerFaultIntegration, AtTheFreertosKernelCheck) {
    stopWithFault(kFreertosCheck, GetParam());
}

TEST_P(ServerFaultIntegration, InTheMiddleOfTheFreertosTaskWalk) {
    stopWithFault(kFreertosWalk, GetParam());
}

TEST_P(ServerFaultIntegration, AtTheThreadxKernelCheck) {
    stopWithFault(kThreadxCheck, GetParam());
}

TEST_P(ServerFaultIntegration, InTheMiddleOfTheThreadxThreadWalk) {
    stopWithFault(kThreadxWalk, GetParam());
}

// A switched-out task's frame cannot be read: GDB gets "E01" for its registers, and only for them.
TEST_P(ServerFaultIntegration, InARegisterRead) {
    Fault fault = GetParam();
    FaultyServer target("freertos_snapshot.elf");
    KernelSession session(target, "freertos", "ARM_CM4F", "freertos_snapshot.elf");
    ASSERT_TRUE(session.startAtKernel());
    std::uint32_t running = session.address("xControlLoopTCB");
    EXPECT_EQ("T05thread:" + hexId(running) + ";", session.stop("T05thread:1;"));
    // The first g learns the length of a register reply from the server.
    EXPECT_EQ(target.plainAnswer("g"), session.ask("g"));
    std::uint32_t sleeper = session.address("xSleeperTCB");
    std::uint32_t frame =
        wordAt(target, KernelSession::member("tskTaskControlBlock", sleeper, "pxTopOfStack"));
    EXPECT_EQ("OK", session.ask("Hg" + hexId(sleeper)));
    // The fetch of the largest frame is refused, which leaves the exact reads: the exception return word at
    // frame + 32 is read first and answered; the whole frame is not.
    target.inject({frame + 68, 4, Fault::Error, 1});
    target.inject({frame, 4, fault, 1});
    session.gdb().sendPacket("g");
    if (fault == Fault::Close) {
        EXPECT_TRUE(target.waitCloseRequest());
        session.server().close();
    }
    EXPECT_EQ("E01", session.gdb().nextPayload(FaultyServer::kLateMs + 1000));
    expectAftermath(session, target, fault, frame, 68,
                    "failed reading frame\nRead registers. Failed reading registers from driver.\n");
}

// A read of the "state" command fails: its section is missing from the output, the rest stands. The byte
// pools are walked last, so that even a late reply disturbs nothing else.
TEST_P(ServerFaultIntegration, InTheStateCommand) {
    Fault fault = GetParam();
    StateCommandSession state;
    ASSERT_TRUE(state.session.ready());
    KernelSession& session = state.session;
    FaultyServer& target = state.target;
    const std::string& whole = state.whole;
    ASSERT_NE(std::string::npos, whole.find(" Memory Byte Pools:\n"));
    std::uint32_t head = session.address("_tx_byte_pool_created_ptr");
    target.inject({head, 4, fault, 1});
    session.gdb().sendPacket("qRcmd," + NumberCodec::encodeHex("rtos -t state"));
    if (fault == Fault::Close) {
        EXPECT_TRUE(target.waitCloseRequest());
        session.server().close();
    }
    std::string reply = session.gdb().nextPayload(FaultyServer::kLateMs + 1000);
    EXPECT_EQ(withoutSection(whole, "Memory Byte Pools"),
              NumberCodec::decodeHex(reply, static_cast<unsigned int>(reply.size())));
    expectAftermath(session, target, fault, head, 4, "");
}

INSTANTIATE_TEST_SUITE_P(Faults, ServerFaultIntegration,
                         ::testing::Values(Fault::Error, Fault::Short, Fault::Late, Fault::Silent,
                                           Fault::Oversize, Fault::Close),
                         nameOf);

// In the middle of a collector's walk: the first mutex's link to the second cannot be read, so the whole
// "Mutexes" section is missing; the reads behind it are answered as usual.
TEST(ServerFaultStateIntegration, AFailedLinkDropsThatSectionAlone) {
    const Fault faults[] = {Fault::Error, Fault::Short, Fault::Silent};
    for (Fault fault : faults) {
        SCOPED_TRACE(faultName(fault));
        StateCommandSession state;
        ASSERT_TRUE(state.session.ready());
        KernelSession& session = state.session;
        FaultyServer& target = state.target;
        const std::string& whole = state.whole;
        target.inject(
            {KernelSession::member("TX_MUTEX_STRUCT", session.address("mutex_fs"), "tx_mutex_created_next"),
             4, fault, 1});
        EXPECT_EQ(withoutSection(whole, "Mutexes"), session.monitor("rtos -t state"));
        EXPECT_EQ(1u, target.faultsGiven());
        EXPECT_TRUE(session.finish());
        EXPECT_EQ(kLostGdb, session.log());
    }
}
