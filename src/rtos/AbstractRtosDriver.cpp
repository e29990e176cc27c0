#include "rtos/AbstractRtosDriver.h"

#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"

#include <vector>

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

bool AbstractRtosDriver::readString(RspClient& server, unsigned int address, unsigned int length,
                                    std::string& out) {
    if (length == 0) {
        return false;
    }
    std::vector<unsigned char> bytes;
    if (!server.readMemory(address, length, bytes)) {
        return false;
    }
    bytes.resize(length);
    bytes.back() = 0;
    out.assign(reinterpret_cast<const char*>(bytes.data()));
    return true;
}

bool AbstractRtosDriver::countStackFill(RspClient& server, unsigned int start, unsigned int size,
                                        unsigned char fill, unsigned int& count) {
    std::vector<unsigned char> stack;
    if (!server.readMemory(start, size, stack)) {
        return false;
    }
    unsigned int filled = 0;
    while (filled < size && stack[filled] == fill) {
        ++filled;
    }
    count = filled;
    return true;
}
