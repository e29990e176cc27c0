#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTFACTORY_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTFACTORY_H

#include <string>

class IRtosPortDriver;
class PortTable;
class RspClient;
struct PortFrames;

// The FreeRTOS ports, each a row: the folder of its sources and the architectures that tell it
// (FreeRtosPortDetector reads them), and its frames, chosen by the saved words and the build's facts
// (FreeRtosBuildFacts). The caller owns what create returns.
class FreeRtosPortFactory {
public:
    virtual ~FreeRtosPortFactory() = default;

    // One row a port, searched in this order.
    static const PortTable& table();
    // The row of a "--rtos_variant" value, compared exactly, case included; null for an unknown name.
    static const PortFrames* frames(const std::string& variant);
    // The port of the row, asking the program's build facts at each read; null for an unknown name.
    static IRtosPortDriver* create(const std::string& variant);
    // By looking at the target: no port can be told apart yet, so this is always null and the variant
    // has to be given.
    static IRtosPortDriver* create(RspClient& server);
};

#endif
