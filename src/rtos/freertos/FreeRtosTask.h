#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSTASK_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSTASK_H

#include "rtos/TaskRecord.h"

#include <optional>

// A FreeRTOS task as the walk read it. The plain walk fills what GDB's threads need; the extended one, for
// the monitor, the rest.
struct FreeRtosTask : TaskRecord {
    // What the kernel's lists and the task's event item say of it.
    enum class State { RUNNING, READY, BLOCKED, SUSPENDED, DELAYED };

    // Of the common stack figures, stackEnd is the stack's last word, stackSize the bytes between the two
    // ends when both are known and in order, and freeStack counts the whole stack with its size known, else
    // a probe of its first bytes. Set when the probe held nothing but the fill: the task has at least that
    // much left.
    bool freeStackAtLeast = false;
    std::optional<unsigned int> basePriority;
    std::optional<unsigned int> priority;
    // Per cent of the kernel's total run time.
    std::optional<double> runTimeShare;
    std::optional<State> state;
    // The list the task waits on, for a blocked task.
    std::optional<unsigned int> eventObject;
};

#endif
