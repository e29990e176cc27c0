#ifndef TARNWICK_RTOS_THREADX_THREADXPORTFRAME_H
#define TARNWICK_RTOS_THREADX_THREADXPORTFRAME_H

#include "target/FrameLayout.h"

#include <vector>

class RegisterList;
class RspClient;

// The layouts of one Cortex-M core for the frame shapes that an EXC_RETURN value announces.
struct ThreadxFrameShapes {
    const FrameLayout& basic;
    const FrameLayout& extended;
    const FrameLayout& extendedBasicOs;
};

// What all ThreadX ports share: reading a saved frame and turning it into registers. Log lines carry the
// tag "getRegisters".
class ThreadxPortFrame {
public:
    // The EXC_RETURN value the context switch saved at the layout's REG_LR_PENDSV offset from sp; logs
    // it and sp. False with a log line if the layout has no such word or the read fails.
    static bool readExcReturn(RspClient& server, const FrameLayout& layout, unsigned int sp,
                              unsigned int& excReturn);
    // Logs the frame type that bit 4 of excReturn announces and returns its layout among shapes.
    static const FrameLayout& chooseLayout(unsigned int excReturn, const ThreadxFrameShapes& shapes);
    // The layout's whole frame at sp in one read; "failed reading frame\n" if that fails.
    static bool readFrame(RspClient& server, const FrameLayout& layout, unsigned int sp,
                          std::vector<unsigned char>& frame);
    // REG_SP behind the frame when the layout holds REG_XPSR (4 more if the core aligned the stack), then
    // every register of the layout in ascending id order.
    static void addRegisters(const FrameLayout& layout, unsigned int sp, std::vector<unsigned char>& frame,
                             RegisterList& registers);
    // readFrame, then addRegisters: the whole job of a Cortex-M port once it knows the layout.
    static bool unwind(RspClient& server, const FrameLayout& layout, unsigned int sp,
                       RegisterList& registers);
    // The little-endian word at offset in a frame that readFrame filled.
    static unsigned int word(std::vector<unsigned char>& frame, unsigned int offset);
};

#endif
