#ifndef TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H
#define TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H

#include "rtos/TaskRecordDriver.h"
#include "rtos/threadx/ThreadxThread.h"
#include "rtos/threadx/ThreadxThreadView.h"

#include <string>
#include <vector>

// Access to a ThreadX kernel on the target. Keeps nothing of the target between calls: every call reads
// it again.
class ThreadxRtosDriver : public TaskRecordDriver<ThreadxThread, ThreadxThreadView> {
public:
    explicit ThreadxRtosDriver(const RtosDriverInfo& newInfo);

    // The port of "--rtos_variant", if set; false if no port has that name.
    bool init() override;
    // Without "--rtos_variant", the port of the core the target reports; false if there is none.
    bool init(RspClient& server) override;
    // Replacing what the list holds.
    void getSymbols(std::vector<std::string>& symbols) override;
    void getDataStructures(std::vector<std::string>& structures) override;

protected:
    // Running once _tx_thread_system_state holds neither of the set-up markers.
    bool readRunningFlag(RspClient& server, const Symbol& flag, bool& running) override;
    bool readActiveThreadId(RspClient& server, unsigned int& id) override;
    bool walk(RspClient& server, bool detailed, std::vector<ThreadxThread>& threads) override;
    // One section per kind of created object, in the kinds' order.
    void addObjectSections(RspClient& server, KernelInfoNode& out) override;
};

#endif
