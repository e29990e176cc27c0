#include "rtos/freertos/FreeRtosTaskWalk.h"

#include "base/Logger.h"
#include "base/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/CachedArrayLength.h"
#include "rtos/KernelMemory.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "rtos/freertos/FreeRtosList.h"

#include <algorithm>
#include <string>
#include <utility>

namespace {

const char* const kTag = "readTasks";

// The lists walked before the ready lists, in this order.
struct FixedList {
    const char* symbol;
    FreeRtosTaskWalk::TaskListType type;
};
const FixedList kFixedLists[] = {
    {"xDelayedTaskList1", FreeRtosTaskWalk::TASK_LIST_DELAYED},
    {"xDelayedTaskList2", FreeRtosTaskWalk::TASK_LIST_DELAYED},
    {"xPendingReadyList", FreeRtosTaskWalk::TASK_LIST_PENDING_READY},
    {"xSuspendedTaskList", FreeRtosTaskWalk::TASK_LIST_SUSPENDED},
};

// The state of a task that is not on a ready list, by its list and by the list its event item is on.
enum class Container : unsigned char { Any, None, Some };
struct StateRule {
    FreeRtosTaskWalk::TaskListType type;
    Container container;
    FreeRtosTask::State state;
    bool showsContainer; // the container is the task's event object
};
const StateRule kStateRules[] = {
    {FreeRtosTaskWalk::TASK_LIST_DELAYED, Container::None, FreeRtosTask::State::DELAYED, false},
    {FreeRtosTaskWalk::TASK_LIST_DELAYED, Container::Some, FreeRtosTask::State::BLOCKED, true},
    // About to become ready, and shown as blocked all the same.
    {FreeRtosTaskWalk::TASK_LIST_PENDING_READY, Container::Any, FreeRtosTask::State::BLOCKED, false},
    {FreeRtosTaskWalk::TASK_LIST_SUSPENDED, Container::None, FreeRtosTask::State::SUSPENDED, false},
    {FreeRtosTaskWalk::TASK_LIST_SUSPENDED, Container::Some, FreeRtosTask::State::BLOCKED, true},
};

// The scheduler's variables a stop and a walk read; tasks.c keeps them side by side in its data.
const char* const kSchedulerVariables[] = {"xSchedulerRunning", "pxCurrentTCB",      "uxTopReadyPriority",
                                           "uxTopUsedPriority", "ulTotalRunTime",    "xDelayedTaskList1",
                                           "xDelayedTaskList2", "xPendingReadyList", "xSuspendedTaskList",
                                           "pxReadyTasksLists"};
// Variables this close together are fetched with one read, up to this many bytes in all.
constexpr unsigned int kNeighbourGap = 64;
constexpr unsigned int kNeighbourhood = 1024;

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

bool readSymbolWord(RspClient& server, const char* name, unsigned int& value) {
    Symbol symbol;
    return SymbolTable::getInstance().lookupSymbol(name, symbol) &&
           server.readMemory(symbol.getAddress32(), value);
}

} // namespace

bool FreeRtosTaskWalk::readTasks(RspClient& server, bool extended, std::vector<FreeRtosTask>& tasks) {
    SymbolTable& table = SymbolTable::getInstance();
    StructInfo listLayout;
    if (!table.lookupStruct("xLIST", listLayout)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Unknown data structure layout%s\n", "xLIST");
        return false;
    }
    Symbol symbol;
    for (const FixedList& list : kFixedLists) {
        if (!table.lookupSymbol(list.symbol, symbol)) {
            logMissingSymbol(kTag, list.symbol);
            return false;
        }
        prefetchNeighbours(server, symbol.getAddress32());
        if (!readTaskList(server, symbol.getAddress32(), list.type, extended, tasks)) {
            return false;
        }
    }
    std::uint64_t lastList = 0;
    if (!readTopPriority(server, lastList)) {
        return false;
    }
    if (!table.lookupSymbol("pxReadyTasksLists", symbol)) {
        logMissingSymbol(kTag, "pxReadyTasksLists");
        return false;
    }
    unsigned int listAddress = symbol.getAddress32();
    server.prefetchMemory(listAddress, static_cast<unsigned int>((lastList + 1) * listLayout.getSize()));
    for (std::uint64_t priority = 0; priority <= lastList; ++priority) {
        if (!readTaskList(server, listAddress, TASK_LIST_READY, extended, tasks)) {
            return false;
        }
        listAddress += listLayout.getSize();
    }
    return true;
}

bool FreeRtosTaskWalk::lookupTopPriority(unsigned int& address) {
    SymbolTable& table = SymbolTable::getInstance();
    Symbol symbol;
    if (taskSelection != TASK_SELECTION_UNSET) {
        if (!table.lookupSymbol("uxTopReadyPriority", symbol)) {
            logMissingSymbol(kTag, "uxTopReadyPriority");
            return false;
        }
    } else if (!table.lookupSymbol("uxTopUsedPriority", symbol) &&
               !table.lookupSymbol("uxTopReadyPriority", symbol)) {
        logMissingSymbol(kTag, "uxTopUsedPriority/uxTopReadyPriority");
        return false;
    }
    address = symbol.getAddress32();
    return true;
}

