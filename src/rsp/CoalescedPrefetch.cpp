#include "rsp/CoalescedPrefetch.h"

#include "rsp/RspClient.h"

#include <algorithm>
#include <cstdint>

void CoalescedPrefetch::fetch(RspClient& server, std::vector<unsigned int> starts, unsigned int length,
                              unsigned int gap) {
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    const std::uint64_t piece = server.getReadPiece();
    auto group = starts.begin();
    while (group != starts.end()) {
        std::uint64_t end = std::uint64_t{*group} + length;
        auto next = group + 1;
        while (next != starts.end() && *next <= end + gap &&
               *next + std::uint64_t{length} - *group <= piece) {
            end = *next + std::uint64_t{length};
            ++next;
        }
        if (next - group > 1) {
            server.prefetchMemory(*group, static_cast<unsigned int>(end - *group));
        }
        group = next;
    }
}
