#include "rtos/threadx/ThreadxFrameLayouts.h"

#include <initializer_list>
#include <map>

namespace {

using Offsets = std::map<RegisterId, unsigned int>;
using R = RegisterId;

constexpr unsigned int kWord = 4;

// The registers first to last, in id order, in consecutive words from offset on.
Offsets run(R first, R last, unsigned int offset) {
    Offsets offsets;
    for (auto id = static_cast<std::uint32_t>(first); id <= static_cast<std::uint32_t>(last); ++id) {
        offsets[static_cast<R>(id)] = offset;
        offset += kWord;
    }
    return offsets;
}

Offsets join(std::initializer_list<Offsets> parts) {
    Offsets all;
    for (const Offsets& part : parts) {
        all.insert(part.begin(), part.end());
    }
    return all;
}

// What the hardware stacks on exception entry, from offset on: r0-r3, r12, lr, pc, xPSR.
Offsets hardwareFrame(unsigned int offset) {
    return join({run(R::REG_R0, R::REG_R3, offset),
                 {{R::REG_R12, offset + 16}, {R::REG_LR, offset + 20}, {R::REG_PC, offset + 24}},
                 {{R::REG_XPSR, offset + 28}}});
}

} // namespace

const FrameLayout THREADX_FRAME_CM0(68, join({{{R::REG_LR_PENDSV, 0}},
                                              run(R::REG_R8, R::REG_R11, 4),
                                              run(R::REG_R4, R::REG_R7, 20),
                                              hardwareFrame(36)}));

const FrameLayout THREADX_FRAME_CM3_BASIC(
    68, join({{{R::REG_LR_PENDSV, 0}}, run(R::REG_R4, R::REG_R11, 4), hardwareFrame(36)}));

const FrameLayout THREADX_FRAME_CM3_EXTENDED(204, join({{{R::REG_LR_PENDSV, 0}},
                                                        run(R::REG_S16, R::REG_S31, 4),
                                                        run(R::REG_R4, R::REG_R11, 68),
                                                        hardwareFrame(100),
                                                        run(R::REG_S0, R::REG_S15, 132),
                                                        {{R::REG_FPSCR, 196}}}));

const FrameLayout THREADX_FRAME_CM3_EXTENDED_BASIC_OS(140, join({{{R::REG_LR_PENDSV, 0}},
                                                                 run(R::REG_R4, R::REG_R11, 4),
                                                                 hardwareFrame(36),
                                                                 run(R::REG_S0, R::REG_S15, 68),
                                                                 {{R::REG_FPSCR, 132}}}));

// The Armv8-M port saves its non-secure contexts as the Armv7-M port does.
const FrameLayout THREADX_FRAME_CM33_BASIC = THREADX_FRAME_CM3_BASIC;
const FrameLayout THREADX_FRAME_CM33_EXTENDED = THREADX_FRAME_CM3_EXTENDED;
const FrameLayout THREADX_FRAME_CM33_EXTENDED_BASIC_OS = THREADX_FRAME_CM3_EXTENDED_BASIC_OS;

const FrameLayout THREADX_FRAME_CM33_SECURE_BASIC(72,
                                                  join({run(R::REG_R4, R::REG_R11, 8), hardwareFrame(40)}));

const FrameLayout THREADX_FRAME_CM33_SECURE_EXTENDED(208, join({run(R::REG_R4, R::REG_R11, 8),
                                                                hardwareFrame(40),
                                                                run(R::REG_S0, R::REG_S15, 72),
                                                                {{R::REG_FPSCR, 136}},
                                                                run(R::REG_S16, R::REG_S31, 144)}));

const FrameLayout THREADX_FRAME_CA7_INTERRUPTED(68, join({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}},
                                                          run(R::REG_R0, R::REG_R12, 8),
                                                          {{R::REG_LR, 60}, {R::REG_PC, 64}}}));

const FrameLayout THREADX_FRAME_CA7_INTERRUPTED_VFP(328, join({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}},
                                                               run(R::REG_R0, R::REG_R12, 268),
                                                               {{R::REG_LR, 320}, {R::REG_PC, 324}}}));

const FrameLayout THREADX_FRAME_CA7_SOLICITED(
    44, join({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}}, run(R::REG_R4, R::REG_R11, 8), {{R::REG_LR, 40}}}));

const FrameLayout THREADX_FRAME_CA7_SOLICITED_VFP(
    240, join({{{R::REG_NONE, 0}, {R::REG_CPSR, 4}}, run(R::REG_R4, R::REG_R11, 204), {{R::REG_LR, 236}}}));
