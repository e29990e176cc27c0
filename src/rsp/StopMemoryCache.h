#ifndef TARNWICK_RSP_STOPMEMORYCACHE_H
#define TARNWICK_RSP_STOPMEMORYCACHE_H

#include <map>
#include <vector>

// Target memory as read during one stop. While the target stands still its memory cannot change behind
// the proxy's back, so a byte read once answers every later read of it; whatever may run the target or
// write its memory must clear() this before tarnwick reads again.
class StopMemoryCache {
public:
    StopMemoryCache() = default;
    virtual ~StopMemoryCache() = default;

    // Fills data with [address, address + length) if one stored block holds all of it.
    bool lookup(unsigned int address, unsigned int length, std::vector<unsigned char>& data) const;
    bool covers(unsigned int address, unsigned int length) const;
    // Keeps bytes read at address.
    void store(unsigned int address, const std::vector<unsigned char>& data);
    void clear();
    bool isEmpty() const { return blocks.empty(); }

private:
    // The block at or below address that holds [address, address + length), or blocks.end().
    std::map<unsigned int, std::vector<unsigned char>>::const_iterator find(unsigned int address,
                                                                            unsigned int length) const;

    std::map<unsigned int, std::vector<unsigned char>> blocks;
    // No block starts further below an address than this and still reaches it.
    std::size_t longestBlock = 0;
};

#endif
