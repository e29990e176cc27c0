#include "rtos/threadx/ThreadxRtosDriver.h"

#include "ThreadxTestKernel.h"
#include "ThreadxTestLog.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/RtosInfo.h"
#include "rtos/RtosPort.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxThreadWalk.h"
#include "target/RegisterList.h"
#include "target/ThreadList.h"

#include <gtest/gtest.h>

namespace {

RtosDriverInfo row() {
    RtosDriverInfo info;
    info.setName("ThreadX");
    info.setId("threadx");
    info.setMatchSymbol("TX_THREAD_STRUCT");
    return info;
}

const PortFrames* portType(const ThreadxRtosDriver& driver) {
    IRtosPortDriver* port = driver.getPort();
    return port ? &dynamic_cast<RtosPort&>(*port).getFrames() : nullptr;
}

class ThreadxRtosDriverTest : public ::testing::Test {
protected:
    void SetUp() override { Properties::getInstance().clear(); }
    void TearDown() override { Properties::getInstance().clear(); }

    ThreadxRtosDriver driver{row()};
};

} // namespace

TEST_F(ThreadxRtosDriverTest, KeepsItsRowAndStartsWithoutPort) {
    EXPECT_EQ("threadx", driver.getDriverInfo().getId());
    EXPECT_EQ("ThreadX", driver.getDriverInfo().getName());
    EXPECT_EQ(nullptr, driver.getPort());
}

TEST_F(ThreadxRtosDriverTest, SymbolsInOrderReplacingTheList) {
    std::vector<std::string> symbols = {"left over"};
    driver.getSymbols(symbols);
    EXPECT_EQ(
        (std::vector<std::string>{
            "_tx_thread_current_ptr",        "_tx_thread_created_ptr",       "_tx_thread_system_state",
            "_tx_semaphore_created_ptr",     "_tx_mutex_created_ptr",        "_tx_timer_created_ptr",
            "_tx_queue_created_ptr",         "_tx_event_flags_created_ptr",  "_tx_block_pool_created_ptr",
            "_tx_byte_pool_created_ptr",     "_tx_thread_created_count",     "_tx_semaphore_created_count",
            "_tx_mutex_created_count",       "_tx_timer_created_count",      "_tx_queue_created_count",
            "_tx_event_flags_created_count", "_tx_block_pool_created_count", "_tx_byte_pool_created_count",
            "_tx_timer_list_start",          "_tx_timer_list_end",           "_tx_timer_current_ptr",
            "_tx_timer_expired_timer_ptr"}),
        symbols);
}

TEST_F(ThreadxRtosDriverTest, StructuresInOrderReplacingTheList) {
    std::vector<std::string> structures = {"left over"};
    driver.getDataStructures(structures);
    EXPECT_EQ((std::vector<std::string>{"TX_THREAD_STRUCT", "TX_MUTEX_STRUCT", "TX_SEMAPHORE_STRUCT",
                                        "TX_TIMER_STRUCT", "TX_TIMER_INTERNAL_STRUCT", "TX_QUEUE_STRUCT",
                                        "TX_EVENT_FLAGS_GROUP_STRUCT", "TX_BYTE_POOL_STRUCT",
                                        "TX_BLOCK_POOL_STRUCT"}),
              structures);
}

TEST_F(ThreadxRtosDriverTest, CatalogueOfOneCommand) {
    RtosInfo* info = driver.getInfo();
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(info, driver.getInfo());
    EXPECT_EQ(info, ThreadxRtosDriver(row()).getInfo());
    EXPECT_EQ("Driver: ThreadX\n"
              "Command             Description         \n"
              "state               Displays RTOS state \n"
              "\n",
              RtosInfo::toString(*info, FORMAT_TABULAR));
}

TEST_F(ThreadxRtosDriverTest, InitWithoutVariantLeavesThePortToDetection) {
    bool result = false;
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] { result = driver.init(); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(nullptr, driver.getPort());
}

