#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSQUEUE_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSQUEUE_H

#include <optional>
#include <string>

// A queue, semaphore or mutex of the queue registry as the walk read it: all three are queues to the
// kernel, the last two without items.
struct FreeRtosQueue {
    // The queue's handle, the address of its QueueDefinition.
    unsigned int address = 0;
    std::optional<std::string> name;
    unsigned int itemSize = 0;
    std::optional<unsigned int> length;
    std::optional<unsigned int> messagesWaiting;
    // ucQueueType, which tells the kinds of semaphore apart.
    std::optional<unsigned char> queueType;
    // Tasks on the waiting lists; absent for an empty list as for an unreadable one.
    std::optional<unsigned int> waitingToSend;
    std::optional<unsigned int> waitingToReceive;
};

#endif
