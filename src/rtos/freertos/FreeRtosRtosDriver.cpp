#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "base/ProxyUtils.h"
#include "base/StringUtil.h"
#include "debuginfo/ArrayLength.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/ListWalkBound.h"
#include "rtos/RtosInfo.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "rtos/freertos/FreeRtosPortDetector.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <utility>
#include <vector>

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
    "pxOverflowTimerList",
    "ulTotalRunTime",
    FreeRtosRtosDriver::kRegistrySizeSymbol,
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

const std::string kRunning = "RUNNING";
const std::string kReady = "READY";
const std::string kBlocked = "BLOCKED";
const std::string kSuspended = "SUSPENDED";
const std::string kDelayed = "DELAYED";

// The lists walked before the ready lists, in this order.
struct FixedList {
    const char* symbol;
    FreeRtosRtosDriver::TaskListType type;
};
const FixedList kFixedLists[] = {
    {"xDelayedTaskList1", FreeRtosRtosDriver::TASK_LIST_DELAYED},
    {"xDelayedTaskList2", FreeRtosRtosDriver::TASK_LIST_DELAYED},
    {"xPendingReadyList", FreeRtosRtosDriver::TASK_LIST_PENDING_READY},
    {"xSuspendedTaskList", FreeRtosRtosDriver::TASK_LIST_SUSPENDED},
};

// The state of a task that is not on a ready list, by its list and by the list its event item is on.
enum class Container : unsigned char { Any, None, Some };
struct StateRule {
    FreeRtosRtosDriver::TaskListType type;
    Container container;
    const std::string& state;
    bool showsContainer; // the container is the task's event object
};
const StateRule kStateRules[] = {
    {FreeRtosRtosDriver::TASK_LIST_DELAYED, Container::None, kDelayed, false},
    {FreeRtosRtosDriver::TASK_LIST_DELAYED, Container::Some, kBlocked, true},
    // About to become ready, and shown as blocked all the same.
    {FreeRtosRtosDriver::TASK_LIST_PENDING_READY, Container::Any, kBlocked, false},
    {FreeRtosRtosDriver::TASK_LIST_SUSPENDED, Container::None, kSuspended, false},
    {FreeRtosRtosDriver::TASK_LIST_SUSPENDED, Container::Some, kBlocked, true},
};

// The kernel fills a new task's stack with this byte.
// The scheduler's variables a stop and a walk read; tasks.c keeps them side by side in its data.
const char* const kSchedulerVariables[] = {"xSchedulerRunning", "pxCurrentTCB",      "uxTopReadyPriority",
                                           "uxTopUsedPriority", "ulTotalRunTime",    "xDelayedTaskList1",
                                           "xDelayedTaskList2", "xPendingReadyList", "xSuspendedTaskList",
                                           "pxReadyTasksLists"};
// Variables this close together are fetched with one read, up to this many bytes in all.
constexpr unsigned int kNeighbourGap = 64;
constexpr unsigned int kNeighbourhood = 1024;

constexpr unsigned char kStackFill = 0xA5;
// Bytes probed when the stack's upper end is unknown.
constexpr unsigned int kStackProbe = 256;

void logMissingSymbol(const char* tag, const char* name) {
    Logger::getInstance().log(Logger::LOG_ERROR, tag, "Symbol not found: %s\n", name);
}

unsigned int highestSetBit(unsigned int bits) {
    unsigned int index = 0;
    while (bits >>= 1) {
        ++index;
    }
    return index;
}

std::string runTimeShare(unsigned int counter, unsigned int total) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2)
         << static_cast<double>(counter) / static_cast<double>(total) * 100 << "%";
    return text.str();
}

// What ucQueueType says of an item-less queue.
struct QueueKind {
    unsigned char type;
    const char* text;
};
const QueueKind kSemaphoreKinds[] = {
    {1, "Mutex"},
    {2, "Counting semaphore"},
    {3, "Binary semaphore"},
    {4, "Recursive mutex"},
};

std::string semaphoreKind(bool known, unsigned char type) {
    for (const QueueKind& kind : kSemaphoreKinds) {
        if (known && kind.type == type) {
            return kind.text;
        }
    }
    return "N/A";
}

// ucStatus bits of the newer timers.
constexpr unsigned char kTimerActive = 0x01;
constexpr unsigned char kTimerAutoReload = 0x04;

KernelInfoNode leaf(const std::string& value, const std::string& label) {
    return KernelInfoNode(0, value, label);
}

