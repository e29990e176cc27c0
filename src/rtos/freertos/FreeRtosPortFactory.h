#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTFACTORY_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTFACTORY_H

#include <string>

class IRtosPortDriver;
class RspClient;

// Makes the FreeRTOS port driver for a core. The caller owns what it returns.
class FreeRtosPortFactory {
public:
    virtual ~FreeRtosPortFactory() = default;

    // By the value of "--rtos_variant", compared exactly, case included; null for an unknown name.
    static IRtosPortDriver* create(const std::string& variant);
    // By looking at the target: no port can be told apart yet, so this is always null and the variant
    // has to be given.
    static IRtosPortDriver* create(RspClient& server);
};

#endif
