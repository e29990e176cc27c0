#ifndef TARNWICK_TARGET_TARGETTHREAD_H
#define TARNWICK_TARGET_TARGETTHREAD_H

#include "target/ThreadData.h"

#include <memory>
#include <string>
#include <utility>

// One thread of the target, whatever kernel it came from. Copies share the thread data.
class TargetThread {
public:
    TargetThread() = default;
    TargetThread(unsigned int newThreadId, unsigned int newStackPointer);
    TargetThread(unsigned int newThreadId, unsigned int newStackPointer, bool newCpuActive,
                 const std::string& newName);
    virtual ~TargetThread() = default;
    TargetThread(const TargetThread&) = default;
    TargetThread& operator=(const TargetThread&) = default;

    unsigned int getThreadId() const { return threadId; }
    unsigned int getStackPtr() const { return stackPointer; }
    // Always 0: nothing sets the core of a thread.
    unsigned int getCoreId() const { return coreId; }
    // Set for the thread whose registers are the core's own.
    bool getCpuActive() const { return cpuActive; }
    void setThreadId(unsigned int newThreadId) { threadId = newThreadId; }
    void setStackPointer(unsigned int newStackPointer) { stackPointer = newStackPointer; }
    void setCpuActive(bool newCpuActive) { cpuActive = newCpuActive; }
    void setName(const std::string& newName) { name = newName; }
    // The name, or the thread id in lower-case hexadecimal when the name is empty.
    std::string getName() const;
    // May be null.
    std::shared_ptr<ThreadData> getThreadData() const { return threadData; }
    void setThreadData(std::shared_ptr<ThreadData> newThreadData) { threadData = std::move(newThreadData); }

private:
    unsigned int threadId = 0;
    unsigned int coreId = 0;
    unsigned int stackPointer = 0;
    bool cpuActive = false;
    std::string name;
    std::shared_ptr<ThreadData> threadData;
};

#endif
