#ifndef TARNWICK_RTOS_THREADX_THREADXTHREADVIEW_H
#define TARNWICK_RTOS_THREADX_THREADXTHREADVIEW_H

#include "rtos/KernelInfoNode.h"
#include "rtos/threadx/ThreadxThread.h"

#include <vector>

// The monitor's renderings of ThreadX thread records: "Thread" nodes and the stack section. A value that
// could not be read shows as nothing.
class ThreadxThreadView {
public:
    // The thread's node: what a thread needs, and with detail what the detailed walk read.
    static KernelInfoNode threadNode(const ThreadxThread& thread, bool detail);
    // One "Thread" child of node per thread.
    static void addTasks(const std::vector<ThreadxThread>& threads, bool detail, KernelInfoNode& node);
    // One child per thread: its name as label, its stack use as value.
    static KernelInfoNode stackUsage(const std::vector<ThreadxThread>& threads);

private:
    static std::string usageText(const ThreadxThread& thread);
};

#endif
