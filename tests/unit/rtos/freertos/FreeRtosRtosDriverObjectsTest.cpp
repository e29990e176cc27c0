#include "rtos/KernelMemory.h"
#include "rtos/freertos/FreeRtosObjectView.h"
#include "rtos/freertos/FreeRtosQueueRegistry.h"
#include "rtos/freertos/FreeRtosTimerLists.h"

#include "FreeRtosDriverTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace freertostest;

namespace {

class FreeRtosKernelObjectsIntegration : public FreeRtosDriverTest {
protected:
    KernelInfoNode registry(FreeRtosQueueRegistry::Kind kind, bool expected = true) {
        std::vector<FreeRtosQueue> queues;
        EXPECT_EQ(expected, FreeRtosQueueRegistry::read(kernel->server(), kind, queues));
        return FreeRtosObjectView::section("Section", queues,
                                           kind == FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE
                                               ? &FreeRtosObjectView::semaphoreNode
                                               : &FreeRtosObjectView::queueNode);
    }

    KernelInfoNode timers(bool expected = true) {
        std::vector<FreeRtosTimer> found;
        EXPECT_EQ(expected, FreeRtosTimerLists::read(kernel->server(), found));
        return FreeRtosObjectView::section("Software timers", found, &FreeRtosObjectView::timerNode);
    }

    // The timer at address rendered as a node; false if it could not be described.
    bool describeTimer(unsigned int at, KernelInfoNode& node) {
        FreeRtosTimer record;
        bool described = FreeRtosTimerLists::readTimer(kernel->server(), at, record);
        node = FreeRtosObjectView::timerNode(record);
        return described;
    }

    // The slot of the registry at index.
    unsigned int slot(unsigned int index) const {
        StructInfo item;
        EXPECT_TRUE(SymbolTable::getInstance().lookupStruct("QUEUE_REGISTRY_ITEM", item));
        return address("xQueueRegistry") + index * item.getSize();
    }

    void writeByte(unsigned int at, std::uint8_t value) {
        ASSERT_EQ("OK", kernel->target().writeMemory(at, {value}));
    }

    static std::string tree(const KernelInfoNode& node) { return KernelInfoNode::toStringTree(node, 0); }
};

} // namespace

// Mutexes have no items either: they are listed with the semaphores, by the kernel's type.
TEST_F(FreeRtosKernelObjectsIntegration, QueuesSemaphoresAndMutexesOfTheRegistry) {
    load("freertos_snapshot.elf");
    struct Case {
        FreeRtosQueueRegistry::Kind section;
        std::string tree;
        unsigned int reads;
    };
    // The size, two words per slot, the name and item size of each of the seven named entries, and for
    // each object its length, messages, type and the heads of the waiting lists it shows.
    const unsigned int registryReads = 1u + 8 * 2 + 7 * 2;
    const Case cases[] = {
        {FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE,
         "Section:\n"
         " Queue:\n  Name:CmdQueue\n  Address:" +
             hex(address("xCmdQueue")) +
             "\n  Length:4\n  Item size:16\n  Current length:4\n  Waiting TX:1\n  Waiting RX:\n"
             " Queue:\n  Name:RxBytes\n  Address:" +
             hex(address("xRxBytesQueue")) +
             "\n  Length:32\n  Item size:1\n  Current length:0\n  Waiting TX:\n  Waiting RX:1\n"
             " Queue:\n  Name:LogQueue\n  Address:" +
             hex(address("xLogQueue")) +
             "\n  Length:10\n  Item size:8\n  Current length:2\n  Waiting TX:\n  Waiting RX:\n",
         registryReads + (3 + 2 + 1) + (3 + 1 + 2) + (3 + 1 + 1)},
        {FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE,
         "Section:\n"
         " Semaphore:\n  Name:BinSem\n  Address:" +
             hex(address("xBinarySemaphore")) +
             "\n  Type:Binary semaphore\n  Size:1\n  Free:0\n  Blocked tasks:1\n"
             " Semaphore:\n  Name:CountSem\n  Address:" +
             hex(address("xCountingSemaphore")) +
             "\n  Type:Counting semaphore\n  Size:10\n  Free:7\n  Blocked tasks:\n"
             " Semaphore:\n  Name:Mutex\n  Address:" +
             hex(address("xMutex")) +
             "\n  Type:Mutex\n  Size:1\n  Free:0\n  Blocked tasks:\n"
             " Semaphore:\n  Name:RecMutex\n  Address:" +
             hex(address("xRecursiveMutex")) +
             "\n  Type:Recursive mutex\n  Size:1\n  Free:1\n  Blocked tasks:\n",
         registryReads + (3 + 1 + 2) + 3 * (3 + 1 + 1)},
    };
    for (const Case& each : cases) {
        kernel->resetReads();
        EXPECT_EQ(each.tree, tree(registry(each.section))) << each.section;
        EXPECT_EQ(each.reads, kernel->memoryReads()) << each.section;
    }
}

