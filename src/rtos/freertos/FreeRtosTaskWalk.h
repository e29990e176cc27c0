#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSTASKWALK_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSTASKWALK_H

#include "rtos/freertos/FreeRtosTask.h"

#include <cstdint>
#include <vector>

class FreeRtosKernelObject;
class RspClient;

// The task walk: the kernel keeps no list of all tasks, so every list that can hold one is walked, the
// delayed, pending-ready and suspended lists first, then the ready lists up to the top priority. Each task
// becomes a record.
class FreeRtosTaskWalk {
public:
    // How the highest ready priority is to be found, fixed by "--opt_task_sel".
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

    explicit FreeRtosTaskWalk(TaskSelection newTaskSelection) : taskSelection(newTaskSelection) {}

    TaskSelection getTaskSelection() const { return taskSelection; }
    // Each GDB session may bring a rebuilt program, with ready lists of another number.
    void forgetProgram() { readyListCountKnown = false; }

    // Appends one record per task found; on false the tasks read before the failure stay. The plain walk
    // reads what a thread needs, the extended one everything the monitor shows.
    bool readTasks(RspClient& server, bool extended, std::vector<FreeRtosTask>& tasks);
    // The task whose control block is at address, found on a list of type.
    bool readTask(RspClient& server, unsigned int address, TaskListType type, bool extended,
                  FreeRtosTask& task);

    // Fetches in one read the scheduler's variables that lie close around address, if address is one of
    // them: a stop and a walk read most of them.
    void prefetchNeighbours(RspClient& server, unsigned int address);

private:
    // The address of the variable that tells the top priority; false, logged, if it is unknown.
    bool lookupTopPriority(unsigned int& address);
    // The highest ready list to walk.
    bool readTopPriority(RspClient& server, std::uint64_t& lastList);
    // An unreadable or empty list counts as a list without tasks.
    bool readTaskList(RspClient& server, unsigned int listAddress, TaskListType type, bool extended,
                      std::vector<FreeRtosTask>& tasks);
    void readStack(RspClient& server, FreeRtosKernelObject& tcb, FreeRtosTask& task);
    void readState(RspClient& server, FreeRtosKernelObject& tcb, TaskListType type, FreeRtosTask& task);
    // The number of ready lists, from the bound of pxReadyTasksLists in the debug information; 0 when it
    // does not tell. Looked up once: the dump does not change under a running proxy.
    unsigned int readyListCount();

    TaskSelection taskSelection;
    bool readyListCountKnown = false;
    unsigned int readyLists = 0;
};

#endif
