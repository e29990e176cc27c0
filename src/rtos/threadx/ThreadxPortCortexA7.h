#ifndef TARNWICK_RTOS_THREADX_THREADXPORTCORTEXA7_H
#define TARNWICK_RTOS_THREADX_THREADXPORTCORTEXA7_H

#include "rtos/IRtosPortDriver.h"

// Cortex-A7: a solicited or an interrupted frame, each with or without the VFP registers.
class ThreadxPortCortexA7 : public IRtosPortDriver {
public:
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
};

#endif