// The slot is free when its name is null, whatever its handle: the hidden queue is never looked at.
TEST_F(FreeRtosKernelObjectsIntegration, SlotWithoutNameIsSkipped) {
    load("freertos_snapshot.elf");
    unsigned int handle = 0;
    ASSERT_TRUE(kernel->server().readMemory(slot(3) + 4, handle));
    EXPECT_EQ(address("xHiddenQueue"), handle);
    fault(address("xHiddenQueue"), 80);
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE);
    EXPECT_EQ(3u, queues.getChildNodes().size());
}

TEST_F(FreeRtosKernelObjectsIntegration, OtherTypeSelectsNothing) {
    load("freertos_snapshot.elf");
    KernelInfoNode none = registry(static_cast<FreeRtosQueueRegistry::Kind>(2));
    EXPECT_TRUE(none.getChildNodes().empty());
}

// A program without the symbol still has the array's length in its debug information.
TEST_F(FreeRtosKernelObjectsIntegration, RegistryWithoutItsSizeTakesTheArrayLength) {
    load("freertos_snapshot.elf", {}, {"xQueueRegistrySize"});
    ::testing::internal::CaptureStdout();
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE);
    EXPECT_EQ("Missing symbol: xQueueRegistrySize. Size 8 from the array length of xQueueRegistry.\n",
              ::testing::internal::GetCapturedStdout());
    ASSERT_EQ(3u, queues.getChildNodes().size());
    EXPECT_EQ("CmdQueue", child(queues.getChildNodes()[0], "Name"));
    EXPECT_EQ("RxBytes", child(queues.getChildNodes()[1], "Name"));
    EXPECT_EQ("LogQueue", child(queues.getChildNodes()[2], "Name"));
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(4u, registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE).getChildNodes().size());
    EXPECT_EQ("Missing symbol: xQueueRegistrySize. Size 8 from the array length of xQueueRegistry.\n",
              ::testing::internal::GetCapturedStdout());
}

// The symbol, when the program defines it, wins over the array's length.
TEST_F(FreeRtosKernelObjectsIntegration, RegistrySizeSymbolWinsOverTheArrayLength) {
    load("freertos_snapshot.elf");
    writeWord(address("xQueueRegistrySize"), 2);
    ::testing::internal::CaptureStdout();
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE);
    KernelInfoNode semaphores = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE);
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    ASSERT_EQ(1u, queues.getChildNodes().size());
    EXPECT_EQ("CmdQueue", child(queues.getChildNodes()[0], "Name"));
    ASSERT_EQ(1u, semaphores.getChildNodes().size());
    EXPECT_EQ("BinSem", child(semaphores.getChildNodes()[0], "Name"));
}

// Without the symbol and without the array's length only the first slot can be trusted to exist.
TEST_F(FreeRtosKernelObjectsIntegration, RegistryWithoutAnySizeShowsTheFirstSlot) {
    load("freertos_snapshot.elf", {}, {"xQueueRegistrySize"});
    std::string cachePath;
    ASSERT_TRUE(Properties::getInstance().getProperty("--debug_info_cache", cachePath));
    std::ofstream(cachePath, std::ios::trunc).close();
    ::testing::internal::CaptureStdout();
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE);
    EXPECT_EQ("Missing symbol: xQueueRegistrySize.\n", ::testing::internal::GetCapturedStdout());
    ASSERT_EQ(1u, queues.getChildNodes().size());
    EXPECT_EQ("CmdQueue", child(queues.getChildNodes()[0], "Name"));
}