TEST_F(ThreadxRtosDriverTest, InitTakesThePortOfTheVariant) {
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
    bool result = false;
    EXPECT_EQ("ThreadX, port driver created: cortex_m4\nPort driver loaded: cortex_m4\n",
              threadxlog::capture(threadxlog::kAll, [&] { result = driver.init(); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(ThreadxPortFactory::frames("cortex_m3"), portType(driver));
}

TEST_F(ThreadxRtosDriverTest, InitWithUnknownVariantFails) {
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m5");
    bool result = true;
    EXPECT_EQ("Unsupported port driver: cortex_m5\n",
              threadxlog::capture(threadxlog::kDefault, [&] { result = driver.init(); }));
    EXPECT_FALSE(result);
    EXPECT_EQ(nullptr, driver.getPort());
    EXPECT_EQ("ThreadX, failure create port driver: cortex_m5\nUnsupported port driver: cortex_m5\n",
              threadxlog::capture(threadxlog::kAll, [&] { result = driver.init(); }));
}

TEST_F(ThreadxRtosDriverTest, InitKeepsAPortItHas) {
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m0");
    ASSERT_TRUE(driver.init());
    IRtosPortDriver* first = driver.getPort();
    Properties::getInstance().clear();
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
    bool result = false;
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] { result = driver.init(); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(first, driver.getPort());
    EXPECT_EQ(ThreadxPortFactory::frames("cortex_m0"), portType(driver));
}

namespace {

// The driver against our kernel snapshots, served by the simulator.
class ThreadxRtosDriverIntegration : public ::testing::Test {
protected:
    void layCpuid(ThreadxTestKernel& kernel, std::uint32_t cpuid) { kernel.writeWord(0xe000ed00, cpuid); }
};

const std::uint32_t kCortexM4 = 0x410FC241;

} // namespace

TEST_F(ThreadxRtosDriverIntegration, DetectionPicksThePortWithoutVariant) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    layCpuid(kernel, kCortexM4);
    ASSERT_TRUE(kernel.driver().init());
    bool result = false;
    EXPECT_EQ(
        "SCB->CPUID->PART_NO: 0xc24\nThreadX, port driver created: cortex_m4\nPort driver loaded (auto)\n",
        threadxlog::capture(threadxlog::kAll, [&] { result = kernel.driver().init(kernel.server()); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(ThreadxPortFactory::frames("cortex_m3"), portType(kernel.driver()));
}

TEST_F(ThreadxRtosDriverIntegration, VariantWinsOverDetection) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    layCpuid(kernel, kCortexM4);
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m0");
    ASSERT_TRUE(kernel.driver().init());
    kernel.resetReads();
    bool result = false;
    EXPECT_EQ("",
              threadxlog::capture(threadxlog::kAll, [&] { result = kernel.driver().init(kernel.server()); }));
    EXPECT_TRUE(result);
    EXPECT_EQ(ThreadxPortFactory::frames("cortex_m0"), portType(kernel.driver()));
    EXPECT_EQ(0u, kernel.reads());
}

TEST_F(ThreadxRtosDriverIntegration, FailedDetectionDropsThePortAndAsksForTheVariant) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    layCpuid(kernel, kCortexM4);
    ASSERT_TRUE(kernel.driver().init(kernel.server()));
    ASSERT_NE(nullptr, kernel.driver().getPort());
    // A core that detection does not know, at the next symbol negotiation.
    layCpuid(kernel, 0x410FD220);
    bool result = true;
    EXPECT_EQ(
        "Unsupported core: 0xd22\nFailure auto-detecting rtos variant. Option: --rtos_variant required.\n",
        threadxlog::capture(threadxlog::kDefault, [&] { result = kernel.driver().init(kernel.server()); }));
    EXPECT_FALSE(result);
    EXPECT_EQ(nullptr, kernel.driver().getPort());
}

TEST_F(ThreadxRtosDriverIntegration, RegistersNeedAPort) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    TargetThread thread(kernel.address("thread_sensor"), kernel.address("stack_sensor") + (128 - 17) * 4);
    RegisterList registers;
    kernel.resetReads();
    EXPECT_FALSE(kernel.driver().getRegisters(kernel.server(), thread, registers));
    EXPECT_TRUE(registers.getRegisters().empty());
    EXPECT_EQ(0u, kernel.reads());
}

TEST_F(ThreadxRtosDriverIntegration, RegistersOfAThreadFromTheSnapshot) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
    ASSERT_TRUE(kernel.driver().init());
    ThreadList threads;
    ASSERT_TRUE(kernel.driver().getThreads(kernel.server(), threads));
    TargetThread storage;
    ASSERT_TRUE(threads.getThread(kernel.address("thread_storage"), storage));
    RegisterList registers;
    kernel.resetReads();
    ASSERT_TRUE(kernel.driver().getRegisters(kernel.server(), storage, registers));
    EXPECT_EQ(0x16000004u, registers.getRegisterValue(RegisterId::REG_R4, 0u));
    EXPECT_EQ(0x1600003Cu, registers.getRegisterValue(RegisterId::REG_PC, 0u));
    // Its xPSR says the core aligned the stack.
    EXPECT_EQ(storage.getStackPtr() + 72, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(2u, kernel.reads());
}

TEST_F(ThreadxRtosDriverIntegration, KernelRunsOnceTheMarkerIsGone) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    std::uint32_t state = kernel.address("_tx_thread_system_state");
    struct Case {
        std::uint32_t word;
        bool running;
    };
    // 0 and an interrupt nesting count both mean the scheduler has taken over.
    for (Case entry : {Case{0, true}, Case{3, true}, Case{0xf0f0f0f0, false}, Case{0xf0f0f0f1, false},
                       Case{0xf0f0f0f2, true}}) {
        SCOPED_TRACE(entry.word);
        kernel.writeWord(state, entry.word);
        kernel.resetReads();
        bool running = !entry.running;
        bool result = false;
        std::string log = threadxlog::capture(
            threadxlog::kAll, [&] { result = kernel.driver().checkKernelRunning(kernel.server(), running); });
        EXPECT_TRUE(result);
        EXPECT_EQ(entry.running, running);
        EXPECT_EQ(std::string("Kernel is running: ") + (entry.running ? "true" : "false") + "\n", log);
        EXPECT_EQ(1u, kernel.reads());
    }
}

TEST_F(ThreadxRtosDriverIntegration, KernelInitialisedButNotStarted) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    bool running = true;
    EXPECT_TRUE(kernel.driver().checkKernelRunning(kernel.server(), running));
    EXPECT_FALSE(running);
}

