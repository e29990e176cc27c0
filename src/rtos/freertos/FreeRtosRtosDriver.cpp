#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "app/Logger.h"
#include "app/Properties.h"
#include "app/ProxyUtils.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosInfo.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

namespace {

const std::string kDriverId = "freeRTOS";
const std::string kStateCommand = "state";

// The one command; its argument map holds a single entry with an empty key and value.
RtosInfo catalogue(kDriverId, {RtosCommand(kStateCommand, "Displays RTOS state", {{"", ""}})});

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
    "ulTotalRunTime",
    FreeRtosRtosDriver::kRegistrySizeSymbol,
    "prvSetupFPU",
    "prvSetupMPU",
};

const char* const kStructures[] = {"QueueDefinition", "QUEUE_REGISTRY_ITEM", "tskTaskControlBlock",
                                   "xLIST",           "xMINI_LIST_ITEM",     "xLIST_ITEM",
                                   "tmrTimerControl", "EventGroupDef_t"};

const char* const kVariantOption = "--rtos_variant";

} // namespace

FreeRtosRtosDriver::FreeRtosRtosDriver(const RtosDriverInfo& row)
    : AbstractRtosDriver(row), taskSelection(TASK_SELECTION_UNSET) {
    bool optimised = false;
    if (Properties::getInstance().getProperty("--opt_task_sel", optimised)) {
        taskSelection = optimised ? TASK_SELECTION_OPTIMISED : TASK_SELECTION_GENERIC;
    }
}

bool FreeRtosRtosDriver::init() {
    if (portDriver) {
        return false;
    }
    std::string variant;
    if (!Properties::getInstance().getProperty(kVariantOption, variant)) {
        return true;
    }
    portDriver.reset(FreeRtosPortFactory::create(variant));
    Logger& logger = Logger::getInstance();
    if (portDriver) {
        logger.log(Logger::LOG_DEBUG, "init", "Port driver loaded: %s\n", variant.c_str());
        return true;
    }
    logger.log(Logger::LOG_ERROR, "init", "Unsupported port driver: %s\n", variant.c_str());
    return false;
}

bool FreeRtosRtosDriver::init(RspClient& server) {
    std::string variant;
    if (Properties::getInstance().getProperty(kVariantOption, variant)) {
        return true;
    }
    portDriver.reset(FreeRtosPortFactory::create(server));
    Logger& logger = Logger::getInstance();
    if (portDriver) {
        logger.log(Logger::LOG_DEBUG, "init", "Port driver loaded (auto)\n");
        return true;
    }
    logger.log(Logger::LOG_ERROR, "init", "Failure auto-detecting rtos variant. Option: %s required.\n",
               kVariantOption);
    return false;
}

void FreeRtosRtosDriver::getSymbols(std::vector<std::string>& symbols) {
    symbols.insert(symbols.end(), std::begin(kSymbols), std::end(kSymbols));
}

void FreeRtosRtosDriver::getDataStructures(std::vector<std::string>& structures) {
    structures.insert(structures.end(), std::begin(kStructures), std::end(kStructures));
}

RtosInfo* FreeRtosRtosDriver::getInfo() {
    return &catalogue;
}

bool FreeRtosRtosDriver::checkKernelRunning(RspClient& server, bool& running) {
    Logger& logger = Logger::getInstance();
    Symbol symbol;
    if (!SymbolTable::getInstance().lookupSymbol("xSchedulerRunning", symbol)) {
        logger.log(Logger::LOG_ERROR, "checkKernelRunning", "Symbol not found: xSchedulerRunning\n");
        return false;
    }
    unsigned int value = 0;
    if (!server.readMemory(symbol.getAddress32(), value)) {
        logger.log(Logger::LOG_ERROR, "checkKernelRunning", "Failed reading: xSchedulerRunning\n");
        return false;
    }
    running = value == 1;
    logger.log(Logger::LOG_DEBUG, "checkKernelRunning", "Kernel is running: %s\n",
               running ? "true" : "false");
    return true;
}

