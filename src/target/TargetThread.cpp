#include "target/TargetThread.h"

#include <sstream>

TargetThread::TargetThread(unsigned int newThreadId, unsigned int newStackPointer)
    : threadId(newThreadId), stackPointer(newStackPointer) {}

TargetThread::TargetThread(unsigned int newThreadId, unsigned int newStackPointer, bool newCpuActive,
                           const std::string& newName)
    : threadId(newThreadId), stackPointer(newStackPointer), cpuActive(newCpuActive), name(newName) {}

std::string TargetThread::getName() const {
    if (name.empty()) {
        std::ostringstream text;
        text << std::hex << threadId;
        return text.str();
    }
    return name;
}
