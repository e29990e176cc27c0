#ifndef TARNWICK_TARGET_FRAMELAYOUT_H
#define TARNWICK_TARGET_FRAMELAYOUT_H

#include "target/RegisterId.h"

#include <initializer_list>
#include <map>
#include <vector>

// Where each register lies in a context saved on a thread's stack. Read-only once built.
class FrameLayout {
public:
    // Consecutive words of a frame: registers first to last in id order, words that no register names, or
    // other pieces one after the other.
    class Piece {
    public:
        // One word holding the register.
        Piece(RegisterId one) : Piece(one, one) {} // NOLINT(google-explicit-constructor): a table notation
        Piece(RegisterId first, RegisterId last);
        static Piece join(std::initializer_list<Piece> pieces);
        static Piece unnamed(unsigned int words);

        // Words in order from the lowest address; REG_NONE marks a word no register names, unless named.
        struct Word {
            RegisterId id;
            bool named;
        };
        const std::vector<Word>& getWords() const { return words; }

    private:
        Piece() = default;
        std::vector<Word> words;
    };

    // The words the Arm M-profile core stacks on exception entry: r0-r3, r12, lr, pc, xPSR; with floating
    // point s0-s15, FPSCR and a reserved word after them.
    static Piece basicExceptionFrame();
    static Piece extendedExceptionFrame();

    // offsets: byte offset of each saved register from the frame's lowest address.
    FrameLayout(unsigned int newSize, const std::map<RegisterId, unsigned int>& newOffsets);
    // The pieces one after the other from the frame's lowest address; the size is their sum.
    FrameLayout(std::initializer_list<Piece> pieces);
    virtual ~FrameLayout() = default;

    // Size of the frame in bytes on the target's stack.
    unsigned int getSize() const { return size; }
    // False, offset untouched, if the frame does not hold the id.
    bool getOffset(RegisterId id, unsigned int& offset) const;
    const std::map<RegisterId, unsigned int>& getOffsets() const { return offsets; }

private:
    unsigned int size = 0;
    std::map<RegisterId, unsigned int> offsets;
};

#endif
