#include "target_sim/MemoryMap.h"

#include <algorithm>

namespace targetsim {

namespace {
const std::uint64_t kAddressSpace = 0x100000000ull;
}

const std::vector<std::uint8_t>* MemoryMap::regionAt(std::uint64_t address,
                                                     std::uint64_t& regionStart) const {
    auto next = regions.upper_bound(address);
    if (next == regions.begin())
        return nullptr;
    auto region = std::prev(next);
    if (address >= region->first + region->second.size())
        return nullptr;
    regionStart = region->first;
    return &region->second;
}

bool MemoryMap::map(std::uint32_t address, std::uint32_t size) {
    std::uint64_t end = std::uint64_t{address} + size;
    if (size > kMaxRangeSize || end > kAddressSpace)
        return false;
    std::uint64_t position = address;
    while (position < end) {
        std::uint64_t regionStart = 0;
        const std::vector<std::uint8_t>* region = regionAt(position, regionStart);
        if (region != nullptr) {
            position = regionStart + region->size();
            continue;
        }
        auto next = regions.upper_bound(position);
        std::uint64_t gapEnd = next == regions.end() ? end : std::min(end, next->first);
        regions.emplace(position, std::vector<std::uint8_t>(static_cast<std::size_t>(gapEnd - position), 0));
        position = gapEnd;
    }
    return true;
}

bool MemoryMap::load(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() > kMaxRangeSize)
        return false;
    return map(address, static_cast<std::uint32_t>(bytes.size())) && write(address, bytes);
}

bool MemoryMap::isMapped(std::uint32_t address) const {
    std::uint64_t regionStart = 0;
    return regionAt(address, regionStart) != nullptr;
}

void MemoryMap::read(std::uint32_t address, std::uint32_t length, std::vector<std::uint8_t>& bytes) const {
    bytes.clear();
    std::uint64_t position = address;
    std::uint64_t end = std::min(std::uint64_t{address} + length, kAddressSpace);
    while (position < end) {
        std::uint64_t regionStart = 0;
        const std::vector<std::uint8_t>* region = regionAt(position, regionStart);
        if (region == nullptr)
            return;
        std::uint64_t take = std::min(end, regionStart + region->size()) - position;
        auto first = region->begin() + static_cast<std::ptrdiff_t>(position - regionStart);
        bytes.insert(bytes.end(), first, first + static_cast<std::ptrdiff_t>(take));
        position += take;
    }
}

bool MemoryMap::write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint8_t> current;
    read(address, static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), 0xFFFFFFFFu)), current);
    if (current.size() != bytes.size())
        return false;
    std::uint64_t position = address;
    std::size_t done = 0;
    while (done < bytes.size()) {
        // The read above proved every byte mapped, so the region before position holds it.
        auto region = std::prev(regions.upper_bound(position));
        std::vector<std::uint8_t>& target = region->second;
        std::size_t take = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size() - done, region->first + target.size() - position));
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(done), take,
                    target.begin() + static_cast<std::ptrdiff_t>(position - region->first));
        done += take;
        position += take;
    }
    return true;
}

} // namespace targetsim
