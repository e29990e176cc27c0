#include "rtos/threadx/ThreadxFrameLayouts.h"

namespace {

using R = RegisterId;
using Piece = FrameLayout::Piece;

const Piece kR4ToR11{R::REG_R4, R::REG_R11};
const Piece kD16ToD31{R::REG_D16_LOW, R::REG_D31_HIGH};
// The frame type word, named REG_NONE, and the status register the kernel saved.
const Piece kCa7Head = Piece::join({R::REG_NONE, R::REG_CPSR});

} // namespace

const FrameLayout THREADX_FRAME_CM0{
    R::REG_LR_PENDSV, {R::REG_R8, R::REG_R11}, {R::REG_R4, R::REG_R7}, FrameLayout::basicExceptionFrame()};

const FrameLayout THREADX_FRAME_CM3_BASIC{R::REG_LR_PENDSV, kR4ToR11, FrameLayout::basicExceptionFrame()};

const FrameLayout THREADX_FRAME_CM3_EXTENDED{
    R::REG_LR_PENDSV, {R::REG_S16, R::REG_S31}, kR4ToR11, FrameLayout::extendedExceptionFrame()};

// The VFP registers lie between the head and the core registers: d0-d15 (d8-d15 after a kernel call, which
// keeps no caller-saved register), d16-d31, FPSCR (tx_thread_context_restore.S, tx_thread_system_return.S).
const FrameLayout THREADX_FRAME_CA7_INTERRUPTED{kCa7Head, {R::REG_R0, R::REG_PC}};
const FrameLayout THREADX_FRAME_CA7_INTERRUPTED_VFP{
    kCa7Head, {R::REG_S0, R::REG_S31}, kD16ToD31, R::REG_FPSCR, {R::REG_R0, R::REG_PC}};
const FrameLayout THREADX_FRAME_CA7_SOLICITED{kCa7Head, kR4ToR11, R::REG_LR};
const FrameLayout THREADX_FRAME_CA7_SOLICITED_VFP{
    kCa7Head, {R::REG_S16, R::REG_S31}, kD16ToD31, R::REG_FPSCR, kR4ToR11, R::REG_LR};
