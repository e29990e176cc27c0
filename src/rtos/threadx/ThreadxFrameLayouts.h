#ifndef TARNWICK_RTOS_THREADX_THREADXFRAMELAYOUTS_H
#define TARNWICK_RTOS_THREADX_THREADXFRAMELAYOUTS_H

#include "target/FrameLayout.h"

// The contexts that the ThreadX ports save on a switched-out thread's stack. Offsets count from the saved
// stack pointer; words that no register names still count in the size.

// Cortex-M0/M0+: r8-r11 are saved before r4-r7, as Thumb-1 can only store the low registers.
extern const FrameLayout THREADX_FRAME_CM0;

// Cortex-M3/M4/M7, and the Armv8-M cores, whose port saves the non-secure context the same way.
extern const FrameLayout THREADX_FRAME_CM3_BASIC;
extern const FrameLayout THREADX_FRAME_CM3_EXTENDED;

// Cortex-A7: the word at offset 0 is the kernel's frame type (0 solicited, 1 interrupted).
extern const FrameLayout THREADX_FRAME_CA7_INTERRUPTED;
extern const FrameLayout THREADX_FRAME_CA7_INTERRUPTED_VFP;
extern const FrameLayout THREADX_FRAME_CA7_SOLICITED;
extern const FrameLayout THREADX_FRAME_CA7_SOLICITED_VFP;

#endif
