#ifndef TARNWICK_RTOS_THREADX_THREADXTHREAD_H
#define TARNWICK_RTOS_THREADX_THREADXTHREAD_H

#include "rtos/TaskRecord.h"

#include <optional>

// A ThreadX thread as the walk of the created list read it. The plain walk fills what GDB's threads need;
// the detailed one, for the monitor, the rest.
struct ThreadxThread : TaskRecord {
    std::optional<unsigned int> priority;
    // tx_thread_state as the kernel keeps it.
    std::optional<unsigned int> state;
    std::optional<unsigned int> runCount;
};

#endif
