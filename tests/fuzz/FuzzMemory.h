#ifndef TARNWICK_TESTS_FUZZ_FUZZMEMORY_H
#define TARNWICK_TESTS_FUZZ_FUZZMEMORY_H

#include "target_sim/MemoryMap.h"
#include "target_sim/MemorySource.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

// The target memory of one fuzz input: the input's bytes as RAM from one address on, the program's other
// segments (flash, where names may point) as built, and nothing else. Like a real probe it answers a
// limited number of reads per input and at most so many bytes per reply: a walk that would run for ever
// on lying kernel data ends at the first refused read, and no reply overflows the endpoint's buffer.
class FuzzMemory : public targetsim::MemorySource {
public:
    FuzzMemory(std::uint32_t newRamBase, unsigned newReadBudget, std::uint32_t newLongestReply);

    // Maps the bytes of a segment that the input does not replace.
    bool addFixed(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    // The RAM of the next input; the read budget starts anew.
    void assign(const std::uint8_t* data, std::size_t size);

    void read(std::uint32_t address, std::uint32_t length, std::vector<std::uint8_t>& bytes) const override;
    // The target is stopped: nothing writes to it.
    bool write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) override;

    // Reads answered for the current input, refused ones not counted.
    unsigned served() const;

private:
    mutable std::mutex lock;
    targetsim::MemoryMap fixed;
    std::vector<std::uint8_t> ram;
    const std::uint32_t ramBase;
    const unsigned readBudget;
    const std::uint32_t longestReply;
    mutable unsigned servedReads = 0;
};

#endif
