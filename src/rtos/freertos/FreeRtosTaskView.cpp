#include "rtos/freertos/FreeRtosTaskView.h"

#include "base/StringUtil.h"

#include <iomanip>
#include <sstream>
#include <string>

const std::string FreeRtosTaskView::kAbsent = "N/A";

namespace {

// By FreeRtosTask::State.
const char* const kStateTexts[] = {"RUNNING", "READY", "BLOCKED", "SUSPENDED", "DELAYED"};

std::string hex8(unsigned int value) {
    return StringUtil::to_string(value, 16, 8);
}

std::string decimalOrEmpty(const std::optional<unsigned int>& value) {
    return value ? std::to_string(*value) : std::string();
}

std::string runTime(const std::optional<double>& share) {
    if (!share) {
        return FreeRtosTaskView::kAbsent;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << *share << "%";
    return text.str();
}

} // namespace

KernelInfoNode FreeRtosTaskView::taskNode(const FreeRtosTask& task, bool extended) {
    KernelInfoNode node(0, "", "Task");
    node.addChild(KernelInfoNode(TASK_CHILD_ACTIVE, task.active ? "1" : "0", "Active"));
    node.addChild(KernelInfoNode(TASK_CHILD_TASK_ID, hex8(task.id), "Task id"));
    node.addChild(KernelInfoNode(TASK_CHILD_NAME, task.name.value_or(kAbsent), "Name"));
    node.addChild(KernelInfoNode(TASK_CHILD_TOP_OF_STACK,
                                 task.stackPointer ? hex8(*task.stackPointer) : kAbsent, "Top of stack"));
    if (!extended) {
        return node;
    }
    if (task.stackStart) {
        node.addChild(KernelInfoNode(TASK_CHILD_START_OF_STACK, hex8(*task.stackStart), "Start of stack"));
    }
    if (task.stackEnd) {
        node.addChild(KernelInfoNode(TASK_CHILD_END_OF_STACK, hex8(*task.stackEnd), "End of stack"));
    }
    KernelInfoNode figure;
    if (stackFigure(task, figure)) {
        node.addChild(figure);
    }
    node.addChild(KernelInfoNode(TASK_CHILD_PRIORITY,
                                 decimalOrEmpty(task.basePriority) + "/" + decimalOrEmpty(task.priority),
                                 "Priority (Base/Actual)"));
    node.addChild(KernelInfoNode(TASK_CHILD_RUN_TIME, runTime(task.runTimeShare), "Run-time"));
    std::string state = task.state ? kStateTexts[static_cast<unsigned int>(*task.state)] : "";
    node.addChild(KernelInfoNode(TASK_CHILD_STATE, state, "State"));
    node.addChild(KernelInfoNode(TASK_CHILD_EVENT_OBJECT, task.eventObject ? hex8(*task.eventObject) : "",
                                 "Event object"));
    return node;
}

bool FreeRtosTaskView::stackFigure(const FreeRtosTask& task, KernelInfoNode& figure) {
    if (!task.freeStack) {
        return false;
    }
    if (task.stackSize) {
        figure = KernelInfoNode(TASK_CHILD_STACK_USAGE,
                                StringUtil::toStackUsage(*task.stackSize, *task.freeStack), "Stack usage");
        return true;
    }
    std::string text = (task.freeStackAtLeast ? ">" : "") + std::to_string(*task.freeStack) + "B";
    figure = KernelInfoNode(TASK_CHILD_MIN_FREE_STACK, text, "Min free stack");
    return true;
}

void FreeRtosTaskView::addTasks(const std::vector<FreeRtosTask>& tasks, bool extended, KernelInfoNode& node) {
    for (const FreeRtosTask& task : tasks) {
        node.addChild(taskNode(task, extended));
    }
}

KernelInfoNode FreeRtosTaskView::stackUsage(const std::vector<FreeRtosTask>& tasks) {
    KernelInfoNode usage;
    for (const FreeRtosTask& task : tasks) {
        KernelInfoNode figure(0, kAbsent, "");
        bool known = stackFigure(task, figure);
        if (&task == &tasks.front() && known) {
            usage.setLabel(figure.getLabel());
        }
        usage.addChild(KernelInfoNode(0, figure.getValue(), task.name.value_or(kAbsent)));
    }
    return usage;
}
