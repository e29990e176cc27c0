#include "target_sim/ElfImage.h"

#include <fstream>
#include <iterator>

namespace targetsim {

namespace {
const std::uint16_t kMachineArm = 40;
const std::uint32_t kSegmentLoad = 1;
const std::size_t kHeaderSize = 52;
const std::size_t kProgramHeaderSize = 32;

std::uint32_t word(const std::vector<std::uint8_t>& file, std::size_t offset) {
    return static_cast<std::uint32_t>(file[offset]) | static_cast<std::uint32_t>(file[offset + 1]) << 8 |
           static_cast<std::uint32_t>(file[offset + 2]) << 16 |
           static_cast<std::uint32_t>(file[offset + 3]) << 24;
}

std::uint16_t half(const std::vector<std::uint8_t>& file, std::size_t offset) {
    return static_cast<std::uint16_t>(file[offset] | file[offset + 1] << 8);
}
} // namespace

bool ElfImage::load(const std::string& path, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    std::vector<std::uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!parse(file, error)) {
        error = path + ": " + error;
        return false;
    }
    return true;
}

bool ElfImage::parse(const std::vector<std::uint8_t>& file, std::string& error) {
    segments.clear();
    if (file.size() < kHeaderSize || file[0] != 0x7f || file[1] != 'E' || file[2] != 'L' || file[3] != 'F') {
        error = "not an ELF file";
        return false;
    }
    if (file[4] != 1 || file[5] != 1) {
        error = "not a 32-bit little-endian ELF file";
        return false;
    }
    if (half(file, 18) != kMachineArm) {
        error = "not an Arm ELF file";
        return false;
    }
    std::uint64_t tableOffset = word(file, 28);
    std::uint16_t entrySize = half(file, 42);
    std::uint16_t count = half(file, 44);
    if (count > 0 &&
        (entrySize < kProgramHeaderSize || tableOffset + std::uint64_t{count} * entrySize > file.size())) {
        error = "program header table out of the file";
        return false;
    }
    for (std::uint16_t i = 0; i < count; i++) {
        std::size_t header = static_cast<std::size_t>(tableOffset + std::uint64_t{i} * entrySize);
        if (word(file, header) != kSegmentLoad)
            continue;
        std::uint64_t offset = word(file, header + 4);
        std::uint32_t fileSize = word(file, header + 16);
        ElfSegment segment;
        segment.address = word(file, header + 8);
        segment.memorySize = word(file, header + 20);
        if (offset + fileSize > file.size() || fileSize > segment.memorySize) {
            error = "segment " + std::to_string(i) + " out of the file";
            return false;
        }
        if (segment.memorySize == 0)
            continue;
        segment.bytes.assign(file.begin() + static_cast<std::ptrdiff_t>(offset),
                             file.begin() + static_cast<std::ptrdiff_t>(offset + fileSize));
        segments.push_back(std::move(segment));
    }
    entry = word(file, 24);
    return true;
}

} // namespace targetsim
