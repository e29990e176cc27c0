#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCA9_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCA9_H

#include "rtos/IRtosPortDriver.h"

// Cortex-A9: a frame with or without the floating-point context, told by its first word.
class FreeRtosPortARMCA9 : public IRtosPortDriver {
public:
    FreeRtosPortARMCA9() = default;
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