// The bound of a global array from the debug-information dump kept in the cache file.
bool arrayLengthOf(const char* variable, unsigned int& out) {
    std::string cachePath;
    if (!Properties::getInstance().getProperty("--debug_info_cache", cachePath)) {
        return false;
    }
    std::ifstream cache(cachePath);
    return ArrayLength::find(cache, variable, out);
}

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
    readyListCountKnown = false;
    std::string variant;
    if (Properties::getInstance().getProperty(kVariantOption, variant)) {
        return true;
    }
    Logger& logger = Logger::getInstance();
    FreeRtosPortDetector evidence = portEvidence();
    if (evidence.detect(variant)) {
        portDriver.reset(FreeRtosPortFactory::create(variant));
        logger.log(Logger::LOG_INFO, "init", "Detected rtos variant: %s (%s)\n", variant.c_str(),
                   evidence.reason().c_str());
        return true;
    }
    portDriver.reset(FreeRtosPortFactory::create(server));
    if (portDriver) {
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

RtosInfo* FreeRtosRtosDriver::getInfo() {
    return &catalogue;
}

void FreeRtosRtosDriver::prefetchNeighbours(RspClient& server, unsigned int address) {
    SymbolTable& table = SymbolTable::getInstance();
    StructInfo listLayout;
    const unsigned int listSize = table.lookupStruct("xLIST", listLayout) ? listLayout.getSize() : 4;
    std::vector<std::pair<unsigned int, unsigned int>> variables;
    for (const char* name : kSchedulerVariables) {
        Symbol symbol;
        if (!table.lookupSymbol(name, symbol)) {
            continue;
        }
        const std::string variable = name;
        unsigned int size = 4;
        if (variable == "pxReadyTasksLists") {
            size = listSize * std::max(1u, readyListCount());
        } else if (StringUtil::startsWith(variable, "x") && variable.find("List") != std::string::npos) {
            size = listSize;
        }
        variables.emplace_back(symbol.getAddress32(), size);
    }
    std::sort(variables.begin(), variables.end());
    // Runs of neighbours, in address order; the run that holds address is fetched.
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    bool holdsAddress = false;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const std::uint64_t first = variables[i].first;
        const std::uint64_t last = first + variables[i].second;
        if (i == 0 || first > end + kNeighbourGap || std::max(end, last) - start > kNeighbourhood) {
            if (holdsAddress) {
                break;
            }
            start = first;
            end = last;
        }
        end = std::max(end, last);
        holdsAddress = holdsAddress || (address >= first && address < last);
    }
    if (holdsAddress) {
        server.prefetchMemory(static_cast<unsigned int>(start), static_cast<unsigned int>(end - start));
    }
}

bool FreeRtosRtosDriver::checkKernelRunning(RspClient& server, bool& running) {
    Logger& logger = Logger::getInstance();
    Symbol symbol;
    if (!SymbolTable::getInstance().lookupSymbol("xSchedulerRunning", symbol)) {
        logger.log(Logger::LOG_ERROR, "checkKernelRunning", "Symbol not found: xSchedulerRunning\n");
        return false;
    }
    prefetchNeighbours(server, symbol.getAddress32());
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
    return list.memberAddress("xListEnd", end) && bindListEnd(endMarker, end) &&
           endMarker.readWord("pxNext", head);
}

bool FreeRtosRtosDriver::bindListEnd(FreeRtosKernelObject& endMarker, unsigned int address) {
    // configUSE_MINI_LIST_ITEM 0 removes the mini item: the end marker is then a full list item.
    return endMarker.bind("xMINI_LIST_ITEM", address) || endMarker.bind("xLIST_ITEM", address);
}

