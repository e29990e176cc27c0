#include "rtos/KernelMemory.h"

#include "rsp/RspClient.h"

#include <vector>

bool KernelMemory::readString(RspClient& server, unsigned int address, unsigned int length,
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

bool KernelMemory::countStackFill(RspClient& server, unsigned int start, unsigned int size,
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
