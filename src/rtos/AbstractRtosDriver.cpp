#include "rtos/AbstractRtosDriver.h"

AbstractRtosDriver::AbstractRtosDriver(const RtosDriverInfo& newInfo) : info(newInfo) {}

RtosDriverInfo& AbstractRtosDriver::getDriverInfo() {
    return info;
}

bool AbstractRtosDriver::runCommand(RspClient& /*server*/, const std::vector<std::string>& /*words*/,
                                    KernelInfoNode& /*out*/) {
    return false;
}
