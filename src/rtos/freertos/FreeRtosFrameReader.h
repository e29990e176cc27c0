#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSFRAMEREADER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSFRAMEREADER_H

class FrameLayout;
class RegisterList;
class RspClient;

// What every FreeRTOS port does once it knows where a task's frame lies and what shape it has.
// Log lines carry the tag "getRegisters".
class FreeRtosFrameReader {
public:
    virtual ~FreeRtosFrameReader() = default;

    // Reads the whole frame at savedStackPointer in one read, then adds REG_SP (past the frame, plus one
    // word when a Cortex-M core aligned its stack on exception entry, bit 9 of the stacked xPSR) and every
    // register of the layout in ascending id. Nothing is added when the read fails.
    static bool readFrame(RspClient& server, unsigned int savedStackPointer, const FrameLayout& layout,
                          bool cortexM, RegisterList& registers);

    // The exception return value that the context switch saved in the frame, found at the REG_LR_PENDSV
    // offset of the probe layout: its bits tell the frame's shape.
    static bool readExceptionReturn(RspClient& server, unsigned int savedStackPointer,
                                    const FrameLayout& probe, unsigned int& excReturn);
};

#endif
