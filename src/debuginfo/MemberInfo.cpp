#include "debuginfo/MemberInfo.h"
#include "base/NumberCodec.h"


#include <algorithm>
#include <cstring>

namespace {

// Callers read the member before decoding it; a short buffer would otherwise be read past its end.
struct PaddedWord {
    unsigned char bytes[4] = {0, 0, 0, 0};
    explicit PaddedWord(const std::vector<unsigned char>& data) {
        std::memcpy(bytes, data.data(), std::min<std::size_t>(data.size(), sizeof(bytes)));
    }
};

} // namespace

MemberInfo::MemberInfo(const std::string& newName, unsigned int newOffset)
    : name(newName), offset(newOffset) {}

unsigned int MemberInfo::getDataUINT32() {
    PaddedWord word(data);
    return NumberCodec::toUINT32(word.bytes);
}

unsigned short MemberInfo::getDataUINT16() {
    PaddedWord word(data);
    return NumberCodec::toUINT16(word.bytes);
}

unsigned char MemberInfo::getDataUINT8() {
    PaddedWord word(data);
    return NumberCodec::toUINT8(word.bytes);
}
