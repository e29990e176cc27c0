#include "ThreadxReadBudget.h"

#include "target_sim/ElfImage.h"

#include <gtest/gtest.h>

ThreadxReadBudget::ThreadxReadBudget(const std::string& elf, unsigned newBudget) : budget(newBudget) {
    targetsim::ElfImage image;
    std::string error;
    if (!image.load(elf, error)) {
        ADD_FAILURE() << "cannot load " << elf << ": " << error;
        return;
    }
    for (const targetsim::ElfSegment& segment : image.getSegments()) {
        std::vector<std::uint8_t> bytes = segment.bytes;
        bytes.resize(segment.memorySize, 0);
        EXPECT_TRUE(memory.load(segment.address, bytes));
    }
}

void ThreadxReadBudget::read(std::uint32_t address, std::uint32_t length,
                             std::vector<std::uint8_t>& bytes) const {
    bytes.clear();
    if (servedReads == budget) {
        return;
    }
    ++servedReads;
    memory.read(address, length, bytes);
}

bool ThreadxReadBudget::write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    return memory.write(address, bytes);
}

bool ThreadxReadBudget::writeWord(std::uint32_t address, std::uint32_t value) {
    std::vector<std::uint8_t> bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    return memory.write(address, bytes);
}
