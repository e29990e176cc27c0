#ifndef TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM3M4M7_H
#define TARNWICK_RTOS_THREADX_THREADXPORTCORTEXM3M4M7_H

#include "rtos/IRtosPortDriver.h"

// Cortex-M3, Cortex-M4 and Cortex-M7: a basic or an extended frame, as the saved EXC_RETURN says.
class ThreadxPortCortexM3M4M7 : public IRtosPortDriver {
public:
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
