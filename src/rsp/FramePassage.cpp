#include "rsp/FramePassage.h"

#include <cstring>

namespace {

const int kChecksumDigits = 2;

} // namespace

int FramePassage::take(const unsigned char* data, int size) {
    int taken = 0;
    if (digitsOwed < 0) {
        const void* mark = std::memchr(data, '#', static_cast<std::size_t>(size));
        if (mark == nullptr) {
            return size;
        }
        taken = static_cast<int>(static_cast<const unsigned char*>(mark) - data) + 1;
        digitsOwed = kChecksumDigits;
    }
    const int digits = size - taken < digitsOwed ? size - taken : digitsOwed;
    digitsOwed -= digits;
    return taken + digits;
}
