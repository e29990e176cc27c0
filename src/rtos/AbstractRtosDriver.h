#ifndef TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H
#define TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H

#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverInfo.h"

#include <string>

// The common base of the kernel drivers: keeps the database row, and knows no commands.
class AbstractRtosDriver : public IRtosDriver {
public:
    explicit AbstractRtosDriver(const RtosDriverInfo& newInfo);

    RtosDriverInfo& getDriverInfo() override;
    // Does nothing and returns false: a driver without commands fails every one.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;

    // The head of every "state" tree: the driver's name and whether the kernel has started, "No kernel
    // found" standing for a check that could not be made.
    void addKernelState(RspClient& server, const std::string& driverName, KernelInfoNode& out);

private:
    RtosDriverInfo info;
};

#endif
