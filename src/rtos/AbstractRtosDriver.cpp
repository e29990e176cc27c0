#include "rtos/AbstractRtosDriver.h"

#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"

AbstractRtosDriver::AbstractRtosDriver(const RtosDriverInfo& newInfo) : info(newInfo) {}

RtosDriverInfo& AbstractRtosDriver::getDriverInfo() {
    return info;
}

bool AbstractRtosDriver::runCommand(RspClient& /*server*/, const std::vector<std::string>& /*words*/,
                                    KernelInfoNode& /*out*/) {
    return false;
}

void AbstractRtosDriver::addKernelState(RspClient& server, const std::string& driverName,
                                        KernelInfoNode& out) {
    out.addChild(KernelInfoNode(0, driverName, "Driver"));
    std::string kernelState = "No kernel found";
    bool running = false;
    if (checkKernelRunning(server, running)) {
        kernelState = running ? "Started" : "Not started";
    }
    out.addChild(KernelInfoNode(0, kernelState, "Kernel state"));
}
