#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSRTOSDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/freertos/FreeRtosTaskWalk.h"

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

    FreeRtosTaskWalk::TaskSelection getTaskSelection() const { return taskWalk.getTaskSelection(); }
    FreeRtosTaskWalk& getTaskWalk() { return taskWalk; }
    IRtosPortDriver* getPortDriver() const { return portDriver.get(); }

    // Walks the tasks and renders them as "Task" children of node, the extended walk with everything the
    // monitor shows; on false the tasks found before the failure stay.
    bool collectTasks(RspClient& server, bool extended, KernelInfoNode& node);

private:
    std::unique_ptr<IRtosPortDriver> portDriver;
    FreeRtosTaskWalk taskWalk;
};

#endif
