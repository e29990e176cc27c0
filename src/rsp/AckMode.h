#ifndef TARNWICK_RSP_ACKMODE_H
#define TARNWICK_RSP_ACKMODE_H

#include "rsp/FrameScreen.h"
#include "rsp/RspClient.h"

// Whether the session between GDB and the server still acknowledges its frames, learned from the traffic:
// the server's qSupported reply, GDB's QStartNoAckMode and the server's answer to it. One object serves
// both endpoints of a session. Until a qSupported reply has been seen the session counts as one without
// acknowledgements: a peer that skips the negotiation is taken to have left that mode already.
class AckMode {
public:
    AckMode() = default;
    virtual ~AckMode() = default;

    // A whole packet (frame or one-byte packet) that arrived at an endpoint of the given role.
    void observe(RspClientRole from, const unsigned char* packet, int length);
    bool isOn() const { return on; }
    // Whether a frame arriving at an endpoint of the given role, starting with head, must be observed
    // whole; a frame that passes unobserved changes nothing here.
    FrameScreen::Verdict screen(RspClientRole from, const unsigned char* head, int length) const;

private:
    enum class Awaiting { NOTHING, FEATURES, NO_ACK_ANSWER };

    bool on = false;
    Awaiting awaiting = Awaiting::NOTHING;
};

#endif
