// The task walk of FreeRtosRtosDriver: the kernel keeps no list of all tasks, so every list that can
// hold one is walked, and each task becomes a "Task" node.
#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "app/Logger.h"
#include "app/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <cstdint>
#include <iomanip>
#include <sstream>

namespace {

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

} // namespace

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
    unsigned int listAddress = symbol.getAddress32();
    for (std::uint64_t priority = 0; priority <= topPriority; ++priority) {
        if (!readTaskList(server, listAddress, TASK_LIST_READY, extended, node)) {
            return false;
        }
        listAddress += listLayout.getSize();
    }
    return true;
}

bool FreeRtosRtosDriver::readTaskList(RspClient& server, unsigned int listAddress, TaskListType type,
                                      bool extended, KernelInfoNode& node) {
    return walkList(server, listAddress, [&](unsigned int owner, unsigned int, unsigned int) {
        KernelInfoNode task(0, "", "Task");
        if (!readTask(server, owner, type, extended, task)) {
            return false;
        }
        node.addChild(task);
        return true;
    });
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
            (item.memberAddress("pvContainer", containerAddress) ||
             item.memberAddress("pxContainer", containerAddress)) &&
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
    std::vector<unsigned char> stack;
    if (!server.readMemory(start, size, stack)) {
        return false;
    }
    // Stacks grow downward: the fill that was never overwritten lies at the low end.
    unsigned int count = 0;
    while (count < size && stack[count] == kStackFill) {
        ++count;
    }
    freeBytes = count;
    return true;
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
