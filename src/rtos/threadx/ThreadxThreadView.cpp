#include "rtos/threadx/ThreadxThreadView.h"

#include "base/StringUtil.h"

#include <iterator>
#include <string>

namespace {

// Texts of tx_thread_state, by value as the kernel numbers them: the states of their own, then one per kind
// of object a suspended thread waits on, shown as "SUSPENDED (<kind>)".
const char* const kOwnStates[] = {"READY", "COMPLETED", "TERMINATED", "SUSPENDED", "SLEEP"};
const char* const kSuspensions[] = {"QUEUE",     "SEMAPHORE", "EVENT FLAG", "BLOCK MEMORY", "BYTE MEMORY",
                                    "IO DRIVER", "TX FILE",   "TCP/IP",     "MUTEX"};

// Empty for a value the kernel does not define.
std::string stateText(unsigned int state) {
    constexpr unsigned int kOwnCount = std::size(kOwnStates);
    if (state < kOwnCount) {
        return kOwnStates[state];
    }
    if (state - kOwnCount < std::size(kSuspensions)) {
        return std::string("SUSPENDED (") + kSuspensions[state - kOwnCount] + ")";
    }
    return std::string();
}

// Node ids of a thread, by which tests find its values.
constexpr unsigned int kNameId = 0;
constexpr unsigned int kActiveId = 1;
constexpr unsigned int kThreadIdId = 2;
constexpr unsigned int kStackPtrId = 3;
constexpr unsigned int kStackUsageId = 9;

enum class Format { DECIMAL, STATE, HEX8 };

// What only the "state" command shows of a thread, in the order of its nodes.
struct DetailField {
    unsigned int id;
    const char* label;
    std::optional<unsigned int> ThreadxThread::*field;
    Format format;
};
const DetailField kDetailFields[] = {
    {4, "Priority", &ThreadxThread::priority, Format::DECIMAL},
    {5, "State", &ThreadxThread::state, Format::STATE},
    {6, "Run count", &ThreadxThread::runCount, Format::DECIMAL},
    {7, "Stack start", &ThreadxThread::stackStart, Format::HEX8},
    {8, "Stack end", &ThreadxThread::stackEnd, Format::HEX8},
};

std::string text(Format format, const std::optional<unsigned int>& value) {
    if (!value) {
        return std::string();
    }
    switch (format) {
    case Format::DECIMAL:
        return std::to_string(*value);
    case Format::STATE:
        return stateText(*value);
    case Format::HEX8:
        return StringUtil::to_string(*value, 16, 8);
    }
    return std::string();
}

} // namespace

KernelInfoNode ThreadxThreadView::threadNode(const ThreadxThread& thread, bool detail) {
    KernelInfoNode node(0, "", "Thread");
    node.addChild(KernelInfoNode(kThreadIdId, StringUtil::to_string(thread.id, 16, 8), "Thread Id"));
    node.addChild(KernelInfoNode(kActiveId, thread.active ? "1" : "0", "Active"));
    node.addChild(KernelInfoNode(kNameId, thread.name.value_or(""), "Name"));
    node.addChild(KernelInfoNode(kStackPtrId, text(Format::HEX8, thread.stackPointer), "Stack Ptr"));
    if (!detail) {
        return node;
    }
    for (const DetailField& field : kDetailFields) {
        node.addChild(KernelInfoNode(field.id, text(field.format, thread.*field.field), field.label));
    }
    node.addChild(KernelInfoNode(kStackUsageId, usageText(thread), "Stack usage"));
    return node;
}

std::string ThreadxThreadView::usageText(const ThreadxThread& thread) {
    return thread.stackSize && thread.freeStack
               ? StringUtil::toStackUsage(*thread.stackSize, *thread.freeStack)
               : std::string();
}

void ThreadxThreadView::addTasks(const std::vector<ThreadxThread>& threads, bool detail,
                                 KernelInfoNode& node) {
    for (const ThreadxThread& thread : threads) {
        node.addChild(threadNode(thread, detail));
    }
}

KernelInfoNode ThreadxThreadView::stackUsage(const std::vector<ThreadxThread>& threads) {
    KernelInfoNode usage(0, "", "Stack usage");
    for (const ThreadxThread& thread : threads) {
        usage.addChild(KernelInfoNode(0, usageText(thread), thread.name.value_or("")));
    }
    return usage;
}
