#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/freertos/FreeRtosList.h"

#include "EmptySingletonsTest.h"
#include "FreeRtosDriverTestSupport.h"
#include "TimingFigures.h"
#include "rtos/RtosInfo.h"
#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace freertostest;

namespace {

RtosDriverInfo freeRtosRow() {
    RtosDriverInfo row;
    row.setName("FreeRTOS");
    row.setId("freertos");
    row.setMatchSymbol("tskTaskControlBlock");
    return row;
}

// The driver alone: options, catalogue and lists of names need no target.
class FreeRtosRtosDriverTest : public EmptySingletonsTest {};

class FreeRtosRtosDriverIntegration : public FreeRtosDriverTest {};

} // namespace

TEST_F(FreeRtosRtosDriverTest, KeepsItsRow) {
    FreeRtosRtosDriver driver(freeRtosRow());
    EXPECT_EQ("FreeRTOS", driver.getDriverInfo().getName());
    EXPECT_EQ("tskTaskControlBlock", driver.getDriverInfo().getMatchSymbol());
    EXPECT_EQ(nullptr, driver.getPort());
}

TEST_F(FreeRtosRtosDriverTest, TaskSelectionFollowsTheOptionAtConstruction) {
    EXPECT_EQ(FreeRtosTaskWalk::TASK_SELECTION_UNSET, FreeRtosRtosDriver(freeRtosRow()).getTaskSelection());
    Properties::getInstance().addProperty("--opt_task_sel", "true");
    FreeRtosRtosDriver optimised(freeRtosRow());
    EXPECT_EQ(FreeRtosTaskWalk::TASK_SELECTION_OPTIMISED, optimised.getTaskSelection());
    Properties::getInstance().clear();
    Properties::getInstance().addProperty("--opt_task_sel", "false");
    EXPECT_EQ(FreeRtosTaskWalk::TASK_SELECTION_GENERIC, FreeRtosRtosDriver(freeRtosRow()).getTaskSelection());
    // Anything but "true" is false, which is not the same as leaving the option out.
    Properties::getInstance().clear();
    Properties::getInstance().addProperty("--opt_task_sel", "yes");
    EXPECT_EQ(FreeRtosTaskWalk::TASK_SELECTION_GENERIC, FreeRtosRtosDriver(freeRtosRow()).getTaskSelection());
    // Fixed once made.
    Properties::getInstance().clear();
    EXPECT_EQ(FreeRtosTaskWalk::TASK_SELECTION_OPTIMISED, optimised.getTaskSelection());
}

TEST_F(FreeRtosRtosDriverTest, InitWithoutVariantLeavesThePortToDetection) {
    FreeRtosRtosDriver driver(freeRtosRow());
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.init());
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, driver.getPort());
}

TEST_F(FreeRtosRtosDriverTest, InitLoadsTheVariantsPortOnce) {
    Properties::getInstance().addProperty("--rtos_variant", "ARM_CM7");
    FreeRtosRtosDriver driver(freeRtosRow());
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.init());
    EXPECT_EQ("Port driver loaded: ARM_CM7\n", ::testing::internal::GetCapturedStdout());
    IRtosPortDriver* port = driver.getPort();
    ASSERT_NE(nullptr, port);
    EXPECT_EQ(FreeRtosPortFactory::frames("ARM_CM7"), &dynamic_cast<RtosPort&>(*port).getFrames());

    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver.init());
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(port, driver.getPort());
}

TEST_F(FreeRtosRtosDriverTest, UnknownVariantFailsInit) {
    Properties::getInstance().addProperty("--rtos_variant", "ARM_CM4");
    FreeRtosRtosDriver driver(freeRtosRow());
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver.init());
    EXPECT_EQ("Unsupported port driver: ARM_CM4\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, driver.getPort());
}

TEST_F(FreeRtosRtosDriverTest, LogLinesOfInitFollowTheLogLevel) {
    Logger::getInstance().setLogLevel(7);
    Properties::getInstance().addProperty("--rtos_variant", "ARM_CM3");
    FreeRtosRtosDriver driver(freeRtosRow());
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver.init());
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
}

