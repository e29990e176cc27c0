#ifndef TARNWICK_RSP_COALESCEDPREFETCH_H
#define TARNWICK_RSP_COALESCEDPREFETCH_H

#include <vector>

class RspClient;

// Spans of target memory about to be read one by one, fetched ahead into the stop's memory in few reads:
// spans that lie close together come with one read of the stretch that holds them, as long as one "m"
// carries it. A stretch the server refuses or answers short keeps nothing, and its spans are then read as
// they would have been without this.
class CoalescedPrefetch {
public:
    // Groups the spans of length bytes at starts (in any order, repeats allowed) so that in a group each
    // span begins at most gap bytes past the end of the one before and the whole group fits one read
    // piece of server; fetches each group of two spans or more. A lone span is left to its own read, which
    // would cost the same.
    static void fetch(RspClient& server, std::vector<unsigned int> starts, unsigned int length,
                      unsigned int gap);
};

#endif
