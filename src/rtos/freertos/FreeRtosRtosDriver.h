#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/IRtosPortDriver.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class KernelInfoNode;
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
    bool getThreads(RspClient& server, ThreadList& threads) override;
    // False without a port driver.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    void dispose() override {}

    TaskSelection getTaskSelection() const { return taskSelection; }
    IRtosPortDriver* getPortDriver() const { return portDriver.get(); }

    // Reads length bytes at address and takes the text up to the first zero byte, the last byte read
    // counting as zero; false for a length of 0 or a failed read, out then untouched.
    bool readString(RspClient& server, unsigned int address, unsigned int length, std::string& out);
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

    // The symbol of the registry's size: asked for with the others, and read by the registry walk.
    static constexpr const char* kRegistrySizeSymbol = "xQueueRegistrySize";

private:
    // Called with each item's owner, its index and the list's count; false ends the walk as a failure.
    using ListVisitor = std::function<bool(unsigned int owner, unsigned int index, unsigned int count)>;
    // The walk every kernel list shares: by the count read once and up to a null link, with no check
    // against the end marker. An empty or unreadable list is a success without items.
    bool walkList(RspClient& server, unsigned int listAddress, const ListVisitor& visit);

    std::unique_ptr<IRtosPortDriver> portDriver;
    TaskSelection taskSelection;
};

#endif