TEST_F(FreeRtosRtosDriverTest, AppendsItsSymbolsInOrder) {
    FreeRtosRtosDriver driver(freeRtosRow());
    std::vector<std::string> symbols = {"alreadyThere"};
    driver.getSymbols(symbols);
    EXPECT_EQ(std::vector<std::string>({"alreadyThere", "xDelayedTaskList1", "xDelayedTaskList2",
                                        "xPendingReadyList", "xSuspendedTaskList", "pxReadyTasksLists",
                                        "uxTopReadyPriority", "uxTopUsedPriority", "xSchedulerRunning",
                                        "xQueueRegistry", "pxCurrentTCB", "pxCurrentTimerList",
                                        "pxOverflowTimerList", "ulTotalRunTime", "xQueueRegistrySize",
                                        "vRestoreContextOfFirstTask", "vSVCHandler_C"}),
              symbols);
}

TEST_F(FreeRtosRtosDriverTest, AppendsItsStructuresInOrder) {
    FreeRtosRtosDriver driver(freeRtosRow());
    std::vector<std::string> structures = {"alreadyThere"};
    driver.getDataStructures(structures);
    EXPECT_EQ(std::vector<std::string>({"alreadyThere", "QueueDefinition", "QUEUE_REGISTRY_ITEM",
                                        "tskTaskControlBlock", "xLIST", "xMINI_LIST_ITEM", "xLIST_ITEM",
                                        "tmrTimerControl", "EventGroupDef_t"}),
              structures);
}

TEST_F(FreeRtosRtosDriverTest, CatalogueHasTheOneCommand) {
    FreeRtosRtosDriver driver(freeRtosRow());
    RtosInfo* info = driver.getInfo();
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(info, FreeRtosRtosDriver(freeRtosRow()).getInfo());
    EXPECT_EQ("freeRTOS", info->getId());
    ASSERT_EQ(1u, info->getCommands().size());
    EXPECT_EQ("state", info->getCommands()[0].getCommandId());
    EXPECT_EQ("Displays RTOS state", info->getCommands()[0].getCommandDescription());
}

TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetKeepsAGivenVariant) {
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM4F"}});
    ASSERT_TRUE(driver->init());
    IRtosPortDriver* port = driver->getPort();
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init(kernel->server()));
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(port, driver->getPort());
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetDetectsThePortFromTheArchitecture) {
    load("freertos_snapshot.elf");
    ASSERT_TRUE(driver->init());
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init(kernel->server()));
    EXPECT_EQ("Detected rtos variant: ARM_CM4F (no port file; architecture v7E-M with floating point)\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(FreeRtosPortFactory::frames("ARM_CM4F"),
              &dynamic_cast<RtosPort&>(*driver->getPort()).getFrames());
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetCannotDetectAPortWithoutTheElfFile) {
    load("freertos_snapshot.elf");
    Properties::getInstance().addProperty("--file", "/nonexistent/program.elf");
    ASSERT_TRUE(driver->init());
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->init(kernel->server()));
    EXPECT_EQ("Failure auto-detecting rtos variant. Option: --rtos_variant required.\n"
              "Signals seen: no port file\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, driver->getPort());
}

// Appends the compile unit of a port's port.c to the loaded program's dump, as a build with that port has.
static void addPortCompileUnit(const std::string& path) {
    std::string cachePath;
    ASSERT_TRUE(Properties::getInstance().getProperty("--debug_info_cache", cachePath));
    std::ofstream cache(cachePath, std::ios::app);
    cache << "  Compilation Unit @ offset 0xf000:\n"
          << " <0><f00b>: Abbrev Number: 1 (DW_TAG_compile_unit)\n"
          << "    <f011>   DW_AT_name        : (indirect line string, offset: 0x0): " << path << "\n";
}

TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetDetectsThePortFromTheCompileUnits) {
    load("freertos_snapshot.elf");
    addPortCompileUnit("../FreeRTOS-Kernel/portable/GCC/ARM_CM4F/port.c");
    ASSERT_TRUE(driver->init());
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init(kernel->server()));
    EXPECT_EQ("Detected rtos variant: ARM_CM4F (port.c in portable/GCC/ARM_CM4F)\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(FreeRtosPortFactory::frames("ARM_CM4F"),
              &dynamic_cast<RtosPort&>(*driver->getPort()).getFrames());
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetNamesTheSignalsOfTwoPorts) {
    load("freertos_snapshot.elf");
    addPortCompileUnit("k/portable/GCC/ARM_CM3/port.c");
    addPortCompileUnit("k/portable/GCC/ARM_CM4F/port.c");
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->init(kernel->server()));
    EXPECT_EQ(
        "Failure auto-detecting rtos variant. Option: --rtos_variant required.\n"
        "Signals seen: port.c in portable/GCC/ARM_CM3; port.c in portable/GCC/ARM_CM4F; architecture v7E-M "
        "with floating point\n",
        ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, driver->getPort());
}

