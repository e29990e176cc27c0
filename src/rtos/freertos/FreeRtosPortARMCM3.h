#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM3_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM3_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M3, with or without the kernel's memory protection port.
class FreeRtosPortARMCM3 : public IRtosPortDriver {
public:
    explicit FreeRtosPortARMCM3(bool newMpu) : mpu(newMpu) {}
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;

private:
    bool mpu;
};

#endif
