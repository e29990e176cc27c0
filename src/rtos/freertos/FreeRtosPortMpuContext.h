#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTMPUCONTEXT_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTMPUCONTEXT_H

class RegisterList;
class RspClient;

// The context that the newer memory protection ports for Armv7-M (ARM_CM3_MPU, ARM_CM4_MPU) keep in the
// task's control block (xMPUSettings.ulContext) instead of on its stack: s16-s31, s0-s15 and FPSCR when the
// processor stacked an extended frame, then CONTROL, r4-r11, EXC_RETURN, the task's stack pointer and a copy
// of the processor's frame, with pxTopOfStack pointing just past them. The older ports stack the context.
class FreeRtosPortMpuContext {
public:
    virtual ~FreeRtosPortMpuContext() = default;

    // True when the program was built with a port that keeps the context in the control block, told by a
    // function only those ports define.
    static bool keptInControlBlock();
    // Reads the context that ends at contextEnd (the task's pxTopOfStack): every saved register, and REG_SP
    // past the processor's frame on the task's stack (and its alignment word).
    static bool read(RspClient& server, unsigned int contextEnd, RegisterList& registers);
};

#endif
