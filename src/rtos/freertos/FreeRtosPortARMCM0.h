#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM0_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM0_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M0 and M0+, no floating point. Two generations of the port save different frames; the symbol
// table tells which one the program was built with.
class FreeRtosPortARMCM0 : public IRtosPortDriver {
public:
    FreeRtosPortARMCM0() = default;
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