TEST_F(FreeRtosKernelObjectsIntegration, RegistryUnknown) {
    load("freertos_snapshot.elf", {}, {"xQueueRegistry"});
    ::testing::internal::CaptureStdout();
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE, false);
    EXPECT_EQ("Missing symbol: xQueueRegistry.\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(queues.getChildNodes().empty());
    EXPECT_EQ(0u, kernel->memoryReads());
}

TEST_F(FreeRtosKernelObjectsIntegration, RegistrySizeUnreadable) {
    load("freertos_snapshot.elf");
    fault(address("xQueueRegistrySize"), 4);
    unsigned int registryAddress = 0;
    unsigned int size = 77;
    EXPECT_FALSE(FreeRtosQueueRegistry::resolveRegistry(kernel->server(), registryAddress, size));
    EXPECT_EQ(77u, size);
    registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE, false);
}

TEST_F(FreeRtosKernelObjectsIntegration, RegistryAddressAndSize) {
    load("freertos_snapshot.elf");
    unsigned int registryAddress = 0;
    unsigned int size = 0;
    ASSERT_TRUE(FreeRtosQueueRegistry::resolveRegistry(kernel->server(), registryAddress, size));
    EXPECT_EQ(address("xQueueRegistry"), registryAddress);
    EXPECT_EQ(8u, size);
}

TEST_F(FreeRtosKernelObjectsIntegration, RegistryItemReadsNameAndHandle) {
    load("freertos_snapshot.elf");
    StructInfo item;
    ASSERT_TRUE(SymbolTable::resolveDataStructure("QUEUE_REGISTRY_ITEM", slot(7), item));
    unsigned int name = 0;
    unsigned int handle = 0;
    ASSERT_TRUE(FreeRtosQueueRegistry::resolveItem(kernel->server(), item, name, handle));
    EXPECT_EQ(address("xLogQueue"), handle);
    std::string text;
    ASSERT_TRUE(KernelMemory::readString(kernel->server(), name, 20, text));
    EXPECT_EQ("LogQueue", text);
}

TEST_F(FreeRtosKernelObjectsIntegration, UnreadableRegistryItemLeavesTheOutputs) {
    load("freertos_snapshot.elf");
    fault(slot(1) + 4, 4);
    StructInfo item;
    ASSERT_TRUE(SymbolTable::resolveDataStructure("QUEUE_REGISTRY_ITEM", slot(1), item));
    unsigned int name = 5;
    unsigned int handle = 6;
    EXPECT_FALSE(FreeRtosQueueRegistry::resolveItem(kernel->server(), item, name, handle));
    EXPECT_EQ(5u, name);
    EXPECT_EQ(6u, handle);
    // The walk ends at that slot; what it found before stays.
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE, false);
    EXPECT_EQ(1u, queues.getChildNodes().size());
}

// A handle into unmapped memory fails at the first read, the item size, and ends the walk.
TEST_F(FreeRtosKernelObjectsIntegration, HandleIntoNowhereEndsTheWalk) {
    load("freertos_snapshot.elf");
    writeWord(slot(2) + 4, 0x70000000);
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE, false);
    ASSERT_EQ(1u, queues.getChildNodes().size());
    EXPECT_EQ("CmdQueue", child(queues.getChildNodes()[0], "Name"));
}

TEST_F(FreeRtosKernelObjectsIntegration, UnreadableNameShowsNotAvailable) {
    load("freertos_snapshot.elf");
    writeWord(slot(0), 0x70000000);
    KernelInfoNode queues = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE);
    EXPECT_EQ("N/A", child(queues.getChildNodes()[0], "Name"));
}

