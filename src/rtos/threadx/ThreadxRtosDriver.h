#ifndef TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H
#define TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/IRtosPortDriver.h"

#include <memory>
#include <string>
#include <vector>

// Access to a ThreadX kernel on the target. Keeps nothing of the target between calls: every call reads
// it again.
class ThreadxRtosDriver : public AbstractRtosDriver {
public:
    explicit ThreadxRtosDriver(const RtosDriverInfo& newInfo);
    ~ThreadxRtosDriver() override;

    // The port of "--rtos_variant", if set; false if no port has that name.
    bool init() override;
    // Without "--rtos_variant", the port of the core the target reports; false if there is none.
    bool init(RspClient& server) override;
    void getSymbols(std::vector<std::string>& symbols) override;
    void getDataStructures(std::vector<std::string>& structures) override;
    RtosInfo* getInfo() override;
    bool checkKernelRunning(RspClient& server, bool& running) override;
    bool getActiveThread(RspClient& server, TargetThread& thread) override;
    // On false the list is empty; a switched-out thread whose stack pointer cannot be read is left out alone.
    bool getThreads(RspClient& server, ThreadList& threads) override;
    // False until a port is chosen.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    // "state" and nothing else.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;
    void dispose() override;

    // The port in use; null until one is chosen.
    IRtosPortDriver* getPort() const { return port.get(); }

private:
    std::unique_ptr<IRtosPortDriver> port;
};

#endif
