#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM33CM55CM85_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM33CM55CM85_H

#include "rtos/IRtosPortDriver.h"

// Armv8-M cores (Cortex-M33, M55, M85), with or without a secure side. The option does not tell
// the whole kernel build, so the frame is chosen from the saved exception return value together with
// the presence of the kernel's FPU and MPU set-up functions in the symbol table.
class FreeRtosPortARMCM33CM55CM85 : public IRtosPortDriver {
public:
    explicit FreeRtosPortARMCM33CM55CM85(bool newTrustZone) : trustZone(newTrustZone) {}
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;

private:
    bool trustZone;
};

#endif