TEST_F(FreeRtosKernelObjectsIntegration, SemaphoreTypeUnknownToTheKernel) {
    load("freertos_snapshot_minimal.elf");
    KernelInfoNode semaphores = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE);
    EXPECT_EQ(std::vector<std::string>({"N/A", "N/A", "N/A", "N/A"}), column(semaphores, "Type"));
    EXPECT_EQ(std::vector<std::string>({"1", "10", "1", "1"}), column(semaphores, "Size"));
}

TEST_F(FreeRtosKernelObjectsIntegration, SemaphoreTypeOutsideTheKnownValues) {
    load("freertos_snapshot.elf");
    writeByte(member("QueueDefinition", address("xCountingSemaphore"), "ucQueueType"), 0);
    writeByte(member("QueueDefinition", address("xMutex"), "ucQueueType"), 5);
    KernelInfoNode semaphores = registry(FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE);
    EXPECT_EQ(std::vector<std::string>({"Binary semaphore", "N/A", "N/A", "Recursive mutex"}),
              column(semaphores, "Type"));
}

TEST_F(FreeRtosKernelObjectsIntegration, TimersOfTheCurrentList) {
    load("freertos_snapshot.elf");
    EXPECT_EQ(
        "Software timers:\n"
        " Timer:\n  Name:Heartbeat\n  Active:True\n  Period:500\n  Type:Auto\n  Id:0x00001001\n  Callback:" +
            hex(address("vHeartbeatCallback") | 1) +
            "\n"
            " Timer:\n  Name:WatchdogKickerForSe\n  Active:True\n  Period:2000\n  Type:One-shot\n"
            "  Id:0x00001002\n  Callback:" +
            hex(address("vWatchdogCallback") | 1) + "\n",
        tree(timers()));
}

TEST_F(FreeRtosKernelObjectsIntegration, TimersOfTheOverflowListAreActiveToo) {
    load("freertos_snapshot_overflow.elf");
    KernelInfoNode found = timers();
    EXPECT_EQ(std::vector<std::string>({"Heartbeat", "WatchdogKickerForSe", "OverflowTimer"}),
              column(found, "Name"));
    EXPECT_EQ(std::vector<std::string>({"True", "True", "True"}), column(found, "Active"));
    EXPECT_EQ(std::vector<std::string>({"500", "2000", "100"}), column(found, "Period"));
}

