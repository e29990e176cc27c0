#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM0_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM0_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M0 and M0+: one frame shape, no floating point.
class FreeRtosPortARMCM0 : public IRtosPortDriver {
public:
    FreeRtosPortARMCM0() = default;
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
