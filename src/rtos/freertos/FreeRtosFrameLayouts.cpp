#include "rtos/freertos/FreeRtosFrameLayouts.h"

namespace {

using R = RegisterId;
using Piece = FrameLayout::Piece;

const Piece kR4ToR11{R::REG_R4, R::REG_R11};
const Piece kS16ToS31{R::REG_S16, R::REG_S31};
const Piece kBasic = FrameLayout::basicExceptionFrame();
const Piece kExtended = FrameLayout::extendedExceptionFrame();
// The word at offset 0 of a frame on a build with a secure side: the task's secure context.
const Piece kSecureContext = Piece::unnamed(1);

} // namespace

const FrameLayout FRAMELAYOUT_CM0{kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_CM0_EXC_RETURN{R::REG_LR_PENDSV, kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_CM3{kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_CM3_MPU{R::REG_CONTROL, kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_CM4F_BASIC{kR4ToR11, R::REG_LR_PENDSV, kBasic};
const FrameLayout FRAMELAYOUT_CM4F_BASIC_MPU{R::REG_CONTROL, kR4ToR11, R::REG_LR_PENDSV, kBasic};
const FrameLayout FRAMELAYOUT_CM4F_EXT{kR4ToR11, R::REG_LR_PENDSV, kS16ToS31, kExtended};
const FrameLayout FRAMELAYOUT_CM4F_EXT_MPU{R::REG_CONTROL, kR4ToR11, R::REG_LR_PENDSV, kS16ToS31, kExtended};
const FrameLayout FRAMELAYOUT_MPU_CONTEXT_BASIC{R::REG_CONTROL, kR4ToR11, R::REG_LR_PENDSV, R::REG_SP,
                                                kBasic};
const FrameLayout FRAMELAYOUT_MPU_CONTEXT_EXT{
    kS16ToS31, {R::REG_S0, R::REG_S15}, R::REG_FPSCR, R::REG_CONTROL,
    kR4ToR11,  R::REG_LR_PENDSV,        R::REG_SP,    kBasic};

const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ{R::REG_PSPLIM, R::REG_LR_PENDSV, kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ_MPU{R::REG_PSPLIM, R::REG_CONTROL, R::REG_LR_PENDSV, kR4ToR11,
                                                  kBasic};
const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ{R::REG_PSPLIM, R::REG_LR_PENDSV, kR4ToR11, kExtended};
const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ_MPU{R::REG_PSPLIM, R::REG_CONTROL, R::REG_LR_PENDSV, kR4ToR11,
                                                kExtended};
const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ{R::REG_PSPLIM, R::REG_LR_PENDSV, kR4ToR11, kS16ToS31, kExtended};
const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ_MPU{R::REG_PSPLIM, R::REG_CONTROL, R::REG_LR_PENDSV,
                                              kR4ToR11,      kS16ToS31,      kExtended};

const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ{kSecureContext, R::REG_PSPLIM, R::REG_LR_PENDSV, kR4ToR11,
                                             kBasic};
const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ_MPU{kSecureContext,   R::REG_PSPLIM, R::REG_CONTROL,
                                                 R::REG_LR_PENDSV, kR4ToR11,      kBasic};
const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ{kSecureContext, R::REG_PSPLIM, R::REG_LR_PENDSV, kR4ToR11,
                                           kExtended};
const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ_MPU{kSecureContext,   R::REG_PSPLIM, R::REG_CONTROL,
                                               R::REG_LR_PENDSV, kR4ToR11,      kExtended};
const FrameLayout FRAMELAYOUT_EXT_EXT_TZ{kSecureContext, R::REG_PSPLIM, R::REG_LR_PENDSV,
                                         kR4ToR11,       kS16ToS31,     kExtended};
const FrameLayout FRAMELAYOUT_EXT_EXT_TZ_MPU{kSecureContext, R::REG_PSPLIM, R::REG_CONTROL, R::REG_LR_PENDSV,
                                             kR4ToR11,       kS16ToS31,     kExtended};

// The secure side stacks the secure context and the stack limit below r4-r11 and names neither.
const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ{Piece::unnamed(2), kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU{Piece::unnamed(2), kR4ToR11, kBasic};
const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ{Piece::unnamed(2), kR4ToR11, kExtended, kS16ToS31};
const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU{Piece::unnamed(2), kR4ToR11, kExtended, kS16ToS31};

// Below r0-pc: the floating-point flag word and the critical nesting count; with a floating-point context,
// d16-d31, d0-d15 and FPSCR between them (portASM.S, portSAVE_CONTEXT).
const FrameLayout FRAMELAYOUT_CA9{Piece::unnamed(2), {R::REG_R0, R::REG_PC}, R::REG_CPSR};
const FrameLayout FRAMELAYOUT_CA9_FPU{Piece::unnamed(1),
                                      {R::REG_D16_LOW, R::REG_D31_HIGH},
                                      {R::REG_S0, R::REG_S31},
                                      R::REG_FPSCR,
                                      Piece::unnamed(1),
                                      {R::REG_R0, R::REG_PC},
                                      R::REG_CPSR};
