#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_ELFIMAGE_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_ELFIMAGE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace targetsim {

// One PT_LOAD segment at its run-time address: the file bytes, then zeros up to memorySize.
struct ElfSegment {
    std::uint32_t address = 0;
    std::uint32_t memorySize = 0;
    std::vector<std::uint8_t> bytes;
};

// The loadable part of a 32-bit little-endian Arm ELF file.
class ElfImage {
public:
    ElfImage() = default;
    // An image made in memory, for tests that need no file.
    ElfImage(std::uint32_t newEntry, std::vector<ElfSegment> newSegments)
        : entry(newEntry), segments(std::move(newSegments)) {}

    // Reads and checks the file; false with a reason in error if it is not such a file or is cut short.
    bool load(const std::string& path, std::string& error);
    bool parse(const std::vector<std::uint8_t>& file, std::string& error);
    std::uint32_t getEntry() const { return entry; }
    const std::vector<ElfSegment>& getSegments() const { return segments; }

private:
    std::uint32_t entry = 0;
    std::vector<ElfSegment> segments;
};

} // namespace targetsim

#endif
