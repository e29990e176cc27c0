#include "rsp/StopMemoryCache.h"

#include <cstdint>

std::map<unsigned int, std::vector<unsigned char>>::const_iterator
StopMemoryCache::find(unsigned int address, unsigned int length) const {
    const std::uint64_t end = static_cast<std::uint64_t>(address) + length;
    auto above = blocks.upper_bound(address);
    while (above != blocks.begin()) {
        --above;
        if (address - above->first >= longestBlock) {
            break;
        }
        if (above->first + static_cast<std::uint64_t>(above->second.size()) >= end) {
            return above;
        }
    }
    return blocks.end();
}

bool StopMemoryCache::lookup(unsigned int address, unsigned int length,
                             std::vector<unsigned char>& data) const {
    auto block = find(address, length);
    if (block == blocks.end()) {
        return false;
    }
    auto first = block->second.begin() + static_cast<std::ptrdiff_t>(address - block->first);
    data.assign(first, first + static_cast<std::ptrdiff_t>(length));
    return true;
}

bool StopMemoryCache::covers(unsigned int address, unsigned int length) const {
    return find(address, length) != blocks.end();
}

void StopMemoryCache::store(unsigned int address, const std::vector<unsigned char>& data) {
    if (data.empty() || covers(address, static_cast<unsigned int>(data.size()))) {
        return;
    }
    std::vector<unsigned char>& block = blocks[address];
    if (block.size() < data.size()) {
        block = data;
    }
    if (data.size() > longestBlock) {
        longestBlock = data.size();
    }
}

void StopMemoryCache::clear() {
    blocks.clear();
    longestBlock = 0;
}
