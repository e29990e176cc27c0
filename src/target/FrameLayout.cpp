#include "target/FrameLayout.h"

namespace {

constexpr unsigned int kWord = 4;

} // namespace

FrameLayout::Piece::Piece(RegisterId first, RegisterId last) {
    for (auto id = static_cast<std::uint32_t>(first); id <= static_cast<std::uint32_t>(last); ++id) {
        words.push_back({static_cast<RegisterId>(id), true});
    }
}

FrameLayout::Piece FrameLayout::Piece::join(std::initializer_list<Piece> pieces) {
    Piece joined;
    for (const Piece& piece : pieces) {
        joined.words.insert(joined.words.end(), piece.words.begin(), piece.words.end());
    }
    return joined;
}

FrameLayout::Piece FrameLayout::Piece::unnamed(unsigned int count) {
    Piece piece;
    piece.words.assign(count, {RegisterId::REG_NONE, false});
    return piece;
}

FrameLayout::Piece FrameLayout::basicExceptionFrame() {
    return Piece::join(
        {{RegisterId::REG_R0, RegisterId::REG_R3}, {RegisterId::REG_R12, RegisterId::REG_XPSR}});
}

FrameLayout::Piece FrameLayout::extendedExceptionFrame() {
    return Piece::join({basicExceptionFrame(),
                        {RegisterId::REG_S0, RegisterId::REG_S15},
                        RegisterId::REG_FPSCR,
                        Piece::unnamed(1)});
}

FrameLayout::FrameLayout(unsigned int newSize, const std::map<RegisterId, unsigned int>& newOffsets)
    : size(newSize), offsets(newOffsets) {}

FrameLayout::FrameLayout(std::initializer_list<Piece> pieces) {
    for (const Piece& piece : pieces) {
        for (const Piece::Word& word : piece.getWords()) {
            if (word.named) {
                offsets[word.id] = size;
            }
            size += kWord;
        }
    }
}

bool FrameLayout::getOffset(RegisterId id, unsigned int& offset) const {
    auto found = offsets.find(id);
    if (found == offsets.end()) {
        return false;
    }
    offset = found->second;
    return true;
}
