#include "target/PortFrames.h"

namespace {

const char* const kStackReadFailure = "Failed reading saved stack ptr\n";

} // namespace

PortFrames::Probe PortFrames::savedExceptionReturn(const FrameLayout& layout) {
    return {&layout,           RegisterId::REG_LR_PENDSV, 0, Place::AtStackPointer,
            kStackReadFailure, StackLog::ExceptionReturn};
}

PortFrames::Probe PortFrames::savedWord(unsigned int offset) {
    return {nullptr, RegisterId::REG_NONE, offset, Place::AtStackPointer, kStackReadFailure, StackLog::None};
}

PortFrames::Test PortFrames::word(const Probe& probe, unsigned int mask, unsigned int value) {
    return {&probe, mask, value};
}

PortFrames::Test PortFrames::facts(unsigned int mask, unsigned int value) {
    return {nullptr, mask, value};
}
