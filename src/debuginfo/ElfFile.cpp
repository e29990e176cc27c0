#include "debuginfo/ElfFile.h"

#include <fstream>
#include <iterator>

namespace {

const char kMagic[] = {'\x7f', 'E', 'L', 'F'};
constexpr std::size_t kClassOffset = 4;
constexpr std::size_t kDataOffset = 5;
constexpr char kClass32 = 1;
constexpr char kLittleEndian = 1;
constexpr std::size_t kHeaderSize = 52;
constexpr std::size_t kSectionTableOffset = 32;
constexpr std::size_t kSectionEntrySizeOffset = 46;
constexpr std::size_t kSectionCountOffset = 48;
constexpr std::size_t kSectionNamesIndexOffset = 50;
constexpr std::size_t kSectionEntrySize = 40;
constexpr std::size_t kSymbolEntrySize = 16;
constexpr std::uint32_t kSymbolTableType = 2;
// A section that takes no room in the file, such as .bss.
constexpr std::uint32_t kNoBitsType = 8;

} // namespace

bool ElfFile::load(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    image.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    sections.clear();
    if (image.size() < kHeaderSize || image.compare(0, sizeof(kMagic), kMagic, sizeof(kMagic)) != 0 ||
        image[kClassOffset] != kClass32 || image[kDataOffset] != kLittleEndian) {
        return false;
    }
    return readSections();
}

bool ElfFile::readSections() {
    std::uint32_t table = word(kSectionTableOffset);
    std::size_t entrySize = half(kSectionEntrySizeOffset);
    std::size_t count = half(kSectionCountOffset);
    std::size_t namesIndex = half(kSectionNamesIndexOffset);
    if (entrySize < kSectionEntrySize || namesIndex >= count || table + count * entrySize > image.size()) {
        return false;
    }
    std::vector<Section> raw;
    std::vector<std::uint32_t> nameOffsets;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t entry = table + i * entrySize;
        nameOffsets.push_back(word(entry));
        raw.push_back({"", word(entry + 4), word(entry + 16), word(entry + 20), word(entry + 24)});
    }
    for (const Section& section : raw) {
        if (static_cast<std::size_t>(section.offset) + section.size > image.size() &&
            section.type != kNoBitsType) {
            return false;
        }
    }
    const Section& names = raw[namesIndex];
    for (std::size_t i = 0; i < count; ++i) {
        raw[i].name = text(names.offset + nameOffsets[i], names.offset + names.size);
    }
    sections = raw;
    return true;
}

bool ElfFile::section(const std::string& name, std::string& bytes) const {
    for (const Section& candidate : sections) {
        if (candidate.name == name) {
            bytes = image.substr(candidate.offset, candidate.size);
            return true;
        }
    }
    return false;
}

std::vector<std::string> ElfFile::symbolNames() const {
    std::vector<std::string> names;
    for (const Section& table : sections) {
        if (table.type != kSymbolTableType || table.link >= sections.size()) {
            continue;
        }
        const Section& strings = sections[table.link];
        for (std::size_t entry = table.offset; entry + kSymbolEntrySize <= table.offset + table.size;
             entry += kSymbolEntrySize) {
            std::string name = text(strings.offset + word(entry), strings.offset + strings.size);
            if (!name.empty()) {
                names.push_back(name);
            }
        }
    }
    return names;
}

std::uint32_t ElfFile::word(const std::string& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = (value << 8) | static_cast<unsigned char>(bytes[offset + i]);
    }
    return value;
}

std::uint16_t ElfFile::half(std::size_t offset) const {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(image[offset]) |
                                      (static_cast<unsigned char>(image[offset + 1]) << 8));
}

std::string ElfFile::text(std::size_t offset, std::size_t end) const {
    std::string result;
    for (std::size_t i = offset; i < end && i < image.size() && image[i] != '\0'; ++i) {
        result += image[i];
    }
    return result;
}
