#ifndef TARNWICK_TESTS_SUPPORT_THREADXREADBUDGET_H
#define TARNWICK_TESTS_SUPPORT_THREADXREADBUDGET_H

#include "target_sim/MemoryMap.h"

#include <cstdint>
#include <string>
#include <vector>

// The memory of a fixture program that answers a given number of reads and then none at all, as a target
// does whose probe has gone away. A walk that would run for ever on a list that never closes ends at the
// first failed read, after a number of reads that the test can count.
//
//     ThreadxReadBudget budget(testpaths::fixturesDir() + "/threadx_edges.elf", 100);
//     kernel.kernel().target().useMemorySource(budget);
class ThreadxReadBudget : public targetsim::MemorySource {
public:
    // Fails the test if the program cannot be loaded.
    ThreadxReadBudget(const std::string& elf, unsigned newBudget);

    void read(std::uint32_t address, std::uint32_t length, std::vector<std::uint8_t>& bytes) const override;
    bool write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) override;

    // Lays a little-endian word into this memory, as the kernel would have written it.
    bool writeWord(std::uint32_t address, std::uint32_t value);

    // Reads answered so far, the refused ones not counted.
    unsigned served() const { return servedReads; }

private:
    targetsim::MemoryMap memory;
    unsigned budget;
    mutable unsigned servedReads = 0;
};

#endif
