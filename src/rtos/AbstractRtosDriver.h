#ifndef TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H
#define TARNWICK_RTOS_ABSTRACTRTOSDRIVER_H

#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverInfo.h"

// The common base of the kernel drivers: keeps the database row, and knows no commands.
class AbstractRtosDriver : public IRtosDriver {
public:
    explicit AbstractRtosDriver(const RtosDriverInfo& newInfo);

    RtosDriverInfo& getDriverInfo() override;
    // Does nothing and returns false: a driver without commands fails every one.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;

private:
    RtosDriverInfo info;
};

#endif
