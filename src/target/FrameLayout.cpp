#include "target/FrameLayout.h"

FrameLayout::FrameLayout(unsigned int newSize, const std::map<RegisterId, unsigned int>& newOffsets)
    : size(newSize), offsets(newOffsets) {}

bool FrameLayout::getOffset(RegisterId id, unsigned int& offset) const {
    auto found = offsets.find(id);
    if (found == offsets.end()) {
        return false;
    }
    offset = found->second;
    return true;
}