bool FreeRtosTaskWalk::readTopPriority(RspClient& server, std::uint64_t& lastList) {
    unsigned int address = 0;
    if (!lookupTopPriority(address)) {
        return false;
    }
    unsigned int topWord = 0;
    prefetchNeighbours(server, address);
    if (!server.readMemory(address, topWord)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag,
                                  "Failed reading: uxTopReadyPriority/uxTopUsedPriority\n");
        return false;
    }
    // Without the option, a bit map of a kernel that lacks uxTopUsedPriority is taken for a number.
    unsigned int topPriority = taskSelection == TASK_SELECTION_OPTIMISED ? highestSetBit(topWord) : topWord;
    // A top priority beyond the lists the program has is corrupt: the lists behind the array are not lists.
    lastList = topPriority;
    unsigned int lists = readyListCount();
    if (lists != 0 && topPriority >= lists) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag,
                                  "Top priority %u beyond the %u ready lists: walk cut short.\n", topPriority,
                                  lists);
        lastList = lists - 1;
    }
    return true;
}

unsigned int FreeRtosTaskWalk::readyListCount() {
    if (!readyListCountKnown) {
        readyListCountKnown = true;
        if (!CachedArrayLength::of("pxReadyTasksLists", readyLists)) {
            readyLists = 0;
        }
    }
    return readyLists;
}

bool FreeRtosTaskWalk::readTaskList(RspClient& server, unsigned int listAddress, TaskListType type,
                                    bool extended, std::vector<FreeRtosTask>& tasks) {
    FreeRtosList::OwnerLayout owner = {0, 0};
    StructInfo tcb;
    MemberInfo item;
    // A task waits on the pending-ready list by its event item, on every other list by its state item.
    if (SymbolTable::getInstance().lookupStruct("tskTaskControlBlock", tcb) &&
        tcb.lookup(type == TASK_LIST_PENDING_READY ? "xEventListItem" : "xStateListItem", item)) {
        owner.itemOffset = item.getOffset();
        owner.size = tcb.getSize();
    }
    return FreeRtosList(server, listAddress)
        .walk(
            [&](unsigned int taskAddress) {
                FreeRtosTask task;
                if (!readTask(server, taskAddress, type, extended, task)) {
                    return false;
                }
                tasks.push_back(std::move(task));
                return true;
            },
            owner);
}

bool FreeRtosTaskWalk::readTask(RspClient& server, unsigned int address, TaskListType type, bool extended,
                                FreeRtosTask& task) {
    unsigned int currentTask = 0;
    bool haveCurrent = readSymbolWord(server, "pxCurrentTCB", currentTask);
    if (!haveCurrent) {
        logMissingSymbol("readTask", "pxCurrentTCB");
    }
    unsigned int totalRunTime = 0;
    readSymbolWord(server, "ulTotalRunTime", totalRunTime);
    FreeRtosKernelObject tcb(server);
    if (!haveCurrent || !tcb.bind("tskTaskControlBlock", address)) {
        return false;
    }
    task.id = address;
    task.active = address == currentTask;
    // The name lies in the control block itself.
    unsigned int nameAddress = 0;
    if (tcb.memberAddress("pcTaskName", nameAddress)) {
        task.name = tcb.readName(nameAddress);
    }
    task.stackPointer = tcb.word("pxTopOfStack");
    if (!extended) {
        return true;
    }
    readStack(server, tcb, task);
    task.basePriority = tcb.word("uxBasePriority");
    task.priority = tcb.word("uxPriority");
    unsigned int counter = 0;
    if (totalRunTime > 0 && tcb.readWord("ulRunTimeCounter", counter)) {
        task.runTimeShare = static_cast<double>(counter) / static_cast<double>(totalRunTime) * 100;
    }
    if (type == TASK_LIST_READY) {
        task.state = task.active ? FreeRtosTask::State::RUNNING : FreeRtosTask::State::READY;
    } else {
        readState(server, tcb, type, task);
    }
    return true;
}

void FreeRtosTaskWalk::readStack(RspClient& server, FreeRtosKernelObject& tcb, FreeRtosTask& task) {
    task.stackStart = tcb.word("pxStack");
    task.stackEnd = tcb.word("pxEndOfStack");
    if (!task.stackStart) {
        return;
    }
    const unsigned int start = *task.stackStart;
    unsigned int freeBytes = 0;
    if (task.stackEnd) {
        // The end marks the last word of the stack; the total is taken as the kernel tools take it.
        if (*task.stackEnd > start) {
            task.stackSize = *task.stackEnd - start + 8;
            if (KernelMemory::countStackFill(server, start, *task.stackSize, kStackFill, freeBytes)) {
                task.freeStack = freeBytes;
            }
        }
    } else if (KernelMemory::countStackFill(server, start, kStackProbe, kStackFill, freeBytes)) {
        task.freeStack = freeBytes;
        task.freeStackAtLeast = freeBytes == kStackProbe;
    }
}

void FreeRtosTaskWalk::readState(RspClient& server, FreeRtosKernelObject& tcb, TaskListType type,
                                 FreeRtosTask& task) {
    unsigned int eventItem = 0;
    unsigned int containerAddress = 0;
    unsigned int container = 0;
    FreeRtosKernelObject item(server);
    // Kernel versions name the member either way.
    if (!tcb.memberAddress("xEventListItem", eventItem) || !item.bind("xLIST_ITEM", eventItem) ||
        !item.memberAddress(item.has("pvContainer") ? "pvContainer" : "pxContainer", containerAddress) ||
        !server.readMemory(containerAddress, container)) {
        return;
    }
    for (const StateRule& rule : kStateRules) {
        if (rule.type == type &&
            (rule.container == Container::Any || (rule.container == Container::Some) == (container != 0))) {
            task.state = rule.state;
            if (rule.showsContainer) {
                task.eventObject = container;
            }
            return;
        }
    }
}

void FreeRtosTaskWalk::prefetchNeighbours(RspClient& server, unsigned int address) {
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
