#ifndef TARNWICK_RTOS_IRTOSDRIVER_H
#define TARNWICK_RTOS_IRTOSDRIVER_H

#include <string>
#include <vector>

class KernelInfoNode;
class RegisterList;
class RspClient;
class RtosDriverInfo;
class RtosInfo;
class TargetThread;
class ThreadList;

// All that the proxy core knows of a kernel. Call order: init(), then per symbol negotiation
// init(server), getSymbols, getDataStructures; after that the rest, in any order and repeatedly.
class IRtosDriver {
public:
    // Preparation that needs no target.
    virtual bool init() = 0;
    // The database row the driver was created from.
    virtual RtosDriverInfo& getDriverInfo() = 0;
    // Preparation that may read the target.
    virtual bool init(RspClient& server) = 0;
    // Fills in the kernel symbols the driver needs.
    virtual void getSymbols(std::vector<std::string>& symbols) = 0;
    // Fills in the kernel structures the driver needs.
    virtual void getDataStructures(std::vector<std::string>& structures) = 0;
    // The driver's command catalogue; owned by the driver.
    virtual RtosInfo* getInfo() = 0;
    // True if the state could be read; running tells whether the kernel has started.
    virtual bool checkKernelRunning(RspClient& server, bool& running) = 0;
    // The thread the core runs, read without a walk of the kernel's lists: its id, marked active. False
    // where the driver cannot tell so cheaply; the caller walks then.
    virtual bool getActiveThread(RspClient& /*server*/, TargetThread& /*thread*/) { return false; }
    // A fresh snapshot of the kernel's threads.
    virtual bool getThreads(RspClient& server, ThreadList& threads) = 0;
    // Registers of a thread that is switched out.
    virtual bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) = 0;
    // Runs the words of a monitor command, from the command word on, and fills out.
    virtual bool runCommand(RspClient& server, const std::vector<std::string>& words,
                            KernelInfoNode& out) = 0;
    // The driver's clean-up; the core never calls it, as the driver lives until the process ends.
    virtual void dispose() = 0;
    virtual ~IRtosDriver() = default;
};

#endif
