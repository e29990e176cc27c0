#ifndef TARNWICK_PROXY_INTERCEPTION_H
#define TARNWICK_PROXY_INTERCEPTION_H

#include "base/Logger.h"

#include <string>

class RspClient;

// What every interceptor does with the packet it inspects: read it in place, claim it, answer it.
//
// Every intercept_ operation of the proxy takes (from, to, handled): from holds the packet in its receive
// buffer, to is the other endpoint. True with handled false: not its packet, the loop forwards it. True with
// handled true: answered and consumed. False: a fault that ends the proxy's work.
class Interception {
public:
    virtual ~Interception() = default;

    static void logLine(Logger::Severity_t severity, const char* tag, const char* line);
    // The payload of the packet in from's buffer, still in place; empty if it has none.
    static std::string peekPayload(RspClient& from);
    // The packet has been claimed: it leaves the buffer, and the loop forwards nothing.
    static void take(RspClient& from, bool& handled);
    // Sends a reply; a failed send is logged with failureLine and ends the proxy's work.
    static bool sendReply(RspClient& to, const std::string& reply, const char* tag, const char* failureLine);
};

#endif
