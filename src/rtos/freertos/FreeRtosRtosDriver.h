#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H

#include "rtos/TaskRecordDriver.h"
#include "rtos/freertos/FreeRtosTask.h"
#include "rtos/freertos/FreeRtosTaskView.h"
#include "rtos/freertos/FreeRtosTaskWalk.h"

#include <string>
#include <vector>

// The FreeRTOS kernel seen from the proxy. Every kernel variable is found by name through the symbol
// negotiation and every structure is read member by member through the layouts of the debug-info cache,
// so that members which only some kernel builds have simply fail their lookup. Nothing of the kernel is
// kept between calls.
class FreeRtosRtosDriver : public TaskRecordDriver<FreeRtosTask, FreeRtosTaskView> {
public:
    explicit FreeRtosRtosDriver(const RtosDriverInfo& row);

    // Creates the port driver named by "--rtos_variant"; true without one when the option is absent.
    bool init() override;
    // Detects the port when "--rtos_variant" is absent; false if none is found.
    bool init(RspClient& server) override;
    // Appended to what the list holds.
    void getSymbols(std::vector<std::string>& symbols) override;
    void getDataStructures(std::vector<std::string>& structures) override;
    // Logs the time it took.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;

    FreeRtosTaskWalk::TaskSelection getTaskSelection() const { return taskWalk.getTaskSelection(); }
    FreeRtosTaskWalk& getTaskWalk() { return taskWalk; }

    // Walks the tasks and renders them as "Task" children of node, the extended walk with everything the
    // monitor shows; on false the tasks found before the failure stay.
    bool collectTasks(RspClient& server, bool extended, KernelInfoNode& node);

protected:
    // running is set only when xSchedulerRunning holds exactly 1.
    bool readRunningFlag(RspClient& server, const Symbol& flag, bool& running) override;
    // pxCurrentTCB: a task's id is the address of its control block.
    bool readActiveThreadId(RspClient& server, unsigned int& id) override;
    bool walk(RspClient& server, bool detailed, std::vector<FreeRtosTask>& tasks) override;
    // The queue registry's queues and semaphores, then the software timers.
    void addObjectSections(RspClient& server, KernelInfoNode& out) override;

private:
    FreeRtosTaskWalk taskWalk;
};

#endif