bool FreeRtosRtosDriver::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int start = ProxyUtils::getTimeStamp();
    bool result = portDriver && portDriver->getRegisters(server, thread, registers);
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters",
                              "FreeRtosRtosDriver::getRegisters(), %d ms\n",
                              static_cast<int>(ProxyUtils::getTimeStamp() - start));
    return result;
}

bool FreeRtosRtosDriver::readString(RspClient& server, unsigned int address, unsigned int length,
                                    std::string& out) {
    if (length == 0) {
        return false;
    }
    std::vector<unsigned char> bytes;
    if (!server.readMemory(address, length, bytes)) {
        return false;
    }
    bytes.resize(length);
    bytes.back() = 0;
    out.assign(reinterpret_cast<const char*>(bytes.data()));
    return true;
}

bool FreeRtosRtosDriver::getListHead(RspClient& server, unsigned int listAddress, unsigned int& count,
                                     unsigned int& head) {
    FreeRtosKernelObject list(server);
    unsigned int items = 0;
    if (!list.bind("xLIST", listAddress) || !list.readWord("uxNumberOfItems", items)) {
        return false;
    }
    count = items;
    if (count == 0) {
        return false;
    }
    unsigned int end = 0;
    FreeRtosKernelObject endMarker(server);
    return list.memberAddress("xListEnd", end) && endMarker.bind("xMINI_LIST_ITEM", end) &&
           endMarker.readWord("pxNext", head);
}

bool FreeRtosRtosDriver::walkList(RspClient& server, unsigned int listAddress, const ListVisitor& visit) {
    unsigned int count = 0;
    unsigned int item = 0;
    if (!getListHead(server, listAddress, count, item)) {
        return true;
    }
    for (unsigned int index = 0; index < count && item != 0; ++index) {
        FreeRtosKernelObject listItem(server);
        unsigned int owner = 0;
        unsigned int next = 0;
        if (!listItem.bind("xLIST_ITEM", item) || !listItem.readWord("pvOwner", owner) ||
            !listItem.readWord("pxNext", next) || !visit(owner, index, count)) {
            return false;
        }
        item = next;
    }
    return true;
}

bool FreeRtosRtosDriver::runCommand(RspClient& server, const std::vector<std::string>& words,
                                    KernelInfoNode& out) {
    if (words.empty() || words[0] != kStateCommand) {
        return false;
    }
    out.addChild(KernelInfoNode(0, kDriverId, "Driver"));
    // "No kernel found" stands for a check that could not be made.
    std::string kernelState = "No kernel found";
    bool running = false;
    if (checkKernelRunning(server, running)) {
        kernelState = running ? "Started" : "Not started";
    }
    out.addChild(KernelInfoNode(0, kernelState, "Kernel state"));

    // Each section stands on its own: a walk that fails leaves out only its own section.
    KernelInfoNode tasks(0, "", "Tasks");
    if (collectTasks(server, true, tasks)) {
        if (!tasks.getChildNodes().empty()) {
            // The first task's kind of figure names the whole column.
            KernelInfoNode stack;
            KernelInfoNode figure;
            const KernelInfoNode& first = tasks.getChildNodes().front();
            if (first.getChildNode(TASK_CHILD_MIN_FREE_STACK, figure) ||
                first.getChildNode(TASK_CHILD_STACK_USAGE, figure)) {
                stack.setLabel(figure.getLabel());
            }
            if (collectStackUsage(tasks, stack)) {
                out.addChild(stack);
            }
        }
        out.addChild(tasks);
    }
    KernelInfoNode queues(0, "", "Queues");
    if (collectFromQueueRegistry(server, QUEUE_REGISTRY_QUEUE, queues)) {
        out.addChild(queues);
    }
    KernelInfoNode semaphores(0, "", "Semaphores");
    if (collectFromQueueRegistry(server, QUEUE_REGISTRY_SEMAPHORE, semaphores)) {
        out.addChild(semaphores);
    }
    KernelInfoNode timers(0, "", "Software timers");
    if (collectTimers(server, timers)) {
        out.addChild(timers);
    }
    return true;
}
