#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "base/ProxyUtils.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/freertos/FreeRtosObjectView.h"
#include "rtos/freertos/FreeRtosPortDetector.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosQueueRegistry.h"
#include "rtos/freertos/FreeRtosTimerLists.h"

#include <fstream>
#include <vector>

namespace {

// In the order the symbol negotiation asks GDB for them.
const char* const kSymbols[] = {
    "xDelayedTaskList1",
    "xDelayedTaskList2",
    "xPendingReadyList",
    "xSuspendedTaskList",
    "pxReadyTasksLists",
    "uxTopReadyPriority",
    "uxTopUsedPriority",
    "xSchedulerRunning",
    "xQueueRegistry",
    "pxCurrentTCB",
    "pxCurrentTimerList",
    "pxOverflowTimerList",
    "ulTotalRunTime",
    FreeRtosQueueRegistry::kRegistrySizeSymbol,
    "vRestoreContextOfFirstTask",
    "vSVCHandler_C",
};

const char* const kStructures[] = {"QueueDefinition", "QUEUE_REGISTRY_ITEM", "tskTaskControlBlock",
                                   "xLIST",           "xMINI_LIST_ITEM",     "xLIST_ITEM",
                                   "tmrTimerControl", "EventGroupDef_t"};

const char* const kVariantOption = "--rtos_variant";

// The port files that the debug-information cache names, and what the ELF file itself tells; an absent
// cache or file tells nothing.
FreeRtosPortDetector portEvidence() {
    FreeRtosPortDetector detector;
    std::string path;
    if (Properties::getInstance().getProperty("--debug_info_cache", path)) {
        std::ifstream cache(path);
        detector.readDump(cache);
    }
    if (Properties::getInstance().getProperty("--file", path)) {
        detector.readElf(path);
    }
    return detector;
}

FreeRtosTaskWalk::TaskSelection taskSelectionOption() {
    bool optimised = false;
    if (!Properties::getInstance().getProperty("--opt_task_sel", optimised)) {
        return FreeRtosTaskWalk::TASK_SELECTION_UNSET;
    }
    return optimised ? FreeRtosTaskWalk::TASK_SELECTION_OPTIMISED : FreeRtosTaskWalk::TASK_SELECTION_GENERIC;
}

} // namespace

FreeRtosRtosDriver::FreeRtosRtosDriver(const RtosDriverInfo& row)
    : TaskRecordDriver(row, {"freeRTOS", "xSchedulerRunning", FreeRtosTaskView::kAbsent, "Tasks"}),
      taskWalk(taskSelectionOption()) {}

bool FreeRtosRtosDriver::init() {
    if (port) {
        return false;
    }
    std::string variant;
    if (!Properties::getInstance().getProperty(kVariantOption, variant)) {
        return true;
    }
    port.reset(FreeRtosPortFactory::create(variant));
    Logger& logger = Logger::getInstance();
    if (port) {
        logger.log(Logger::LOG_DEBUG, "init", "Port driver loaded: %s\n", variant.c_str());
        FreeRtosPortDetector evidence = portEvidence();
        std::string detected;
        if (evidence.contradicts(variant, detected)) {
            logger.log(Logger::LOG_WARNING, "init", "Option %s %s contradicts the program: %s (%s)\n",
                       kVariantOption, variant.c_str(), detected.c_str(), evidence.reason().c_str());
        }
        return true;
    }
    logger.log(Logger::LOG_ERROR, "init", "Unsupported port driver: %s\n", variant.c_str());
    return false;
}

bool FreeRtosRtosDriver::init(RspClient& server) {
    // Each GDB session may bring a rebuilt program.
    taskWalk.forgetProgram();
    std::string variant;
    if (Properties::getInstance().getProperty(kVariantOption, variant)) {
        return true;
    }
    Logger& logger = Logger::getInstance();
    FreeRtosPortDetector evidence = portEvidence();
    if (evidence.detect(variant)) {
        port.reset(FreeRtosPortFactory::create(variant));
        logger.log(Logger::LOG_INFO, "init", "Detected rtos variant: %s (%s)\n", variant.c_str(),
                   evidence.reason().c_str());
        return true;
    }
    port.reset(FreeRtosPortFactory::create(server));
    if (port) {
        logger.log(Logger::LOG_DEBUG, "init", "Port driver loaded (auto)\n");
        return true;
    }
    logger.log(Logger::LOG_ERROR, "init", "Failure auto-detecting rtos variant. Option: %s required.\n",
               kVariantOption);
    logger.log(Logger::LOG_ERROR, "init", "Signals seen: %s\n", evidence.signals().c_str());
    return false;
}

void FreeRtosRtosDriver::getSymbols(std::vector<std::string>& symbols) {
    symbols.insert(symbols.end(), std::begin(kSymbols), std::end(kSymbols));
}

void FreeRtosRtosDriver::getDataStructures(std::vector<std::string>& structures) {
    structures.insert(structures.end(), std::begin(kStructures), std::end(kStructures));
}

bool FreeRtosRtosDriver::readRunningFlag(RspClient& server, const Symbol& flag, bool& running) {
    taskWalk.prefetchNeighbours(server, flag.getAddress32());
    unsigned int value = 0;
    if (!server.readMemory(flag.getAddress32(), value)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "checkKernelRunning",
                                  "Failed reading: xSchedulerRunning\n");
        return false;
    }
    running = value == 1;
    return true;
}

bool FreeRtosRtosDriver::readActiveThreadId(RspClient& server, unsigned int& id) {
    Symbol symbol;
    return SymbolTable::getInstance().lookupSymbol("pxCurrentTCB", symbol) &&
           server.readMemory(symbol.getAddress32(), id);
}

bool FreeRtosRtosDriver::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int start = ProxyUtils::getTimeStamp();
    bool result = TaskRecordDriver::getRegisters(server, thread, registers);
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters",
                              "FreeRtosRtosDriver::getRegisters(), %d ms\n",
                              static_cast<int>(ProxyUtils::getTimeStamp() - start));
    return result;
}

bool FreeRtosRtosDriver::walk(RspClient& server, bool detailed, std::vector<FreeRtosTask>& tasks) {
    return taskWalk.readTasks(server, detailed, tasks);
}

void FreeRtosRtosDriver::addObjectSections(RspClient& server, KernelInfoNode& out) {
    std::vector<FreeRtosQueue> queues;
    if (FreeRtosQueueRegistry::read(server, FreeRtosQueueRegistry::QUEUE_REGISTRY_QUEUE, queues)) {
        out.addChild(FreeRtosObjectView::section("Queues", queues, &FreeRtosObjectView::queueNode));
    }
    std::vector<FreeRtosQueue> semaphores;
    if (FreeRtosQueueRegistry::read(server, FreeRtosQueueRegistry::QUEUE_REGISTRY_SEMAPHORE, semaphores)) {
        out.addChild(
            FreeRtosObjectView::section("Semaphores", semaphores, &FreeRtosObjectView::semaphoreNode));
    }
    std::vector<FreeRtosTimer> timers;
    if (FreeRtosTimerLists::read(server, timers)) {
        out.addChild(FreeRtosObjectView::section("Software timers", timers, &FreeRtosObjectView::timerNode));
    }
}

bool FreeRtosRtosDriver::collectTasks(RspClient& server, bool extended, KernelInfoNode& node) {
    std::vector<FreeRtosTask> tasks;
    bool result = taskWalk.readTasks(server, extended, tasks);
    FreeRtosTaskView::addTasks(tasks, extended, node);
    return result;
}