TEST_F(FreeRtosKernelObjectsIntegration, KernelWithoutAnOverflowTimerListSaysSoAtDebugLevel) {
    load("freertos_snapshot.elf");
    ::testing::internal::CaptureStdout();
    KernelInfoNode found = timers();
    EXPECT_EQ("No overflow timer list: pxOverflowTimerList.\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(2u, found.getChildNodes().size());
}

TEST_F(FreeRtosKernelObjectsIntegration, OverflowTimerListNotSetUpYet) {
    load("freertos_snapshot_overflow.elf");
    writeWord(address("pxOverflowTimerList"), 0);
    EXPECT_EQ(std::vector<std::string>({"Heartbeat", "WatchdogKickerForSe"}), column(timers(), "Name"));
}

TEST_F(FreeRtosKernelObjectsIntegration, TimersOfAnOlderKernel) {
    load("freertos_snapshot_legacy.elf");
    KernelInfoNode found = timers();
    EXPECT_EQ(std::vector<std::string>({"Auto", "One-shot"}), column(found, "Type"));
    EXPECT_EQ(std::vector<std::string>({"True", "True"}), column(found, "Active"));
    EXPECT_EQ(std::vector<std::string>({"Heartbeat", "WatchdogKickerForSe"}), column(found, "Name"));
}

// Only 1 counts as auto-reload.
TEST_F(FreeRtosKernelObjectsIntegration, AutoReloadWordOtherThanOne) {
    load("freertos_snapshot_legacy.elf");
    writeWord(member("tmrTimerControl", address("xHeartbeatTimer"), "uxAutoReload"), 2);
    KernelInfoNode timer(0, "", "Timer");
    ASSERT_TRUE(describeTimer(address("xHeartbeatTimer"), timer));
    EXPECT_EQ("One-shot", child(timer, "Type"));
    EXPECT_EQ("True", child(timer, "Active"));
}

TEST_F(FreeRtosKernelObjectsIntegration, StatusBitsOfANewerKernel) {
    load("freertos_snapshot.elf");
    struct StatusCase {
        std::uint8_t status;
        const char* active;
        const char* type;
    };
    for (const StatusCase& each :
         {StatusCase{0x05, "True", "Auto"}, StatusCase{0x04, "False", "Auto"},
          StatusCase{0x01, "True", "One-shot"}, StatusCase{0x00, "False", "One-shot"}}) {
        SCOPED_TRACE(static_cast<int>(each.status));
        writeByte(member("tmrTimerControl", address("xHeartbeatTimer"), "ucStatus"), each.status);
        KernelInfoNode timer(0, "", "Timer");
        ASSERT_TRUE(describeTimer(address("xHeartbeatTimer"), timer));
        EXPECT_EQ(each.active, child(timer, "Active"));
        EXPECT_EQ(each.type, child(timer, "Type"));
    }
}

TEST_F(FreeRtosKernelObjectsIntegration, TimerListNotSetUpYet) {
    load("freertos_snapshot.elf");
    writeWord(address("pxCurrentTimerList"), 0);
    kernel->resetReads();
    EXPECT_TRUE(timers().getChildNodes().empty());
    EXPECT_EQ(1u, kernel->memoryReads());
}

TEST_F(FreeRtosKernelObjectsIntegration, EmptyTimerList) {
    load("freertos_snapshot.elf");
    writeWord(address("xActiveTimerList1"), 0);
    EXPECT_TRUE(timers().getChildNodes().empty());
}

TEST_F(FreeRtosKernelObjectsIntegration, TimerListUnknownOrUnreadable) {
    load("freertos_snapshot.elf", {}, {"pxCurrentTimerList"});
    ::testing::internal::CaptureStdout();
    timers(false);
    EXPECT_EQ("Missing symbol: pxCurrentTimerList.\n", ::testing::internal::GetCapturedStdout());
    load("freertos_snapshot.elf");
    fault(address("pxCurrentTimerList"), 4);
    ::testing::internal::CaptureStdout();
    timers(false);
    EXPECT_EQ("Missing symbol: pxCurrentTimerList.\n", ::testing::internal::GetCapturedStdout());
}

// A timer whose layout is unknown still shows, as an empty node.
TEST_F(FreeRtosKernelObjectsIntegration, TimersWithoutTheirLayout) {
    load("freertos_snapshot.elf", {}, {}, {"tmrTimerControl"});
    KernelInfoNode found = timers();
    EXPECT_EQ("Software timers:\n Timer:\n Timer:\n", tree(found));
    KernelInfoNode timer(0, "", "Timer");
    EXPECT_FALSE(describeTimer(address("xHeartbeatTimer"), timer));
    EXPECT_TRUE(timer.getChildNodes().empty());
}

TEST_F(FreeRtosKernelObjectsIntegration, BrokenTimerLinkFailsTheWalk) {
    load("freertos_snapshot.elf");
    fault(member("xLIST_ITEM", member("tmrTimerControl", address("xWatchdogTimer"), "xTimerListItem"),
                 "pvOwner"),
          4);
    EXPECT_EQ(1u, timers(false).getChildNodes().size());
}

TEST_F(FreeRtosKernelObjectsIntegration, TimerMembersThatCannotBeRead) {
    load("freertos_snapshot.elf");
    unsigned int timer = address("xWatchdogTimer");
    writeWord(member("tmrTimerControl", timer, "pcTimerName"), 0x70000000);
    fault(member("tmrTimerControl", timer, "xTimerPeriodInTicks"), 4);
    fault(member("tmrTimerControl", timer, "ucStatus"), 1);
    fault(member("tmrTimerControl", timer, "pvTimerID"), 8);
    KernelInfoNode node(0, "", "Timer");
    ASSERT_TRUE(describeTimer(timer, node));
    EXPECT_EQ("Timer:\n Name:N/A\n Active:N/A\n Period:N/A\n Type:N/A\n Id:N/A\n Callback:N/A\n", tree(node));
}
