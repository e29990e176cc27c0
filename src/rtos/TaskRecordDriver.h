#ifndef TARNWICK_RTOS_TASKRECORDDRIVER_H
#define TARNWICK_RTOS_TASKRECORDDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/TaskRecord.h"
#include "target/ThreadList.h"

#include <utility>
#include <vector>

// A driver whose kernel walk gives records of type Record, which View renders as monitor nodes: GDB's
// threads and the "state" tree's task sections are made of that walk the same way for every kernel.
template <typename Record, typename View> class TaskRecordDriver : public AbstractRtosDriver {
public:
    TaskRecordDriver(const RtosDriverInfo& newInfo, Names newNames)
        : AbstractRtosDriver(newInfo, std::move(newNames)) {}

    // On false the list is empty: the caller never sees part of a snapshot. A switched-out task whose
    // stack pointer cannot be read is left out alone.
    bool getThreads(RspClient& server, ThreadList& threads) override {
        threads.clear();
        std::vector<Record> records;
        if (!walk(server, false, records)) {
            return false;
        }
        TaskRecord::addThreads(records, getNames().absentName, threads);
        return true;
    }

protected:
    // The kernel's tasks as records, everything the monitor shows with detailed; false on a failed walk.
    virtual bool walk(RspClient& server, bool detailed, std::vector<Record>& records) = 0;
    // The sections of the kernel's other objects, after the tasks.
    virtual void addObjectSections(RspClient& server, KernelInfoNode& out) = 0;

    void addStateSections(RspClient& server, KernelInfoNode& out) override {
        // The walk runs whatever the kernel state is: tasks exist before the scheduler starts.
        std::vector<Record> records;
        if (walk(server, true, records)) {
            if (!records.empty()) {
                out.addChild(View::stackUsage(records));
            }
            KernelInfoNode list(0, "", getNames().taskList);
            View::addTasks(records, true, list);
            out.addChild(list);
        }
        addObjectSections(server, out);
    }
};

#endif
