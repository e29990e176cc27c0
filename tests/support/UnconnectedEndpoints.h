#ifndef TARNWICK_TESTS_SUPPORT_UNCONNECTEDENDPOINTS_H
#define TARNWICK_TESTS_SUPPORT_UNCONNECTEDENDPOINTS_H

#include "rsp/RspClient.h"

#include <string>

// What a GDB endpoint, connected to nothing, and a server endpoint likewise are to an interceptor called
// directly: every send fails, and the packet under test is put straight into the receive buffer.
struct UnconnectedEndpoints {
    UnconnectedEndpoints();

    // Frames payload into from's receive buffer, as if it had just been read.
    static void receive(RspClient& from, const std::string& payload);

    RspClient gdb;
    RspClient server;
};

#endif
