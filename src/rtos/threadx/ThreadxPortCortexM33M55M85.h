#ifndef TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM33M55M85_H
#define TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM33M55M85_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M33, Cortex-M55 and Cortex-M85: as the Armv7-M port, and a context on the secure side when the
// thread's ThreadxData knows where it lies.
class ThreadxPortCortexM33M55M85 : public IRtosPortDriver {
public:
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
