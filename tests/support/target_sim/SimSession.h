#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMSESSION_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMSESSION_H

#include "target_sim/SimConfig.h"
#include "target_sim/SimTarget.h"

#include <atomic>
#include <string>

namespace targetsim {

// One GDB connection: frames, acknowledgements and the answer to each packet.
class SimSession {
public:
    // The session neither owns nor closes socket.
    SimSession(int newSocket, SimTarget& newTarget, const SimConfig& newConfig,
               const std::atomic<bool>& newStop);

    // Serves until the peer closes, k, D, the packet limit, or the stop flag.
    void run();

    // What one packet gets: a reply or none, and whether the connection ends behind it.
    struct Outcome {
        std::string reply;
        bool replies = true;
        bool closes = false;
    };
    // The answer to one payload; public so that tests can walk the packet table without sockets.
    Outcome answer(const std::string& payload);

private:
    Outcome answer_stopReason(const std::string& payload);
    Outcome answer_qSupported(const std::string& payload);
    Outcome answer_QStartNoAckMode(const std::string& payload);
    Outcome answer_qXferfeaturesread(const std::string& payload);
    Outcome answer_qRcmd(const std::string& payload);
    Outcome answer_vCont(const std::string& payload);
    Outcome answer_g(const std::string& payload);
    Outcome answer_G(const std::string& payload);
    Outcome answer_p(const std::string& payload);
    Outcome answer_P(const std::string& payload);
    Outcome answer_m(const std::string& payload);
    Outcome answer_M(const std::string& payload);
    Outcome answer_c(const std::string& payload);
    Outcome answer_s(const std::string& payload);
    Outcome answer_Z0(const std::string& payload);
    Outcome answer_z0(const std::string& payload);
    Outcome answer_k(const std::string& payload);
    Outcome answer_D(const std::string& payload);
    Outcome answer_H(const std::string& payload);
    Outcome answer_T(const std::string& payload);

    // Takes every whole frame from received; false when the connection is to end.
    bool drainFrames();
    bool handleFrame(const std::string& payload);
    bool sendFrame(const std::string& payload);
    bool sendRaw(const std::string& bytes);
    void log(const char* direction, const std::string& text) const;

    struct PacketHandler {
        const char* prefix;
        bool exact;
        Outcome (SimSession::*handle)(const std::string&);
        const char* fixedReply; // the answer when handle is null
    };
    static const PacketHandler kHandlers[];

    int socket;
    SimTarget& target;
    const SimConfig& config;
    const std::atomic<bool>& stopRequested;
    bool ackMode = true;
    unsigned packetsAnswered = 0;
    std::string received;
    std::string lastFrame;
};

} // namespace targetsim

#endif
