#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSTASKVIEW_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSTASKVIEW_H

#include "rtos/KernelInfoNode.h"
#include "rtos/freertos/FreeRtosTask.h"

#include <string>
#include <vector>

// The monitor's renderings of FreeRTOS task records: "Task" nodes and the stack section. An unreadable name
// or figure shows as "N/A", an unreadable priority, state or stack end as nothing.
class FreeRtosTaskView {
public:
    // How a value that could not be read shows, in the monitor and as a thread's name.
    static const std::string kAbsent;

    // Ids of the children of a task node, by which tests find them.
    enum TaskChild : unsigned int {
        TASK_CHILD_NAME = 0,
        TASK_CHILD_TOP_OF_STACK = 1,
        TASK_CHILD_START_OF_STACK = 2,
        TASK_CHILD_END_OF_STACK = 3,
        TASK_CHILD_MIN_FREE_STACK = 4,
        TASK_CHILD_STACK_USAGE = 5,
        TASK_CHILD_ACTIVE = 7,
        TASK_CHILD_TASK_ID = 8,
        TASK_CHILD_PRIORITY = 10,
        TASK_CHILD_RUN_TIME = 11,
        TASK_CHILD_STATE = 12,
        TASK_CHILD_EVENT_OBJECT = 13
    };

    // The task's node: what a thread needs, and with extended what the extended walk read.
    static KernelInfoNode taskNode(const FreeRtosTask& task, bool extended);
    // One "Task" child of node per task.
    static void addTasks(const std::vector<FreeRtosTask>& tasks, bool extended, KernelInfoNode& node);
    // One node per task, its name as label and its stack figure as value, under the label of the first
    // task's kind of figure.
    static KernelInfoNode stackUsage(const std::vector<FreeRtosTask>& tasks);

private:
    // The stack figure's label and text; false if the task has none.
    static bool stackFigure(const FreeRtosTask& task, KernelInfoNode& figure);
};

#endif
