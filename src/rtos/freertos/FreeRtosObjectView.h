#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSOBJECTVIEW_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSOBJECTVIEW_H

#include "rtos/KernelInfoNode.h"
#include "rtos/freertos/FreeRtosQueue.h"
#include "rtos/freertos/FreeRtosTimer.h"

#include <vector>

// The monitor's renderings of the FreeRTOS objects other than tasks.
class FreeRtosObjectView {
public:
    static KernelInfoNode queueNode(const FreeRtosQueue& queue);
    static KernelInfoNode semaphoreNode(const FreeRtosQueue& semaphore);
    // An undescribed timer is an empty node; unreadable values show as "N/A".
    static KernelInfoNode timerNode(const FreeRtosTimer& timer);
    // A section labelled label with one child per record, each rendered by render.
    template <typename Record>
    static KernelInfoNode section(const char* label, const std::vector<Record>& records,
                                  KernelInfoNode (*render)(const Record&)) {
        KernelInfoNode node(0, "", label);
        for (const Record& record : records) {
            node.addChild(render(record));
        }
        return node;
    }
};

#endif
