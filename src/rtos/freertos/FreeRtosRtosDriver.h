#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/IRtosPortDriver.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class FreeRtosKernelObject;
class KernelInfoNode;
class StructInfo;
class TargetThread;

// The FreeRTOS kernel seen from the proxy. Every kernel variable is found by name through the symbol
// negotiation and every structure is read member by member through the layouts of the debug-info cache,
// so that members which only some kernel builds have simply fail their lookup. Nothing of the kernel is
// kept between calls.
class FreeRtosRtosDriver : public AbstractRtosDriver {
public:
    // How the highest ready priority is to be found, fixed by "--opt_task_sel" at construction.
    enum TaskSelection : std::uint32_t {
        TASK_SELECTION_UNSET = 0,     // option absent
        TASK_SELECTION_OPTIMISED = 1, // uxTopReadyPriority holds a bit map
        TASK_SELECTION_GENERIC = 2    // uxTopReadyPriority holds a number
    };
    // The kind of kernel list a task was found on, which decides its state.
    enum TaskListType : std::uint32_t {
        TASK_LIST_READY = 0,
        TASK_LIST_DELAYED = 1,
        TASK_LIST_PENDING_READY = 2,
        TASK_LIST_SUSPENDED = 3
    };

    // Ids of the children of a task node; other code finds them by id, not by place.
    enum TaskChild : unsigned int {
        TASK_CHILD_NAME = 0,
        TASK_CHILD_TOP_OF_STACK = 1,
        TASK_CHILD_START_OF_STACK = 2,
        TASK_CHILD_END_OF_STACK = 3,
        TASK_CHILD_MIN_FREE_STACK = 4,
        TASK_CHILD_STACK_USAGE = 5,
        TASK_CHILD_ACTIVE = 7,
        TASK_CHILD_TASK_ID = 8,
        TASK_CHILD_PRIORITY = 10,
        TASK_CHILD_RUN_TIME = 11,
        TASK_CHILD_STATE = 12,
        TASK_CHILD_EVENT_OBJECT = 13
    };
    // What a walk of the queue registry lists: queues carry items, semaphores and mutexes do not.
    enum QueueRegistryType : std::uint32_t { QUEUE_REGISTRY_QUEUE = 0, QUEUE_REGISTRY_SEMAPHORE = 1 };

    explicit FreeRtosRtosDriver(const RtosDriverInfo& row);

    // Creates the port driver named by "--rtos_variant"; true without one when the option is absent.
    bool init() override;
    // Detects the port when "--rtos_variant" is absent; false if none is found.
    bool init(RspClient& server) override;
    void getSymbols(std::vector<std::string>& symbols) override;
    void getDataStructures(std::vector<std::string>& structures) override;
    RtosInfo* getInfo() override;
    // running is set only when xSchedulerRunning holds exactly 1.
    bool checkKernelRunning(RspClient& server, bool& running) override;
    bool getActiveThread(RspClient& server, TargetThread& thread) override;
    bool getThreads(RspClient& server, ThreadList& threads) override;
    // False without a port driver.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    // "state" and nothing else: the whole kernel in one tree. False only for a missing or unknown word.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;
    void dispose() override {}

    TaskSelection getTaskSelection() const { return taskSelection; }
    IRtosPortDriver* getPortDriver() const { return portDriver.get(); }

    // The number of items of the kernel list at listAddress, and its first item. False for an empty list
    // (count 0) as for a failed read (count untouched).
    bool getListHead(RspClient& server, unsigned int listAddress, unsigned int& count, unsigned int& head);

    // The task walk: each task becomes a "Task" child of node. The plain form holds what a thread needs,
    // the extended one adds stack use, priorities, run-time share, state and event object.
    bool collectTasks(RspClient& server, bool extended, KernelInfoNode& node);
    bool readTasks(RspClient& server, bool extended, KernelInfoNode& node);
    // An unreadable or empty list counts as a list without tasks.
    bool readTaskList(RspClient& server, unsigned int listAddress, TaskListType type, bool extended,
                      KernelInfoNode& node);
    bool readTask(RspClient& server, unsigned int taskAddress, TaskListType type, bool extended,
                  KernelInfoNode& node);
    // The bytes of the kernel's stack fill from start upward, read in one piece.
    bool getFreeStack(RspClient& server, unsigned int start, unsigned int size, unsigned int& freeBytes);
    // False if "Task id", "Active" or "Top of stack" is missing or cannot be parsed.
    bool infoNodeToThread(KernelInfoNode& task, TargetThread& thread);
    // One node per task: the name as label, the stack figure as value.
    bool collectStackUsage(KernelInfoNode& tasks, KernelInfoNode& out);

    // Bytes fetched for any kernel name, whatever the kernel's own limit: longer names are cut to one less.
    static constexpr unsigned int kNameLength = 20;
    // The symbol of the registry's size: asked for with the others, and read by the registry walk.
    static constexpr const char* kRegistrySizeSymbol = "xQueueRegistrySize";

    // Queues and semaphores, found through the registry the program filled in: one "Queue" or "Semaphore"
    // child of node per entry of the wanted type. Children added stay when the walk fails.
    bool collectFromQueueRegistry(RspClient& server, QueueRegistryType type, KernelInfoNode& node);
    // The registry's address and its number of slots (1 when the kernel does not tell).
    bool resolveQueueRegistry(RspClient& server, unsigned int& address, unsigned int& size);
    // The name pointer and handle of the slot whose layout item has been bound to; untouched on failure.
    bool resolveQueueRegistryItem(RspClient& server, StructInfo& item, unsigned int& name,
                                  unsigned int& handle);

    // One "Timer" child per timer on the kernel's current and overflow timer lists.
    bool collectTimers(RspClient& server, KernelInfoNode& node);
    // Fills the node of the timer at address; false, node untouched, if the layout is unknown.
    bool collectTimer(RspClient& server, unsigned int address, KernelInfoNode& node);

private:
    // Called with each item's owner, its index and the list's count; false ends the walk as a failure.
    using ListVisitor = std::function<bool(unsigned int owner, unsigned int index, unsigned int count)>;
    // The walk every kernel list shares: up to the end marker, a null link, a link seen before or the count
    // read once, whichever comes first. An empty or unreadable list is a success without items.
    // Where a list's items lie in the structure that owns them; a size of 0 when that is not known.
    struct OwnerLayout {
        unsigned int itemOffset;
        unsigned int size;
    };
    // With owner known, each item's owner is fetched whole before the item is read.
    bool walkList(RspClient& server, unsigned int listAddress, const ListVisitor& visit,
                  const OwnerLayout& owner = {0, 0});
    // Timers due after the tick count wraps; a kernel without the list has none of them.
    bool walkOverflowTimerList(RspClient& server, const ListVisitor& visit);
    // The list's end marker, a mini item or, in kernels built without those, a full one.
    bool bindListEnd(FreeRtosKernelObject& endMarker, unsigned int address);

    // Fetches in one read the scheduler's variables that lie close around address, if address is one of
    // them: a stop and a walk read most of them.
    void prefetchNeighbours(RspClient& server, unsigned int address);
    // The number of ready lists, from the bound of pxReadyTasksLists in the debug information; 0 when it
    // does not tell. Looked up once: the dump does not change under a running proxy.
    unsigned int readyListCount();

    std::unique_ptr<IRtosPortDriver> portDriver;
    TaskSelection taskSelection;
    bool readyListCountKnown = false;
    unsigned int readyLists = 0;
};

#endif
