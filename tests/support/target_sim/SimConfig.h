#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMCONFIG_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMCONFIG_H

#include <cstdint>
#include <string>

namespace targetsim {

// How the simulator behaves on the wire; what the target holds is in SimTarget.
struct SimConfig {
    std::uint16_t port = 0;         // 0: an ephemeral port
    unsigned readDelayMs = 0;       // slept before each m reply
    unsigned closeAfterPackets = 0; // close the connection after answering this many packets; 0: never
    bool keepAckMode = false;       // do not offer QStartNoAckMode
    bool once = false;              // serve one connection, then stop
    bool verbose = false;           // log every packet to stderr
    bool printStats = false;        // print the counters after each connection
    bool offerThreadsXfer = false;  // offer qXfer:threads:read in qSupported, as OpenOCD-class servers do
    unsigned packetSize = 0x4000;   // offered in qSupported
    unsigned xferChunk = 0;         // longest qXfer reply data; 0: as much as GDB asks for
    std::string stopReply = "T05thread:1;"; // payload of every stop reply
};

} // namespace targetsim

#endif
