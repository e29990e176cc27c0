#ifndef TARNWICK_RTOS_LISTWALKBOUND_H
#define TARNWICK_RTOS_LISTWALKBOUND_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>

// Ends a walk over links read from the target, whatever the target holds: at a link seen before or after a
// number of steps. Crashed firmware, the normal case for our users, leaves lists whose links loop or whose
// counts are garbage; such a walk must cost bounded reads and memory, and show what it read up to the cut.
class ListWalkBound {
public:
    // The most links any walk takes, whatever count the kernel claims: real lists stay far below, and a
    // count of four billion over links that never repeat must still leave reads and memory bounded.
    static constexpr std::uint64_t kMaxLinks = 10000;

    // listName names the list in the warning; limit is the most links the walk may take, kMaxLinks if more.
    ListWalkBound(std::string newListName, std::uint64_t newLimit);

    // True if the walk may go on to link. False once link was seen before or limit links were taken; the
    // first false logs one warning naming the list.
    bool admit(unsigned int link);
    bool wasCut() const { return cut; }

    // Reads the item at link and gives the link that follows it; false ends the walk as a failure.
    using Step = std::function<bool(unsigned int link, unsigned int& next)>;
    // The walk every kernel list and ring shares: from first, each admitted link is stepped over, until a
    // null link, a link equal to end (a list's end marker, a ring's head) or the bound. False only when a
    // step fails.
    bool walk(unsigned int first, unsigned int end, const Step& step);

private:
    void warn(const char* reason, unsigned int link);

    std::string listName;
    std::uint64_t limit;
    std::set<unsigned int> seen;
    bool cut = false;
};

#endif
