// The built program under faults that end or interrupt its run: GDB leaving in the middle of the symbol
// negotiation, SIGINT once or twice in the middle of a task walk, a frame larger than the buffer. Exit
// status and output are the program's own.
#include "FaultyServer.h"
#include "ProgramSymbols.h"
#include "ProxyUnderTest.h"
#include "RobustnessSteps.h"
#include "TestPaths.h"
#include "rsp/RspBuffer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

using namespace robustness;

namespace {

const char* const kProgram = "freertos_snapshot.elf";

// The program in front of a FaultyServer serving the FreeRTOS snapshot, with its real FreeRTOS driver and
// a cache of its own, and a fake GDB that knows the snapshot's symbols. Every value is a read of its own
// and every stop walks, so that a fault lands on the read it is meant for.
class ProgramFaultIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ProxyUnderTest::driverBuiltIn()) {
            GTEST_SKIP() << "no kernel driver in this build";
        }
        char pattern[] = "/tmp/tarnwick_program_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        scratch = pattern;
        proxy = std::make_unique<ProxyUnderTest>(std::vector<std::string>{
            "--file", testpaths::fixturesDir() + "/" + kProgram, "--debug_info_cache", scratch + "/cache",
            "--rtos", "freertos", "--rtos_variant", "ARM_CM4F", "--read_cache", "false", "--lazy_walk",
            "false"});
        ASSERT_TRUE(proxy->ready());
        proxy->server().serve(target.handler());
    }

    void TearDown() override {
        proxy.reset();
        if (!scratch.empty()) {
            std::filesystem::remove_all(scratch);
        }
    }

    // The negotiation and the first stop, after which the next stop walks the kernel.
    void prepare() {
        symbols.negotiate(proxy->gdb());
        proxy->server().sendPacket("S05");
        EXPECT_EQ("T05thread:1;", proxy->gdb().nextPayload());
    }

    // Waits until the server has handed out its first fault, that is until the proxy waits for it.
    bool waitForFault() {
        for (int i = 0; i < 200 && target.faultsGiven() == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return target.faultsGiven() > 0;
    }

    FaultyServer target{kProgram};
    ProgramSymbols symbols{testpaths::fixturesDir() + "/" + kProgram};
    std::unique_ptr<ProxyUnderTest> proxy;
    std::string scratch;
};

} // namespace

// GDB answers three of the sixteen names and goes away: every later name has no reply, the closing "OK"
// cannot be sent, and the proxy's work ends as a failure.
TEST_F(ProgramFaultIntegration, GdbLeavesInTheMiddleOfTheSymbolNegotiation) {
    EXPECT_EQ(3u, symbols.negotiate(proxy->gdb(), 3));
    proxy->gdb().close();
    ASSERT_TRUE(proxy->process().waitExit());
    EXPECT_EQ(255, proxy->process().exitStatus());
    std::string expected = proxy->startOutput();
    for (int name = 4; name <= 16; ++name) {
        expected += "Symbol lookup. No reply\n";
    }
    expected += "Symbol lookup. Failed close sequence\n"
                "failure qSymbol::\n"
                "Packet intercept failed: GDB Client to: GDB Server\n"
                "Failed handle packet from: GDB Client to: GDB Server\n"
                "Failed running proxy\n"
                "Proxy stopped with errors.\n";
    EXPECT_EQ(expected, proxy->process().output());
}

// SIGINT while the walk waits for a reply: the wait is cut short, that read fails, the stop is still
// answered (with the core alone), and the loop ends in order once the packet is dealt with.
TEST_F(ProgramFaultIntegration, SigintDuringAWalkEndsInOrderAfterThePacket) {
    prepare();
    target.inject({symbols.address("xSchedulerRunning"), 4, FaultyServer::Fault::Late, 1});
    proxy->server().sendPacket("T05thread:1;");
    ASSERT_TRUE(waitForFault());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    auto signalled = std::chrono::steady_clock::now();
    proxy->process().sendSignal(SIGINT);
    EXPECT_EQ("T05thread:1;", proxy->gdb().nextPayload());
    // Well before the 1000 ms limit of the read: the signal ended the wait.
    EXPECT_GT(std::chrono::milliseconds(700), std::chrono::steady_clock::now() - signalled);
    ASSERT_TRUE(proxy->process().waitExit());
    EXPECT_EQ(0, proxy->process().exitStatus());
    EXPECT_EQ(proxy->startOutput() + "Failed reading: xSchedulerRunning\nProxy stopped.\n",
              proxy->process().output());
}

// The first SIGINT restores the default action: a second one in the same walk ends the process at once.
TEST_F(ProgramFaultIntegration, SecondSigintDuringAWalkEndsTheProcess) {
    prepare();
    // pxTopOfStack, the first member of the first task walked: optional, so the walk goes on after the
    // first signal has cut its read short, and waits for the next reply when the second one comes.
    target.inject({symbols.address("xSleeperTCB"), 4, FaultyServer::Fault::Late, 1});
    proxy->server().sendPacket("T05thread:1;");
    ASSERT_TRUE(waitForFault());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    proxy->process().sendSignal(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    proxy->process().sendSignal(SIGINT);
    ASSERT_TRUE(proxy->process().waitExit());
    EXPECT_EQ(128 + SIGINT, proxy->process().exitStatus());
    EXPECT_TRUE(proxy->gdb().quietFor(50));
    EXPECT_EQ(proxy->startOutput(), proxy->process().output());
}

// A frame that can never fit the buffer reads as GDB gone: an orderly end.
TEST_F(ProgramFaultIntegration, FrameLargerThanTheBufferEndsInOrder) {
    ASSERT_TRUE(proxy->gdb().sendRaw("$" + std::string(RspBuffer::kCapacity + 100, 'x') + "#00"));
    ASSERT_TRUE(proxy->process().waitExit());
    EXPECT_EQ(0, proxy->process().exitStatus());
    EXPECT_EQ(proxy->startOutput() + "Lost connection to GDB Client\nProxy stopped.\n",
              proxy->process().output());
}
