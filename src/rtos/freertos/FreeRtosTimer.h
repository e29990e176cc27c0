#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSTIMER_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSTIMER_H

#include <optional>
#include <string>

// A software timer as the walk of the timer lists read it.
struct FreeRtosTimer {
    unsigned int address = 0;
    // False when the timer's layout is unknown: nothing else of it is known either.
    bool described = false;
    std::optional<std::string> name;
    std::optional<bool> active;
    std::optional<unsigned int> period;
    std::optional<bool> autoReload;
    std::optional<unsigned int> id;
    std::optional<unsigned int> callback;
};

#endif
