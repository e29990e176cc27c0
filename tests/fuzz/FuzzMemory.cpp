#include "FuzzMemory.h"

#include <algorithm>

FuzzMemory::FuzzMemory(std::uint32_t newRamBase, unsigned newReadBudget, std::uint32_t newLongestReply)
    : ramBase(newRamBase), readBudget(newReadBudget), longestReply(newLongestReply) {}

bool FuzzMemory::addFixed(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    std::lock_guard<std::mutex> guard(lock);
    return fixed.load(address, bytes);
}

void FuzzMemory::assign(const std::uint8_t* data, std::size_t size) {
    std::lock_guard<std::mutex> guard(lock);
    ram.assign(data, data + size);
    servedReads = 0;
}

void FuzzMemory::read(std::uint32_t address, std::uint32_t length, std::vector<std::uint8_t>& bytes) const {
    std::lock_guard<std::mutex> guard(lock);
    bytes.clear();
    if (servedReads >= readBudget) {
        return;
    }
    ++servedReads;
    std::uint32_t wanted = std::min(length, longestReply);
    std::uint64_t offset = static_cast<std::uint64_t>(address) - ramBase;
    if (address >= ramBase && offset < ram.size()) {
        std::uint64_t end = std::min<std::uint64_t>(ram.size(), offset + wanted);
        bytes.assign(ram.begin() + static_cast<std::ptrdiff_t>(offset),
                     ram.begin() + static_cast<std::ptrdiff_t>(end));
        return;
    }
    fixed.read(address, wanted, bytes);
}

bool FuzzMemory::write(std::uint32_t /*address*/, const std::vector<std::uint8_t>& /*bytes*/) {
    return false;
}

unsigned FuzzMemory::served() const {
    std::lock_guard<std::mutex> guard(lock);
    return servedReads;
}