TEST_F(FreeRtosRtosDriverIntegration, APortFileTheArchitectureCannotRunFails) {
    load("freertos_snapshot.elf");
    addPortCompileUnit("k/portable/GCC/ARM_CM0/port.c");
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->init(kernel->server()));
    EXPECT_EQ("Failure auto-detecting rtos variant. Option: --rtos_variant required.\n"
              "Signals seen: port.c in portable/GCC/ARM_CM0; architecture v7E-M with floating point\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, driver->getPort());
}

TEST_F(FreeRtosRtosDriverIntegration, AGivenVariantTheArchitectureCannotRunGetsAWarning) {
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM0"}});
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init());
    EXPECT_EQ(
        "Port driver loaded: ARM_CM0\n"
        "Option --rtos_variant ARM_CM0 contradicts the program: ARM_CM4F (no port file; architecture v7E-M "
        "with floating point)\n",
        ::testing::internal::GetCapturedStdout());
}

TEST_F(FreeRtosRtosDriverIntegration, AGivenVariantTheArchitectureAllowsGetsNoWarning) {
    // The architecture alone names ARM_CM4F; the Cortex-M7 port runs on it as well.
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM7"}});
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init());
    EXPECT_EQ("Port driver loaded: ARM_CM7\n", ::testing::internal::GetCapturedStdout());
}

TEST_F(FreeRtosRtosDriverIntegration, GivenVariantWinsOverTheProgramWithAWarning) {
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM3"}});
    addPortCompileUnit("k/portable/GCC/ARM_CM4F/port.c");
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->init());
    EXPECT_EQ(
        "Port driver loaded: ARM_CM3\n"
        "Option --rtos_variant ARM_CM3 contradicts the program: ARM_CM4F (port.c in portable/GCC/ARM_CM4F)\n",
        ::testing::internal::GetCapturedStdout());
    EXPECT_NE(nullptr, driver->getPort());
}

// A port made by an earlier init goes when the variant is no longer given.
TEST_F(FreeRtosRtosDriverIntegration, InitWithTheTargetDropsAnEarlierPort) {
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM4F"}});
    ASSERT_TRUE(driver->init());
    Properties::getInstance().clear();
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->init(kernel->server()));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(nullptr, driver->getPort());
}

