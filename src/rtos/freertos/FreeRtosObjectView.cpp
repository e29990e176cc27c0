#include "rtos/freertos/FreeRtosObjectView.h"

#include "base/StringUtil.h"

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

} // namespace

KernelInfoNode FreeRtosObjectView::queueNode(const FreeRtosQueue& queue) {
    KernelInfoNode entry(0, "", "Queue");
    entry.addChild(leaf(queue.name.value_or(kAbsent), "Name"));
    entry.addChild(leaf(hex8(queue.address), "Address"));
    entry.addChild(leaf(decimal(queue.length, ""), "Length"));
    entry.addChild(leaf(std::to_string(queue.itemSize), "Item size"));
    entry.addChild(leaf(decimal(queue.messagesWaiting, ""), "Current length"));
    entry.addChild(leaf(decimal(queue.waitingToSend, ""), "Waiting TX"));
    entry.addChild(leaf(decimal(queue.waitingToReceive, ""), "Waiting RX"));
    return entry;
}

KernelInfoNode FreeRtosObjectView::semaphoreNode(const FreeRtosQueue& semaphore) {
    KernelInfoNode entry(0, "", "Semaphore");
    entry.addChild(leaf(semaphore.name.value_or(kAbsent), "Name"));
    entry.addChild(leaf(hex8(semaphore.address), "Address"));
    entry.addChild(leaf(semaphoreKind(semaphore.queueType), "Type"));
    entry.addChild(leaf(decimal(semaphore.length, ""), "Size"));
    entry.addChild(leaf(decimal(semaphore.messagesWaiting, ""), "Free"));
    entry.addChild(leaf(decimal(semaphore.waitingToReceive, ""), "Blocked tasks"));
    return entry;
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
