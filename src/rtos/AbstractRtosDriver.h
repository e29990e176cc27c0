#ifndef TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H
#define TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H

#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverInfo.h"

#include "rtos/IRtosPortDriver.h"

#include <memory>
#include <string>
#include <vector>

class Symbol;

// The steps every kernel's driver takes the same way, each on a few kernel-specific hooks: the running
// flag, the active task's id, the port, and the sections of the "state" command.
class AbstractRtosDriver : public IRtosDriver {
public:
    // The texts of one kernel's driver.
    struct Names {
        // The driver's name in its catalogue and at the head of the "state" tree.
        std::string driverName;
        // The variable that tells whether the scheduler has started.
        std::string runningFlag;
        // What GDB's thread list shows for a name the walk could not read.
        std::string absentName;
        // The label of the monitor's list of tasks.
        std::string taskList;
    };

    AbstractRtosDriver(const RtosDriverInfo& newInfo, Names newNames);

    RtosDriverInfo& getDriverInfo() override;
    // The one command, "state"; one catalogue for all drivers of a kernel.
    RtosInfo* getInfo() override;
    bool checkKernelRunning(RspClient& server, bool& running) override;
    bool getActiveThread(RspClient& server, TargetThread& thread) override;
    // False until a port is chosen.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    // "state" and nothing else: the whole kernel in one tree. False only for a missing or unknown word.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;
    void dispose() override {}

    // The port in use; null until one is chosen.
    IRtosPortDriver* getPort() const { return port.get(); }

protected:
    const Names& getNames() const { return names; }

    // Chosen by the kernel's init() from "--rtos_variant" or from what the target shows.
    std::unique_ptr<IRtosPortDriver> port;

    // Reads the running flag at its symbol; false, logged, if it cannot be read.
    virtual bool readRunningFlag(RspClient& server, const Symbol& flag, bool& running) = 0;
    // The id of the task the core runs, 0 for none; false if it cannot be read.
    virtual bool readActiveThreadId(RspClient& server, unsigned int& id) = 0;
    // The "state" tree below its head; a walk that fails leaves out only its own section.
    virtual void addStateSections(RspClient& server, KernelInfoNode& out) = 0;

private:
    // The head of every "state" tree: the driver's name and whether the kernel has started, "No kernel
    // found" standing for a check that could not be made.
    void addKernelState(RspClient& server, KernelInfoNode& out);

    RtosDriverInfo info;
    Names names;
};

#endif
