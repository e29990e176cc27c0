#ifndef TARNWICK_TARGET_PORTFRAMES_H
#define TARNWICK_TARGET_PORTFRAMES_H

#include "target/FrameLayout.h"
#include "target/RegisterId.h"

#include <vector>

// One port of a kernel as data: the frames its context switch leaves for a switched-out thread, and the
// conditions that choose among them. SavedFrame reads a thread's registers by such a row.
struct PortFrames {
    // Where the frame lies, from the stack pointer the kernel keeps for the thread.
    enum class Place : unsigned char {
        AtStackPointer,
        // Below it: the context kept in the thread's control block, the stack pointer pointing past it.
        EndsAtStackPointer,
        // Where the secure context, whose address is the first word at the stack pointer, says.
        BehindSecureContext,
    };

    // Debug lines of a thread's stack pointer: before a choice's first read of target memory, or once a
    // probe's word is read (then after the word itself, for an EXC_RETURN).
    enum class StackLog : unsigned char { None, SavedStackPointer, ContextEnd, ExceptionReturn };

    // A word saved with the frame that tells its shape: the register's word in the layout, or the word at
    // offset when layout is null.
    struct Probe {
        const FrameLayout* layout;
        RegisterId id;
        unsigned int offset;
        Place place;
        const char* readFailure;
        StackLog log;
    };

    // (word & mask) == value, the word being the probe's or, without a probe, the kernel's facts.
    struct Test {
        const Probe* probe;
        unsigned int mask;
        unsigned int value;
    };

    // Tests in order; the first that fails skips the choice, so facts listed first spare a probe's read.
    struct Choice {
        std::vector<Test> tests;
        const FrameLayout* layout;
        Place place;
        StackLog opening;
        // Logged when chosen; may be null.
        const char* message;
        // Bytes the processor stacked past the stack pointer that a REG_SP slot of the layout saved.
        unsigned int processorFrame;
    };

    // Bits of an Arm M-profile EXC_RETURN: set, the processor stacked no floating-point context (4); the
    // frame lies on the secure stack (6).
    static constexpr unsigned int kBasicFrameBit = 0x10;
    static constexpr unsigned int kSecureStackBit = 0x40;

    // The EXC_RETURN that a context switch saved at the layout's REG_LR_PENDSV word, logged with the stack
    // pointer once read.
    static Probe savedExceptionReturn(const FrameLayout& layout);
    // The word at offset from the stack pointer, logged by nothing.
    static Probe savedWord(unsigned int offset);
    // (word & mask) == value for the probe's word.
    static Test word(const Probe& probe, unsigned int mask, unsigned int value);
    // (facts & mask) == value for the kernel's facts.
    static Test facts(unsigned int mask, unsigned int value);

    // Logged first with the thread's id and name, as "<threadLog>::getRegisters: id:0x.. name:..."; may be
    // null.
    const char* threadLog;
    // The first choice whose tests all hold is read.
    std::vector<Choice> choices;
    // Logged as an error when no choice holds; may be null.
    const char* noChoice;
};

#endif
