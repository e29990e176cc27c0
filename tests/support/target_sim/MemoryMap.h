#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_MEMORYMAP_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_MEMORYMAP_H

#include "target_sim/MemorySource.h"

#include <cstdint>
#include <map>
#include <vector>

namespace targetsim {

// Sparse 32-bit address space of mapped, zero-initialised, writable regions.
class MemoryMap : public MemorySource {
public:
    // Largest range map() accepts in one call, so that a typo cannot ask for gigabytes.
    static const std::uint32_t kMaxRangeSize = 0x10000000;

    // Maps the parts of [address, address + size) not mapped yet; false if the range wraps or is too large.
    bool map(std::uint32_t address, std::uint32_t size);
    // Maps the range of the bytes as needed and stores them there.
    bool load(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    bool isMapped(std::uint32_t address) const;

    void read(std::uint32_t address, std::uint32_t length, std::vector<std::uint8_t>& bytes) const override;
    bool write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) override;

private:
    // The region holding address, with its start; null if address is unmapped.
    const std::vector<std::uint8_t>* regionAt(std::uint64_t address, std::uint64_t& regionStart) const;

    // Non-overlapping regions by start address.
    std::map<std::uint64_t, std::vector<std::uint8_t>> regions;
};

} // namespace targetsim

#endif
