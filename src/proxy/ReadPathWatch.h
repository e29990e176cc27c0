#ifndef TARNWICK_PROXY_READPATHWATCH_H
#define TARNWICK_PROXY_READPATHWATCH_H

#include "rsp/FrameScreen.h"
#include "rsp/RspClient.h"
#include "rsp/StopMemoryCache.h"

#include <string>

// Keeps tarnwick's own reads of a session in step with the traffic that passes: it ends the memory cache
// of a stop as soon as a packet may run the target or change its memory, and hands the server endpoint
// the packet size the server names in its qSupported reply.
class ReadPathWatch {
public:
    ReadPathWatch() = default;
    virtual ~ReadPathWatch() = default;

    // "--read_cache false" reads every value from the server.
    void setCacheEnabled(bool enabled) { cacheEnabled = enabled; }
    // A packet that has just arrived at from, before anything acts on it; server is the server endpoint.
    void observe(RspClient& from, RspClient& server);
    // Whether a frame arriving at an endpoint of the given role, starting with head, must be observed whole:
    // one that passes unobserved neither ends the stop nor names the packet size.
    FrameScreen::Verdict screen(RspClientRole from, const unsigned char* head, int length) const;
    // Whether the request of GDB's waiting in gdb's receive buffer may change the target's memory or state.
    static bool endsStop(RspClient& gdb);
    // A new session: nothing read so far is known any more.
    void reset();

private:
    StopMemoryCache cache;
    bool cacheEnabled = true;
    bool featuresAwaited = false;
};

#endif
