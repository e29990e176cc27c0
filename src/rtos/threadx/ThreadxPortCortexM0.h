#ifndef TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM0_H
#define TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM0_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M0 and Cortex-M0+: one frame shape.
class ThreadxPortCortexM0 : public IRtosPortDriver {
public:
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
