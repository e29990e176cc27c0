#include "rtos/freertos/FreeRtosObjectView.h"

#include "base/StringUtil.h"

#include <cstddef>
#include <string>

namespace {

const std::string kAbsent = "N/A";

// What ucQueueType says of an item-less queue.
struct QueueKind {
    unsigned char type;
    const char* text;
};
const QueueKind kSemaphoreKinds[] = {
    {1, "Mutex"},
    {2, "Counting semaphore"},
    {3, "Binary semaphore"},
    {4, "Recursive mutex"},
};

std::string semaphoreKind(const std::optional<unsigned char>& type) {
    for (const QueueKind& kind : kSemaphoreKinds) {
        if (type && kind.type == *type) {
            return kind.text;
        }
    }
    return kAbsent;
}

std::string decimal(const std::optional<unsigned int>& value, const std::string& absent) {
    return value ? std::to_string(*value) : absent;
}

std::string hex8(const std::optional<unsigned int>& value) {
    return value ? StringUtil::to_string(*value, 16, 8) : kAbsent;
}

std::string choice(const std::optional<bool>& value, const char* yes, const char* no) {
    return value ? (*value ? yes : no) : kAbsent;
}

KernelInfoNode leaf(const std::string& value, const std::string& label) {
    return KernelInfoNode(0, value, label);
}

// One child of a queue's or a semaphore's node.
struct QueueColumn {
    const char* label;
    std::string (*text)(const FreeRtosQueue& queue);
};

std::string nameOf(const FreeRtosQueue& queue) {
    return queue.name.value_or(kAbsent);
}

std::string addressOf(const FreeRtosQueue& queue) {
    return hex8(queue.address);
}

std::string lengthOf(const FreeRtosQueue& queue) {
    return decimal(queue.length, "");
}

std::string waitingOf(const FreeRtosQueue& queue) {
    return decimal(queue.messagesWaiting, "");
}

std::string receiversOf(const FreeRtosQueue& queue) {
    return decimal(queue.waitingToReceive, "");
}

const QueueColumn kQueueColumns[] = {
    {"Name", nameOf},
    {"Address", addressOf},
    {"Length", lengthOf},
    {"Item size", [](const FreeRtosQueue& queue) { return std::to_string(queue.itemSize); }},
    {"Current length", waitingOf},
    {"Waiting TX", [](const FreeRtosQueue& queue) { return decimal(queue.waitingToSend, ""); }},
    {"Waiting RX", receiversOf},
};

// A semaphore is a queue without items: its length is its size, its messages what is free.
const QueueColumn kSemaphoreColumns[] = {
    {"Name", nameOf},
    {"Address", addressOf},
    {"Type", [](const FreeRtosQueue& queue) { return semaphoreKind(queue.queueType); }},
    {"Size", lengthOf},
    {"Free", waitingOf},
    {"Blocked tasks", receiversOf},
};

template <std::size_t N>
KernelInfoNode columnsNode(const char* label, const QueueColumn (&columns)[N], const FreeRtosQueue& queue) {
    KernelInfoNode entry(0, "", label);
    for (const QueueColumn& column : columns) {
        entry.addChild(leaf(column.text(queue), column.label));
    }
    return entry;
}

} // namespace

KernelInfoNode FreeRtosObjectView::queueNode(const FreeRtosQueue& queue) {
    return columnsNode("Queue", kQueueColumns, queue);
}

KernelInfoNode FreeRtosObjectView::semaphoreNode(const FreeRtosQueue& semaphore) {
    return columnsNode("Semaphore", kSemaphoreColumns, semaphore);
}

KernelInfoNode FreeRtosObjectView::timerNode(const FreeRtosTimer& timer) {
    KernelInfoNode node(0, "", "Timer");
    if (!timer.described) {
        return node;
    }
    node.addChild(leaf(timer.name.value_or(kAbsent), "Name"));
    node.addChild(leaf(choice(timer.active, "True", "False"), "Active"));
    node.addChild(leaf(decimal(timer.period, kAbsent), "Period"));
    node.addChild(leaf(choice(timer.autoReload, "Auto", "One-shot"), "Type"));
    node.addChild(leaf(hex8(timer.id), "Id"));
    node.addChild(leaf(hex8(timer.callback), "Callback"));
    return node;
}
