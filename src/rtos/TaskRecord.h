#ifndef TARNWICK_RTOS_TASKRECORD_H
#define TARNWICK_RTOS_TASKRECORD_H

#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <optional>
#include <string>
#include <vector>

// What every kernel's task walk tells of one task, before any of it is text. A value the walk could not
// read is absent; each rendering decides how an absent value shows.
struct TaskRecord {
    // The address of the task's control block.
    unsigned int id = 0;
    // The task whose registers are the core's own.
    bool active = false;
    std::optional<std::string> name;
    // Where the task's saved frame lies.
    std::optional<unsigned int> stackPointer;

    // The stack as the monitor shows it, from the detailed walk only: its lowest address, its end as the
    // kernel keeps it, its size in bytes, and the bytes of the stack fill counted from its start.
    std::optional<unsigned int> stackStart;
    std::optional<unsigned int> stackEnd;
    std::optional<unsigned int> stackSize;
    std::optional<unsigned int> freeStack;

    // GDB's thread of the task, named absentName when the name could not be read. False, thread untouched,
    // for a switched-out task without a stack pointer: its registers cannot be had, and that task alone
    // is left out of the thread list.
    bool toThread(const std::string& absentName, TargetThread& thread) const;

    // GDB's thread list of a walk: every record that can be a thread, a name that could not be read shown
    // as absentName.
    template <typename Record>
    static void addThreads(const std::vector<Record>& records, const std::string& absentName,
                           ThreadList& threads) {
        for (const TaskRecord& record : records) {
            TargetThread thread;
            if (record.toThread(absentName, thread)) {
                threads.addThread(thread);
            }
        }
    }
};

#endif
