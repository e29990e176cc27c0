#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSFRAMELAYOUTS_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSFRAMELAYOUTS_H

#include "target/FrameLayout.h"

// The contexts that the FreeRTOS port layers leave on a switched-out task's stack, offsets counted from
// the saved stack pointer. Twins with equal contents are separate objects all the same, so that each
// selection names its own frame.

// Armv6-M: the older port saves r4-r11 alone; the port rewritten after the Armv8-M ones saves EXC_RETURN
// below them (portable/GCC/ARM_CM0/portasm.c, PendSV_Handler).
extern const FrameLayout FRAMELAYOUT_CM0;
extern const FrameLayout FRAMELAYOUT_CM0_EXC_RETURN;
extern const FrameLayout FRAMELAYOUT_CM3;
extern const FrameLayout FRAMELAYOUT_CM3_MPU;
extern const FrameLayout FRAMELAYOUT_CM4F_BASIC;
extern const FrameLayout FRAMELAYOUT_CM4F_BASIC_MPU;
extern const FrameLayout FRAMELAYOUT_CM4F_EXT;
extern const FrameLayout FRAMELAYOUT_CM4F_EXT_MPU;
// The context that the newer ARM_CM3_MPU and ARM_CM4_MPU ports keep in the task's control block
// (portable/GCC/ARM_CM4_MPU/port.c, xPortPendSVHandler), offsets counted from its lowest word; REG_SP there
// is the task's stack pointer below the processor's frame.
extern const FrameLayout FRAMELAYOUT_MPU_CONTEXT_BASIC;
extern const FrameLayout FRAMELAYOUT_MPU_CONTEXT_EXT;

// Armv8-M, without a secure side.
extern const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ;
extern const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ_MPU;
extern const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ;
extern const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ_MPU;
extern const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ;
extern const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ_MPU;

// Armv8-M with a secure side: the word at offset 0 is the task's secure context.
extern const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ;
extern const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ_MPU;
extern const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ;
extern const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ_MPU;
extern const FrameLayout FRAMELAYOUT_EXT_EXT_TZ;
extern const FrameLayout FRAMELAYOUT_EXT_EXT_TZ_MPU;

// Armv8-M frames that lie on the secure stack.
extern const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ;
extern const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU;
extern const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ;
extern const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU;

// Cortex-A9: the word at offset 0 tells whether the task has a floating-point context.
extern const FrameLayout FRAMELAYOUT_CA9;
extern const FrameLayout FRAMELAYOUT_CA9_FPU;

#endif