bool FreeRtosRtosDriver::walkList(RspClient& server, unsigned int listAddress, const ListVisitor& visit,
                                  const OwnerLayout& owner) {
    unsigned int count = 0;
    unsigned int item = 0;
    if (!getListHead(server, listAddress, count, item)) {
        return true;
    }
    // The end marker closes a whole list; a corrupt one is cut at a link seen before or past its count.
    FreeRtosKernelObject list(server);
    unsigned int end = 0;
    if (!list.bind("xLIST", listAddress) || !list.memberAddress("xListEnd", end)) {
        return false;
    }
    ListWalkBound bound("the list at " + StringUtil::to_string(listAddress, 16, 8), count);
    OwnerLayout layout = owner;
    for (unsigned int index = 0; item != 0 && item != end && bound.admit(item); ++index) {
        // The item lies inside its owner: one read brings both. Should the owner not be where the item
        // says, that read is merely wasted, for the item is read from the same memory either way; the
        // owner's own address then tells where the items of this list lie in theirs.
        if (layout.size != 0 && item >= layout.itemOffset) {
            server.prefetchMemory(item - layout.itemOffset, layout.size);
        }
        FreeRtosKernelObject listItem(server);
        unsigned int ownerAddress = 0;
        unsigned int next = 0;
        if (!listItem.bind("xLIST_ITEM", item) || !listItem.readWord("pvOwner", ownerAddress) ||
            !listItem.readWord("pxNext", next) || !visit(ownerAddress, index, count)) {
            return false;
        }
        if (layout.size != 0 && ownerAddress <= item && item - ownerAddress < layout.size) {
            layout.itemOffset = item - ownerAddress;
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

// The task walk: the kernel keeps no list of all tasks, so every list that can hold one is walked, and
// each task becomes a "Task" node.

bool FreeRtosRtosDriver::getActiveThread(RspClient& server, TargetThread& thread) {
    Symbol symbol;
    unsigned int current = 0;
    // A task's id is the address of its control block.
    if (!SymbolTable::getInstance().lookupSymbol("pxCurrentTCB", symbol) ||
        !server.readMemory(symbol.getAddress32(), current) || current == 0) {
        return false;
    }
    thread.setThreadId(current);
    thread.setCpuActive(true);
    return true;
}

bool FreeRtosRtosDriver::getThreads(RspClient& server, ThreadList& threads) {
    threads.clear();
    KernelInfoNode tasks;
    if (!readTasks(server, false, tasks)) {
        threads.clear();
        return false;
    }
    for (KernelInfoNode& task : tasks.getChildNodes()) {
        TargetThread thread;
        if (!infoNodeToThread(task, thread)) {
            threads.clear();
            return false;
        }
        threads.addThread(thread);
    }
    return true;
}

bool FreeRtosRtosDriver::collectTasks(RspClient& server, bool extended, KernelInfoNode& node) {
    return readTasks(server, extended, node);
}

bool FreeRtosRtosDriver::readTasks(RspClient& server, bool extended, KernelInfoNode& node) {
    const char* tag = "readTasks";
    SymbolTable& table = SymbolTable::getInstance();
    StructInfo listLayout;
    if (!table.lookupStruct("xLIST", listLayout)) {
        Logger::getInstance().log(Logger::LOG_ERROR, tag, "Unknown data structure layout%s\n", "xLIST");
        return false;
    }
    Symbol symbol;
    for (const FixedList& list : kFixedLists) {
        if (!table.lookupSymbol(list.symbol, symbol)) {
            logMissingSymbol(tag, list.symbol);
            return false;
        }
        prefetchNeighbours(server, symbol.getAddress32());
        if (!readTaskList(server, symbol.getAddress32(), list.type, extended, node)) {
            return false;
        }
    }
    if (taskSelection != TASK_SELECTION_UNSET) {
        if (!table.lookupSymbol("uxTopReadyPriority", symbol)) {
            logMissingSymbol(tag, "uxTopReadyPriority");
            return false;
        }
    } else if (!table.lookupSymbol("uxTopUsedPriority", symbol) &&
               !table.lookupSymbol("uxTopReadyPriority", symbol)) {
        logMissingSymbol(tag, "uxTopUsedPriority/uxTopReadyPriority");
        return false;
    }
    unsigned int topWord = 0;
    prefetchNeighbours(server, symbol.getAddress32());
    if (!server.readMemory(symbol.getAddress32(), topWord)) {
        Logger::getInstance().log(Logger::LOG_ERROR, tag,
                                  "Failed reading: uxTopReadyPriority/uxTopUsedPriority\n");
        return false;
    }
    // Without the option, a bit map of a kernel that lacks uxTopUsedPriority is taken for a number.
    unsigned int topPriority = taskSelection == TASK_SELECTION_OPTIMISED ? highestSetBit(topWord) : topWord;
    if (!table.lookupSymbol("pxReadyTasksLists", symbol)) {
        logMissingSymbol(tag, "pxReadyTasksLists");
        return false;
    }
    // A top priority beyond the lists the program has is corrupt: the lists behind the array are not lists.
    std::uint64_t lastList = topPriority;
    unsigned int lists = readyListCount();
    if (lists != 0 && topPriority >= lists) {
        Logger::getInstance().log(Logger::LOG_WARNING, tag,
                                  "Top priority %u beyond the %u ready lists: walk cut short.\n", topPriority,
                                  lists);
        lastList = lists - 1;
    }
    unsigned int listAddress = symbol.getAddress32();
    server.prefetchMemory(listAddress, static_cast<unsigned int>((lastList + 1) * listLayout.getSize()));
    for (std::uint64_t priority = 0; priority <= lastList; ++priority) {
        if (!readTaskList(server, listAddress, TASK_LIST_READY, extended, node)) {
            return false;
        }
        listAddress += listLayout.getSize();
    }
    return true;
}

unsigned int FreeRtosRtosDriver::readyListCount() {
    if (!readyListCountKnown) {
        readyListCountKnown = true;
        if (!arrayLengthOf("pxReadyTasksLists", readyLists)) {
            readyLists = 0;
        }
    }
    return readyLists;
}

bool FreeRtosRtosDriver::readTaskList(RspClient& server, unsigned int listAddress, TaskListType type,
                                      bool extended, KernelInfoNode& node) {
    OwnerLayout owner = {0, 0};
    StructInfo task;
    MemberInfo item;
    // A task waits on the pending-ready list by its event item, on every other list by its state item.
    if (SymbolTable::getInstance().lookupStruct("tskTaskControlBlock", task) &&
        task.lookup(type == TASK_LIST_PENDING_READY ? "xEventListItem" : "xStateListItem", item)) {
        owner.itemOffset = item.getOffset();
        owner.size = task.getSize();
    }
    return walkList(
        server, listAddress,
        [&](unsigned int taskAddress, unsigned int, unsigned int) {
            KernelInfoNode taskNode(0, "", "Task");
            if (!readTask(server, taskAddress, type, extended, taskNode)) {
                return false;
            }
            node.addChild(taskNode);
            return true;
        },
        owner);
}

bool FreeRtosRtosDriver::readTask(RspClient& server, unsigned int taskAddress, TaskListType type,
                                  bool extended, KernelInfoNode& node) {
    SymbolTable& table = SymbolTable::getInstance();
    Symbol symbol;
    unsigned int currentTask = 0;
    bool haveCurrent =
        table.lookupSymbol("pxCurrentTCB", symbol) && server.readMemory(symbol.getAddress32(), currentTask);
    if (!haveCurrent) {
        logMissingSymbol("readTask", "pxCurrentTCB");
    } else {
        node.addChild(KernelInfoNode(TASK_CHILD_ACTIVE, taskAddress == currentTask ? "1" : "0", "Active"));
    }
    unsigned int totalRunTime = 0;
    if (table.lookupSymbol("ulTotalRunTime", symbol)) {
        server.readMemory(symbol.getAddress32(), totalRunTime);
    }
    FreeRtosKernelObject task(server);
    if (!haveCurrent || !task.bind("tskTaskControlBlock", taskAddress)) {
        return false;
    }
    node.addChild(KernelInfoNode(TASK_CHILD_TASK_ID, StringUtil::to_string(taskAddress, 16, 8), "Task id"));
    // The name lies in the control block itself.
    std::string name = "N/A";
    unsigned int nameAddress = 0;
    if (task.memberAddress("pcTaskName", nameAddress)) {
        readString(server, nameAddress, kNameLength, name);
    }
    node.addChild(KernelInfoNode(TASK_CHILD_NAME, name, "Name"));
    node.addChild(KernelInfoNode(TASK_CHILD_TOP_OF_STACK, task.hex("pxTopOfStack", "N/A"), "Top of stack"));
    if (!extended) {
        return true;
    }

    unsigned int start = 0;
    unsigned int end = 0;
    bool haveStart = task.readWord("pxStack", start);
    if (haveStart) {
        node.addChild(
            KernelInfoNode(TASK_CHILD_START_OF_STACK, StringUtil::to_string(start, 16, 8), "Start of stack"));
    }
    bool haveEnd = task.readWord("pxEndOfStack", end);
    if (haveEnd) {
        node.addChild(
            KernelInfoNode(TASK_CHILD_END_OF_STACK, StringUtil::to_string(end, 16, 8), "End of stack"));
    }
    unsigned int freeBytes = 0;
    if (haveStart && haveEnd) {
        // The end marks the last word of the stack; the total is taken as the kernel tools take it.
        unsigned int total = end - start + 8;
        if (end > start && getFreeStack(server, start, total, freeBytes)) {
            node.addChild(KernelInfoNode(TASK_CHILD_STACK_USAGE, StringUtil::toStackUsage(total, freeBytes),
                                         "Stack usage"));
        }
    } else if (haveStart && getFreeStack(server, start, kStackProbe, freeBytes)) {
        std::string figure = (freeBytes == kStackProbe ? ">" : "") + std::to_string(freeBytes) + "B";
        node.addChild(KernelInfoNode(TASK_CHILD_MIN_FREE_STACK, figure, "Min free stack"));
    }

    std::string basePriority = task.decimal("uxBasePriority", "");
    std::string priority = task.decimal("uxPriority", "");
    node.addChild(
        KernelInfoNode(TASK_CHILD_PRIORITY, basePriority + "/" + priority, "Priority (Base/Actual)"));

    std::string runTime = "N/A";
    unsigned int counter = 0;
    if (totalRunTime > 0 && task.readWord("ulRunTimeCounter", counter)) {
        runTime = runTimeShare(counter, totalRunTime);
    }
    node.addChild(KernelInfoNode(TASK_CHILD_RUN_TIME, runTime, "Run-time"));

    std::string state;
    std::string eventObject;
    if (type == TASK_LIST_READY) {
        state = taskAddress == currentTask ? kRunning : kReady;
    } else {
        unsigned int eventItem = 0;
        unsigned int containerAddress = 0;
        unsigned int container = 0;
        FreeRtosKernelObject item(server);
        // Kernel versions name the member either way.
        if (task.memberAddress("xEventListItem", eventItem) && item.bind("xLIST_ITEM", eventItem) &&
            item.memberAddress(item.has("pvContainer") ? "pvContainer" : "pxContainer", containerAddress) &&
            server.readMemory(containerAddress, container)) {
            for (const StateRule& rule : kStateRules) {
                if (rule.type == type && (rule.container == Container::Any ||
                                          (rule.container == Container::Some) == (container != 0))) {
                    state = rule.state;
                    eventObject = rule.showsContainer ? StringUtil::to_string(container, 16, 8) : "";
                    break;
                }
            }
        }
    }
    node.addChild(KernelInfoNode(TASK_CHILD_STATE, state, "State"));
    node.addChild(KernelInfoNode(TASK_CHILD_EVENT_OBJECT, eventObject, "Event object"));
    return true;
}

bool FreeRtosRtosDriver::getFreeStack(RspClient& server, unsigned int start, unsigned int size,
                                      unsigned int& freeBytes) {
    return countStackFill(server, start, size, kStackFill, freeBytes);
}

bool FreeRtosRtosDriver::infoNodeToThread(KernelInfoNode& task, TargetThread& thread) {
    KernelInfoNode taskId;
    KernelInfoNode active;
    KernelInfoNode topOfStack;
    if (!task.getChildNode(TASK_CHILD_TASK_ID, taskId) || !task.getChildNode(TASK_CHILD_ACTIVE, active) ||
        !task.getChildNode(TASK_CHILD_TOP_OF_STACK, topOfStack)) {
        return false;
    }
    unsigned int id = 0;
    bool cpuActive = false;
    unsigned int stackPointer = 0;
    try {
        id = static_cast<unsigned int>(std::stoul(taskId.getValue(), nullptr, 0));
        cpuActive = std::stoul(active.getValue(), nullptr, 10) == 1;
        stackPointer = static_cast<unsigned int>(std::stoul(topOfStack.getValue(), nullptr, 0));
    } catch (const std::exception&) {
        return false;
    }
    KernelInfoNode name;
    if (task.getChildNode(TASK_CHILD_NAME, name)) {
        thread.setName(name.getValue());
    }
    thread.setThreadId(id);
    thread.setCpuActive(cpuActive);
    thread.setStackPointer(stackPointer);
    return true;
}

bool FreeRtosRtosDriver::collectStackUsage(KernelInfoNode& tasks, KernelInfoNode& out) {
    for (const KernelInfoNode& task : tasks.getChildNodes()) {
        KernelInfoNode child;
        std::string name = task.getChildNode(TASK_CHILD_NAME, child) ? child.getValue() : "N/A";
        std::string usage = "N/A";
        if (task.getChildNode(TASK_CHILD_STACK_USAGE, child) ||
            task.getChildNode(TASK_CHILD_MIN_FREE_STACK, child)) {
            usage = child.getValue();
        }
        out.addChild(KernelInfoNode(0, usage, name));
    }
    return true;
}

// Kernel objects other than tasks: queues and semaphores through the queue registry, software timers
// through the current timer list, and event groups one at a time.

bool FreeRtosRtosDriver::resolveQueueRegistry(RspClient& server, unsigned int& address, unsigned int& size) {
    Logger& logger = Logger::getInstance();
    SymbolTable& table = SymbolTable::getInstance();
    Symbol registry;
    if (!table.lookupSymbol("xQueueRegistry", registry)) {
        logger.log(Logger::LOG_WARNING, "resolveQueueRegistry", "Missing symbol: xQueueRegistry.\n");
        return false;
    }
    address = registry.getAddress32();
    Symbol registrySize;
    if (table.lookupSymbol(kRegistrySizeSymbol, registrySize)) {
        return server.readMemory(registrySize.getAddress32(), size);
    }
    if (arrayLengthOf("xQueueRegistry", size)) {
        logger.log(Logger::LOG_WARNING, "resolveQueueRegistry",
                   "Missing symbol: %s. Size %u from the array length of xQueueRegistry.\n",
                   kRegistrySizeSymbol, size);
        return true;
    }
    // Without either only the first slot can be trusted to exist.
    logger.log(Logger::LOG_WARNING, "resolveQueueRegistry", "Missing symbol: %s.\n", kRegistrySizeSymbol);
    size = 1;
    return true;
}

bool FreeRtosRtosDriver::resolveQueueRegistryItem(RspClient& server, StructInfo& item, unsigned int& name,
                                                  unsigned int& handle) {
    MemberInfo queueName;
    MemberInfo queueHandle;
    if (!item.lookup("pcQueueName", queueName) ||
        !server.readMemory(queueName.getAddress(), 4, queueName.getData()) ||
        !item.lookup("xHandle", queueHandle) ||
        !server.readMemory(queueHandle.getAddress(), 4, queueHandle.getData())) {
        return false;
    }
    name = queueName.getDataUINT32();
    handle = queueHandle.getDataUINT32();
    return true;
}

bool FreeRtosRtosDriver::collectFromQueueRegistry(RspClient& server, QueueRegistryType type,
                                                  KernelInfoNode& node) {
    unsigned int registry = 0;
    unsigned int size = 0;
    if (!resolveQueueRegistry(server, registry, size)) {
        return false;
    }
    bool result = true;
    // Filled at the first slot; its size steps to the next ones.
    StructInfo item;
    for (unsigned int index = 0; index < size && result; ++index) {
        unsigned int slot = registry + index * item.getSize();
        unsigned int name = 0;
        unsigned int handle = 0;
        if (!SymbolTable::resolveDataStructure("QUEUE_REGISTRY_ITEM", slot, item) ||
            !resolveQueueRegistryItem(server, item, name, handle)) {
            result = false;
            continue;
        }
        // A free slot is told by its name, not by its handle.
        if (name == 0) {
            continue;
        }
        // Here the name is a pointer into the target, unlike a task's.
        std::string text = "N/A";
        readString(server, name, kNameLength, text);
        FreeRtosKernelObject queue(server);
        unsigned int itemSize = 0;
        if (!queue.bind("QueueDefinition", handle) || !queue.readWord("uxItemSize", itemSize)) {
            result = false;
            continue;
        }
        QueueRegistryType kind = itemSize > 0 ? QUEUE_REGISTRY_QUEUE : QUEUE_REGISTRY_SEMAPHORE;
        if (kind != type) {
            continue;
        }
        std::string length = queue.decimal("uxLength", "");
        std::string messages = queue.decimal("uxMessagesWaiting", "");
        unsigned char queueType = 0;
        bool knownType = queue.readByte("ucQueueType", queueType);
        // Counted through the list head, so an empty list shows as an empty value and never as 0.
        std::string waitingToSend;
        std::string waitingToReceive;
        unsigned int list = 0;
        unsigned int count = 0;
        unsigned int first = 0;
        if (queue.memberAddress("xTasksWaitingToSend", list) && getListHead(server, list, count, first)) {
            waitingToSend = std::to_string(count);
        }
        if (queue.memberAddress("xTasksWaitingToReceive", list) && getListHead(server, list, count, first)) {
            waitingToReceive = std::to_string(count);
        }
        std::string address = StringUtil::to_string(handle, 16, 8);
        if (type == QUEUE_REGISTRY_QUEUE) {
            KernelInfoNode entry(0, "", "Queue");
            entry.addChild(leaf(text, "Name"));
            entry.addChild(leaf(address, "Address"));
            entry.addChild(leaf(length, "Length"));
            entry.addChild(leaf(std::to_string(itemSize), "Item size"));
            entry.addChild(leaf(messages, "Current length"));
            entry.addChild(leaf(waitingToSend, "Waiting TX"));
            entry.addChild(leaf(waitingToReceive, "Waiting RX"));
            node.addChild(entry);
        } else if (type == QUEUE_REGISTRY_SEMAPHORE) {
            KernelInfoNode entry(0, "", "Semaphore");
            entry.addChild(leaf(text, "Name"));
            entry.addChild(leaf(address, "Address"));
            entry.addChild(leaf(semaphoreKind(knownType, queueType), "Type"));
            entry.addChild(leaf(length, "Size"));
            entry.addChild(leaf(messages, "Free"));
            entry.addChild(leaf(waitingToReceive, "Blocked tasks"));
            node.addChild(entry);
        } else {
            result = false;
        }
    }
    return result;
}

bool FreeRtosRtosDriver::collectTimers(RspClient& server, KernelInfoNode& node) {
    Symbol symbol;
    unsigned int currentList = 0;
    if (!SymbolTable::getInstance().lookupSymbol("pxCurrentTimerList", symbol) ||
        !server.readMemory(symbol.getAddress32(), currentList)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "collectTimers",
                                  "Missing symbol: pxCurrentTimerList.\n");
        return false;
    }
    // The timer task has not set its lists up yet.
    if (currentList == 0) {
        return true;
    }
    ListVisitor addTimer = [&](unsigned int owner, unsigned int, unsigned int) {
        // A timer that cannot be described still shows, as an empty node.
        KernelInfoNode timer(0, "", "Timer");
        collectTimer(server, owner, timer);
        node.addChild(timer);
        return true;
    };
    return walkList(server, currentList, addTimer) && walkOverflowTimerList(server, addTimer);
}

bool FreeRtosRtosDriver::walkOverflowTimerList(RspClient& server, const ListVisitor& visit) {
    Symbol symbol;
    unsigned int overflowList = 0;
    if (!SymbolTable::getInstance().lookupSymbol("pxOverflowTimerList", symbol) ||
        !server.readMemory(symbol.getAddress32(), overflowList)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "collectTimers",
                                  "No overflow timer list: pxOverflowTimerList.\n");
        return true;
    }
    return overflowList == 0 || walkList(server, overflowList, visit);
}

bool FreeRtosRtosDriver::collectTimer(RspClient& server, unsigned int address, KernelInfoNode& node) {
    FreeRtosKernelObject timer(server);
    if (!timer.bind("tmrTimerControl", address)) {
        return false;
    }
    std::string name = "N/A";
    unsigned int namePointer = 0;
    if (timer.readWord("pcTimerName", namePointer)) {
        readString(server, namePointer, kNameLength, name);
    }
    std::string period = timer.decimal("xTimerPeriodInTicks", "N/A");
    // Older kernels keep the reload flag as a word, newer ones status bits; a timer of the older kind on the
    // list is active by being there.
    std::string active = "N/A";
    std::string kind = "N/A";
    unsigned int autoReload = 0;
    unsigned char status = 0;
    // Older kernels keep the reload flag in a member of its own, newer ones a bit of ucStatus.
    if (timer.has("uxAutoReload") && timer.readWord("uxAutoReload", autoReload)) {
        kind = autoReload == 1 ? "Auto" : "One-shot";
        active = "True";
    } else if (timer.readByte("ucStatus", status)) {
        kind = (status & kTimerAutoReload) != 0 ? "Auto" : "One-shot";
        active = (status & kTimerActive) != 0 ? "True" : "False";
    }
    node.addChild(leaf(name, "Name"));
    node.addChild(leaf(active, "Active"));
    node.addChild(leaf(period, "Period"));
    node.addChild(leaf(kind, "Type"));
    node.addChild(leaf(timer.hex("pvTimerID", "N/A"), "Id"));
    node.addChild(leaf(timer.hex("pxCallbackFunction", "N/A"), "Callback"));
    return true;
}