TEST_F(FreeRtosRtosDriverIntegration, KernelRunsWhenTheFlagIsExactlyOne) {
    load("freertos_snapshot.elf");
    bool running = false;
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(driver->checkKernelRunning(kernel->server(), running));
    EXPECT_EQ("Kernel is running: true\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(running);
    EXPECT_EQ(1u, kernel->memoryReads());

    for (unsigned int flag : {0u, 2u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(flag);
        writeWord(address("xSchedulerRunning"), flag);
        running = true;
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(driver->checkKernelRunning(kernel->server(), running));
        EXPECT_EQ("Kernel is running: false\n", ::testing::internal::GetCapturedStdout());
        EXPECT_FALSE(running);
    }
}

TEST_F(FreeRtosRtosDriverIntegration, KernelStateWithoutItsSymbol) {
    load("freertos_snapshot.elf", {}, {"xSchedulerRunning"});
    bool running = true;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->checkKernelRunning(kernel->server(), running));
    EXPECT_EQ("Symbol not found: xSchedulerRunning\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(running);
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, KernelStateUnreadable) {
    load("freertos_snapshot.elf");
    fault(address("xSchedulerRunning"), 4);
    bool running = true;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->checkKernelRunning(kernel->server(), running));
    EXPECT_EQ("Failed reading: xSchedulerRunning\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(running);
}

TEST_F(FreeRtosRtosDriverIntegration, RegistersWithoutPortDriverFail) {
    load("freertos_snapshot.elf");
    TargetThread thread(address("xWorkerTCB"), address("xWorkerStack"));
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(driver->getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("FreeRtosRtosDriver::getRegisters(), <n> ms\n",
              timingfigures::masked(::testing::internal::GetCapturedStdout()));
    EXPECT_TRUE(registers.getRegisters().empty());
    EXPECT_EQ(0u, kernel->memoryReads());
}

// A task's registers come from the port driver: Worker's frame is the extended one.
TEST_F(FreeRtosRtosDriverIntegration, RegistersOfASwitchedOutTask) {
    load("freertos_snapshot.elf", {{"--rtos_variant", "ARM_CM4F"}});
    ASSERT_TRUE(driver->init());
    unsigned int frame = address("xWorkerStack") + (128 - 51) * 4;
    TargetThread thread(address("xWorkerTCB"), frame);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(driver->getRegisters(kernel->server(), thread, registers));
    std::string log = timingfigures::masked(::testing::internal::GetCapturedStdout());
    EXPECT_EQ("Frame type: Extended, OS frame: Extended\nFreeRtosRtosDriver::getRegisters(), <n> ms\n",
              log.substr(log.find("Frame type")));
    // Word i of task 2's frame is 0xC0DE0200 + i.
    EXPECT_EQ(frame + 204, registers.getRegisterValue(RegisterId::REG_SP, 0u));
    EXPECT_EQ(0xC0DE0200u, registers.getRegisterValue(RegisterId::REG_R4, 0u));
    EXPECT_EQ(0xFFFFFFEDu, registers.getRegisterValue(RegisterId::REG_LR_PENDSV, 0u));
    EXPECT_EQ(0xC0DE0209u, registers.getRegisterValue(RegisterId::REG_S16, 0u));
    EXPECT_EQ(0xC0DE0219u, registers.getRegisterValue(RegisterId::REG_R0, 0u));
    EXPECT_EQ(0xC0DE021Fu, registers.getRegisterValue(RegisterId::REG_PC, 0u));
    EXPECT_EQ(0x01000002u, registers.getRegisterValue(RegisterId::REG_XPSR, 0u));
    EXPECT_EQ(0xC0DE0221u, registers.getRegisterValue(RegisterId::REG_S0, 0u));
    EXPECT_EQ(0xC0DE0231u, registers.getRegisterValue(RegisterId::REG_FPSCR, 0u));
    EXPECT_EQ(51u, registers.getRegisters().size());
}

TEST_F(FreeRtosRtosDriverIntegration, ListHeadGivesCountAndFirstItem) {
    load("freertos_snapshot.elf");
    unsigned int count = 0;
    unsigned int head = 0;
    ASSERT_TRUE(FreeRtosList(kernel->server(), address("xDelayedTaskList1")).head(count, head));
    EXPECT_EQ(3u, count);
    EXPECT_EQ(taskMember("xSleeperTCB", "xStateListItem"), head);
    EXPECT_EQ(2u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, EmptyListHeadIsFalseWithCountZero) {
    load("freertos_snapshot.elf");
    unsigned int count = 7;
    unsigned int head = 0x1234;
    EXPECT_FALSE(FreeRtosList(kernel->server(), address("pxReadyTasksLists") + 2 * 20).head(count, head));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(0x1234u, head);
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosRtosDriverIntegration, UnreadableListHeadLeavesTheCount) {
    load("freertos_snapshot.elf");
    unsigned int count = 7;
    unsigned int head = 0x1234;
    EXPECT_FALSE(FreeRtosList(kernel->server(), 0x70000000).head(count, head));
    EXPECT_EQ(7u, count);
    EXPECT_EQ(0x1234u, head);
}

// The first link cannot be read: the count is known, the head is not.
TEST_F(FreeRtosRtosDriverIntegration, ListHeadWithUnreadableLink) {
    load("freertos_snapshot.elf");
    unsigned int list = address("xDelayedTaskList1");
    fault(member("xLIST", list, "xListEnd") + 4, 4);
    unsigned int count = 0;
    unsigned int head = 0x1234;
    EXPECT_FALSE(FreeRtosList(kernel->server(), list).head(count, head));
    EXPECT_EQ(3u, count);
    EXPECT_EQ(0x1234u, head);
}
