#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_MEMORYSOURCE_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_MEMORYSOURCE_H

#include <cstdint>
#include <vector>

namespace targetsim {

// Where the simulator's m and M packets go. Tests plug in their own to watch or script the target's memory.
class MemorySource {
public:
    virtual ~MemorySource() = default;
    // Replaces bytes with what lies from address on, stopping at the first unmapped byte or after length
    // bytes.
    virtual void read(std::uint32_t address, std::uint32_t length,
                      std::vector<std::uint8_t>& bytes) const = 0;
    // Writes all bytes or none: false if any of them is unmapped.
    virtual bool write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) = 0;
};

} // namespace targetsim

#endif
