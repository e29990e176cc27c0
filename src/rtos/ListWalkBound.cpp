#include "rtos/ListWalkBound.h"

#include "base/Logger.h"

#include <algorithm>
#include <utility>

ListWalkBound::ListWalkBound(std::string newListName, std::uint64_t newLimit)
    : listName(std::move(newListName)), limit(std::min(newLimit, kMaxLinks)) {}

bool ListWalkBound::admit(unsigned int link) {
    if (cut) {
        return false;
    }
    if (seen.size() >= limit) {
        warn("more links than the list can hold", link);
        return false;
    }
    if (!seen.insert(link).second) {
        warn("a link seen before", link);
        return false;
    }
    return true;
}

bool ListWalkBound::walk(unsigned int first, unsigned int end, const Step& step) {
    unsigned int link = first;
    while (link != 0 && link != end && admit(link)) {
        unsigned int next = 0;
        if (!step(link, next)) {
            return false;
        }
        link = next;
    }
    return true;
}

void ListWalkBound::warn(const char* reason, unsigned int link) {
    cut = true;
    Logger::getInstance().log(Logger::LOG_WARNING, "admit", "Walk of %s cut short at 0x%08x: %s.\n",
                              listName.c_str(), link, reason);
}