TEST_F(ThreadxRtosDriverIntegration, KernelStateUnknownOrUnreadable) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(kernel.address("_tx_thread_system_state"), 4);
    bool running = true;
    bool result = true;
    EXPECT_EQ("Failed reading _tx_thread_system_state\n", threadxlog::capture(threadxlog::kAll, [&] {
                  result = kernel.driver().checkKernelRunning(kernel.server(), running);
              }));
    EXPECT_FALSE(result);
    EXPECT_TRUE(running);

    SymbolTable::getInstance().clear();
    kernel.resetReads();
    EXPECT_EQ("Symbol not found: _tx_thread_system_state\n", threadxlog::capture(threadxlog::kDefault, [&] {
                  result = kernel.driver().checkKernelRunning(kernel.server(), running);
              }));
    EXPECT_FALSE(result);
    EXPECT_EQ(0u, kernel.reads());
}

TEST_F(ThreadxRtosDriverIntegration, ActiveThreadIdIsTheCurrentPointer) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    unsigned int id = 0;
    kernel.resetReads();
    EXPECT_TRUE(ThreadxThreadWalk::readActiveThreadId(kernel.server(), id));
    EXPECT_EQ(kernel.address("thread_main"), id);
    EXPECT_EQ(1u, kernel.reads());
}

TEST_F(ThreadxRtosDriverIntegration, NoActiveThreadIsAValidZero) {
    ThreadxTestKernel kernel("threadx_edges.elf");
    ASSERT_TRUE(kernel.ok());
    unsigned int id = 77;
    EXPECT_TRUE(ThreadxThreadWalk::readActiveThreadId(kernel.server(), id));
    EXPECT_EQ(0u, id);
}

TEST_F(ThreadxRtosDriverIntegration, ActiveThreadIdFailsSilently) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    kernel.failReads(kernel.address("_tx_thread_current_ptr"), 4);
    unsigned int id = 77;
    bool result = true;
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxThreadWalk::readActiveThreadId(kernel.server(), id);
              }));
    EXPECT_FALSE(result);
    EXPECT_EQ(77u, id);
    SymbolTable::getInstance().clear();
    EXPECT_EQ("", threadxlog::capture(threadxlog::kAll, [&] {
                  result = ThreadxThreadWalk::readActiveThreadId(kernel.server(), id);
              }));
    EXPECT_FALSE(result);
}

TEST_F(ThreadxRtosDriverIntegration, DisposeLeavesTheDriverAsItIs) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
    ASSERT_TRUE(kernel.driver().init());
    IRtosPortDriver* port = kernel.driver().getPort();
    kernel.resetReads();
    kernel.driver().dispose();
    EXPECT_EQ(port, kernel.driver().getPort());
    EXPECT_EQ(0u, kernel.reads());
}
