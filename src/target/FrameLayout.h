#ifndef TARNWICK_TARGET_FRAMELAYOUT_H
#define TARNWICK_TARGET_FRAMELAYOUT_H

#include "target/RegisterId.h"

#include <map>

// Where each register lies in a context saved on a thread's stack. Read-only once built.
class FrameLayout {
public:
    // offsets: byte offset of each saved register from the frame's lowest address.
    FrameLayout(unsigned int newSize, const std::map<RegisterId, unsigned int>& newOffsets);
    virtual ~FrameLayout() = default;

    // Size of the frame in bytes on the target's stack.
    unsigned int getSize() const { return size; }
    // False, offset untouched, if the frame does not hold the id.
    bool getOffset(RegisterId id, unsigned int& offset) const;
    const std::map<RegisterId, unsigned int>& getOffsets() const { return offsets; }

private:
    unsigned int size;
    std::map<RegisterId, unsigned int> offsets;
};

#endif
