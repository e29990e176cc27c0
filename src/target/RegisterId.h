#ifndef TARNWICK_TARGET_REGISTERID_H
#define TARNWICK_TARGET_REGISTERID_H

#include <cstdint>

// Every register that any port knows, independent of the core's own numbering. Scoped, because
// glibc's <sys/ucontext.h> (reached through <csignal> under _GNU_SOURCE) declares REG_R8 to REG_R12
// as plain enumerators of its own, and the two would clash in any file that includes both.
enum class RegisterId : std::uint32_t {
    REG_NONE = 0,
    REG_SP = 1,
    REG_R0 = 2,
    REG_R1 = 3,
    REG_R2 = 4,
    REG_R3 = 5,
    REG_R4 = 6,
    REG_R5 = 7,
    REG_R6 = 8,
    REG_R7 = 9,
    REG_R8 = 10,
    REG_R9 = 11,
    REG_R10 = 12,
    REG_R11 = 13,
    REG_R12 = 14,
    REG_LR = 15,
    REG_PC = 16,
    REG_XPSR = 17,
    // s0..s15: the half the hardware stacks in an extended exception frame.
    REG_S0 = 18,
    REG_S1 = 19,
    REG_S2 = 20,
    REG_S3 = 21,
    REG_S4 = 22,
    REG_S5 = 23,
    REG_S6 = 24,
    REG_S7 = 25,
    REG_S8 = 26,
    REG_S9 = 27,
    REG_S10 = 28,
    REG_S11 = 29,
    REG_S12 = 30,
    REG_S13 = 31,
    REG_S14 = 32,
    REG_S15 = 33,
    // s16..s31: the half the kernel's context switch saves.
    REG_S16 = 34,
    REG_S17 = 35,
    REG_S18 = 36,
    REG_S19 = 37,
    REG_S20 = 38,
    REG_S21 = 39,
    REG_S22 = 40,
    REG_S23 = 41,
    REG_S24 = 42,
    REG_S25 = 43,
    REG_S26 = 44,
    REG_S27 = 45,
    REG_S28 = 46,
    REG_S29 = 47,
    REG_S30 = 48,
    REG_S31 = 49,
    // The exception return value the context switch saves with a task's context.
    REG_LR_PENDSV = 50,
    REG_FPSCR = 51,
    REG_CONTROL = 52,
    REG_PSPLIM = 53,
    REG_CPSR = 54,
    // d16..d31 of a 32-register floating-point unit, as the 32 words from here on: each register's least
    // significant word first, as they lie in memory (d0..d15 are the pairs of s0..s31).
    REG_D16_LOW = 55,
    REG_D31_HIGH = 86
};

#endif
