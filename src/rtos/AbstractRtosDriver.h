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

    // Reads length bytes and keeps the text before the first zero byte, the last byte read counting as
    // zero, so a name that fills the bytes is cut by one. False for a length of 0 or a failed read.
    static bool readString(RspClient& server, unsigned int address, unsigned int length, std::string& out);

    // How many bytes from start upward still hold the kernel's stack fill: the stacks grow downward, so
    // this is the part never touched. False if the read fails.
    static bool countStackFill(RspClient& server, unsigned int start, unsigned int size, unsigned char fill,
                               unsigned int& count);

private:
    RtosDriverInfo info;
};

#endif
