#include "rtos/freertos/FreeRtosQueueRegistry.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/CachedArrayLength.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "rtos/freertos/FreeRtosList.h"

#include <utility>

namespace {

// The number of tasks on the list; absent for an empty list, so that it shows as an empty value and never as
// 0.
std::optional<unsigned int> waitingTasks(RspClient& server, FreeRtosKernelObject& queue, const char* member) {
    unsigned int list = 0;
    unsigned int count = 0;
    unsigned int first = 0;
    if (queue.memberAddress(member, list) && FreeRtosList(server, list).head(count, first)) {
        return count;
    }
    return std::nullopt;
}

} // namespace

bool FreeRtosQueueRegistry::resolveRegistry(RspClient& server, unsigned int& address, unsigned int& size) {
    Logger& logger = Logger::getInstance();
    SymbolTable& table = SymbolTable::getInstance();
    Symbol registry;
    if (!table.lookupSymbol("xQueueRegistry", registry)) {
        logger.log(Logger::LOG_WARNING, "resolveQueueRegistry", "Missing symbol: xQueueRegistry.\n");
        return false;
    }
    address = registry.getAddress32();
    Symbol registrySize;
    if (table.lookupSymbol(kRegistrySizeSymbol, registrySize)) {
        return server.readMemory(registrySize.getAddress32(), size);
    }
    if (CachedArrayLength::of("xQueueRegistry", size)) {
        logger.log(Logger::LOG_WARNING, "resolveQueueRegistry",
                   "Missing symbol: %s. Size %u from the array length of xQueueRegistry.\n",
                   kRegistrySizeSymbol, size);
        return true;
    }
    // Without either only the first slot can be trusted to exist.
    logger.log(Logger::LOG_WARNING, "resolveQueueRegistry", "Missing symbol: %s.\n", kRegistrySizeSymbol);
    size = 1;
    return true;
}

bool FreeRtosQueueRegistry::resolveItem(RspClient& server, StructInfo& item, unsigned int& name,
                                        unsigned int& handle) {
    MemberInfo queueName;
    MemberInfo queueHandle;
    if (!item.lookup("pcQueueName", queueName) ||
        !server.readMemory(queueName.getAddress(), 4, queueName.getData()) ||
        !item.lookup("xHandle", queueHandle) ||
        !server.readMemory(queueHandle.getAddress(), 4, queueHandle.getData())) {
        return false;
    }
    name = queueName.getDataUINT32();
    handle = queueHandle.getDataUINT32();
    return true;
}

bool FreeRtosQueueRegistry::read(RspClient& server, Kind kind, std::vector<FreeRtosQueue>& queues) {
    unsigned int registry = 0;
    unsigned int size = 0;
    if (!resolveRegistry(server, registry, size)) {
        return false;
    }
    bool result = true;
    // Filled at the first slot; its size steps to the next ones.
    StructInfo item;
    for (unsigned int index = 0; index < size && result; ++index) {
        unsigned int slot = registry + index * item.getSize();
        unsigned int name = 0;
        unsigned int handle = 0;
        if (!SymbolTable::resolveDataStructure("QUEUE_REGISTRY_ITEM", slot, item) ||
            !resolveItem(server, item, name, handle)) {
            result = false;
            continue;
        }
        // A free slot is told by its name, not by its handle.
        if (name == 0) {
            continue;
        }
        FreeRtosQueue queue;
        FreeRtosKernelObject object(server);
        // Here the name is a pointer into the target, unlike a task's.
        queue.name = object.readName(name);
        queue.address = handle;
        if (!object.bind("QueueDefinition", handle) || !object.readWord("uxItemSize", queue.itemSize)) {
            result = false;
            continue;
        }
        if ((queue.itemSize > 0 ? QUEUE_REGISTRY_QUEUE : QUEUE_REGISTRY_SEMAPHORE) == kind) {
            readQueue(server, object, queue);
            queues.push_back(std::move(queue));
        }
    }
    return result;
}

void FreeRtosQueueRegistry::readQueue(RspClient& server, FreeRtosKernelObject& object, FreeRtosQueue& queue) {
    queue.length = object.word("uxLength");
    queue.messagesWaiting = object.word("uxMessagesWaiting");
    unsigned char type = 0;
    if (object.readByte("ucQueueType", type)) {
        queue.queueType = type;
    }
    queue.waitingToSend = waitingTasks(server, object, "xTasksWaitingToSend");
    queue.waitingToReceive = waitingTasks(server, object, "xTasksWaitingToReceive");
}
