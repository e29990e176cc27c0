#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSQUEUEREGISTRY_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSQUEUEREGISTRY_H

#include "rtos/freertos/FreeRtosQueue.h"

#include <cstdint>
#include <vector>

class FreeRtosKernelObject;
class RspClient;
class StructInfo;

// Queues and semaphores, found through the registry the program filled in: the kernel keeps no list of
// them, and only a registered one can be shown.
class FreeRtosQueueRegistry {
public:
    // What a walk of the registry lists: queues carry items, semaphores and mutexes do not.
    enum Kind : std::uint32_t { QUEUE_REGISTRY_QUEUE = 0, QUEUE_REGISTRY_SEMAPHORE = 1 };
    // The symbol of the registry's size: asked for with the others, and read by the registry walk.
    static constexpr const char* kRegistrySizeSymbol = "xQueueRegistrySize";

    // One record per registered queue of the kind. A slot that cannot be read makes the walk false, and
    // the walk goes on to the next; records found stay.
    static bool read(RspClient& server, Kind kind, std::vector<FreeRtosQueue>& queues);
    // The registry's address and its number of slots (1 when the kernel does not tell).
    static bool resolveRegistry(RspClient& server, unsigned int& address, unsigned int& size);
    // The name pointer and handle of the slot whose layout item has been bound to; untouched on failure.
    static bool resolveItem(RspClient& server, StructInfo& item, unsigned int& name, unsigned int& handle);

private:
    // What the registry shows of a queue of the wanted kind, beyond its item size.
    static void readQueue(RspClient& server, FreeRtosKernelObject& object, FreeRtosQueue& queue);
};

#endif
