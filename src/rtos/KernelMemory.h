#ifndef TARNWICK_RTOS_KERNELMEMORY_H
#define TARNWICK_RTOS_KERNELMEMORY_H

#include <string>

class RspClient;

// The reads of kernel memory that are alike for every kernel: a name's bytes and a stack's fill.
class KernelMemory {
public:
    // Reads length bytes and keeps the text before the first zero byte, the last byte read counting as
    // zero, so a name that fills the bytes is cut by one. False for a length of 0 or a failed read.
    static bool readString(RspClient& server, unsigned int address, unsigned int length, std::string& out);
    // How many bytes from start upward still hold the kernel's stack fill: the stacks grow downward, so
    // this is the part never touched. False if the read fails.
    static bool countStackFill(RspClient& server, unsigned int start, unsigned int size, unsigned char fill,
                               unsigned int& count);
};

#endif
