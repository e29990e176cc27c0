#ifndef TARNWICK_RTOS_THREADX_THREADXPORTFACTORY_H
#define TARNWICK_RTOS_THREADX_THREADXPORTFACTORY_H

#include <string>

class IRtosPortDriver;
class PortTable;
class RspClient;
struct PortFrames;

// The ThreadX ports, each a row: the core parts and architecture that tell it, and its frames, chosen by the
// saved words and the thread's control block. Picks the port of a core. The caller owns what it returns.
// Log lines carry the tag "create".
class ThreadxPortFactory {
public:
    // One row a port, searched in this order.
    static const PortTable& table();
    // The row of a value of "--rtos_variant"; null for an unknown one.
    static const PortFrames* frames(const std::string& name);
    // By a value of "--rtos_variant", compared exactly: "cortex_m0", "cortex_m3", "cortex_m4", "cortex_m7",
    // "cortex_m33", "cortex_m55", "cortex_m85", "cortex_a7"; null for any other.
    static IRtosPortDriver* create(const std::string& name);
    // By the architecture of the program ("--file") for the Cortex-A7, otherwise by the part number in the
    // core's CPUID register; null if it cannot be read or is not known.
    static IRtosPortDriver* create(RspClient& server);
};

#endif
