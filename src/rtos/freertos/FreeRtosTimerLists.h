#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSTIMERLISTS_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSTIMERLISTS_H

#include "rtos/freertos/FreeRtosTimer.h"

#include <vector>

class RspClient;

// The software timers, found on the timer task's current list and, due after the tick count wraps, its
// overflow list.
class FreeRtosTimerLists {
public:
    // One record per timer on the lists; false if the current list is unknown or a link cannot be read.
    static bool read(RspClient& server, std::vector<FreeRtosTimer>& timers);
    // The timer at address; false, with only its address set, if the layout is unknown.
    static bool readTimer(RspClient& server, unsigned int address, FreeRtosTimer& timer);
};

#endif
