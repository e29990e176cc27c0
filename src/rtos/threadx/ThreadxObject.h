#ifndef TARNWICK_RTOS_THREADX_THREADXOBJECT_H
#define TARNWICK_RTOS_THREADX_THREADXOBJECT_H

#include "rtos/threadx/ThreadxObjectKinds.h"

#include <optional>
#include <string>
#include <vector>

// A created object of one of ThreadX's kinds as the walk of its list read it: one value per field its
// kind shows, what the field's kind reads filled in and anything unreadable absent.
struct ThreadxObject {
    struct Value {
        const ThreadxObjectKinds::Field* field = nullptr;
        // The member's word; for a timer's ticks left, the ticks.
        std::optional<unsigned int> word;
        // The object's own name or, for an owner, the owning thread's.
        std::optional<std::string> name;
        // The names of the threads on a suspension list.
        std::optional<std::vector<std::string>> suspended;
    };

    ThreadxObjectKinds::Kind kind = ThreadxObjectKinds::SEMAPHORES;
    unsigned int address = 0;
    // A field of the embedded timer record is left out when that record could not be bound.
    std::vector<Value> values;
};

#endif
