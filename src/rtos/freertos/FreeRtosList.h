#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSLIST_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSLIST_H

#include <functional>

class FreeRtosKernelObject;
class RspClient;

// A kernel list (xLIST) in target memory: its head, and the walk over its items that task lists, timer lists
// and queues' waiting lists share.
class FreeRtosList {
public:
    // Called with each item's owner; false ends the walk as a failure.
    using Visitor = std::function<bool(unsigned int owner)>;
    // Where a list's items lie in the structure that owns them; a size of 0 when that is not known.
    struct OwnerLayout {
        unsigned int itemOffset;
        unsigned int size;
    };

    FreeRtosList(RspClient& newServer, unsigned int newAddress) : server(newServer), address(newAddress) {}

    // The number of items and the first item. False for an empty list (count 0) as for a failed read
    // (count untouched).
    bool head(unsigned int& count, unsigned int& first);
    // Up to the end marker, a null link, a link seen before or the count read once, whichever comes first.
    // An empty or unreadable list is a success without items. With owner known, each item's owner is
    // fetched whole before the item is read.
    bool walk(const Visitor& visit, const OwnerLayout& owner = {0, 0});

private:
    // The list's end marker, a mini item or, in kernels built without those, a full one.
    static bool bindEnd(FreeRtosKernelObject& endMarker, unsigned int endAddress);

    RspClient& server;
    unsigned int address;
};

#endif
