#ifndef TARNWICK_PROXY_TARNWICK_H
#define TARNWICK_PROXY_TARNWICK_H

#include "proxy/RspProxy.h"

// The proxy of the program. For now it hands every packet on.
class Tarnwick : public RspProxy {
public:
    // Built at the first call; the signal handler reaches the proxy through it.
    static Tarnwick& getInstance();
    ~Tarnwick() override = default;

    bool init();
    bool interceptPacket(RspClient& from, RspClient& to, bool& handled) override;

private:
    Tarnwick() = default;
};

#endif
