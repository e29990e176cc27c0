#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM4F_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM4F_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M4F and M7: a basic or an extended (floating-point) frame, told by the saved exception
// return value; with or without the kernel's memory protection port.
class FreeRtosPortARMCM4F : public IRtosPortDriver {
public:
    explicit FreeRtosPortARMCM4F(bool newMpu) : mpu(newMpu) {}
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;

private:
    bool mpu;
};

#endif
