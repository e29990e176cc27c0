#include "rtos/freertos/FreeRtosList.h"

#include "base/StringUtil.h"
#include "rsp/RspClient.h"
#include "rtos/ListWalkBound.h"
#include "rtos/freertos/FreeRtosKernelObject.h"

bool FreeRtosList::head(unsigned int& count, unsigned int& first) {
    FreeRtosKernelObject list(server);
    unsigned int items = 0;
    if (!list.bind("xLIST", address) || !list.readWord("uxNumberOfItems", items)) {
        return false;
    }
    count = items;
    if (count == 0) {
        return false;
    }
    unsigned int end = 0;
    FreeRtosKernelObject endMarker(server);
    return list.memberAddress("xListEnd", end) && bindEnd(endMarker, end) &&
           endMarker.readWord("pxNext", first);
}

bool FreeRtosList::bindEnd(FreeRtosKernelObject& endMarker, unsigned int endAddress) {
    // configUSE_MINI_LIST_ITEM 0 removes the mini item: the end marker is then a full list item.
    return endMarker.bind("xMINI_LIST_ITEM", endAddress) || endMarker.bind("xLIST_ITEM", endAddress);
}

bool FreeRtosList::walk(const Visitor& visit, const OwnerLayout& owner) {
    unsigned int count = 0;
    unsigned int first = 0;
    if (!head(count, first)) {
        return true;
    }
    // The end marker closes a whole list; a corrupt one is cut at a link seen before or past its count.
    FreeRtosKernelObject list(server);
    unsigned int end = 0;
    if (!list.bind("xLIST", address) || !list.memberAddress("xListEnd", end)) {
        return false;
    }
    ListWalkBound bound("the list at " + StringUtil::to_string(address, 16, 8), count);
    OwnerLayout layout = owner;
    return bound.walk(first, end, [&](unsigned int item, unsigned int& next) {
        // The item lies inside its owner: one read brings both. Should the owner not be where the item
        // says, that read is merely wasted, for the item is read from the same memory either way; the
        // owner's own address then tells where the items of this list lie in theirs.
        if (layout.size != 0 && item >= layout.itemOffset) {
            server.prefetchMemory(item - layout.itemOffset, layout.size);
        }
        FreeRtosKernelObject listItem(server);
        unsigned int ownerAddress = 0;
        if (!listItem.bind("xLIST_ITEM", item) || !listItem.readWord("pvOwner", ownerAddress) ||
            !listItem.readWord("pxNext", next) || !visit(ownerAddress)) {
            return false;
        }
        if (layout.size != 0 && ownerAddress <= item && item - ownerAddress < layout.size) {
            layout.itemOffset = item - ownerAddress;
        }
        return true;
    });
}
