#ifndef TARNWICK_TESTS_SUPPORT_PEEREDENDPOINT_H
#define TARNWICK_TESTS_SUPPORT_PEEREDENDPOINT_H

#include "FakeRspPeer.h"
#include "rsp/RspClient.h"

#include <memory>
#include <string>

// A product endpoint connected over loopback to a fake peer that plays the other side: what an
// interceptor test needs for each of "GDB Client" and "GDB Server".
struct PeeredEndpoint {
    std::unique_ptr<FakeRspPeer> peer;
    std::unique_ptr<RspClient> endpoint;

    // Fails the test and leaves both null if the connection cannot be made.
    static PeeredEndpoint make(const std::string& name, RspClientRole role);
};

#endif
