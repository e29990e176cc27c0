#ifndef TARNWICK_RTOS_THREADX_THREADXTHREAD_H
#define TARNWICK_RTOS_THREADX_THREADXTHREAD_H

#include "rtos/TaskRecord.h"

#include <optional>

// A ThreadX thread as the walk of the created list read it. The plain walk fills the common part; the
// detailed one, for the monitor, the rest.
struct ThreadxThread : TaskRecord {
    std::optional<unsigned int> priority;
    // tx_thread_state as the kernel keeps it.
    std::optional<unsigned int> state;
    std::optional<unsigned int> runCount;
    std::optional<unsigned int> stackStart;
    std::optional<unsigned int> stackEnd;
    std::optional<unsigned int> stackSize;
    // Bytes of the stack fill counted from the stack's start.
    std::optional<unsigned int> freeStack;
};

#endif
