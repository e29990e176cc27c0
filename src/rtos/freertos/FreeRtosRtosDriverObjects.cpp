// The kernel objects of FreeRtosRtosDriver other than tasks: queues and semaphores through the queue
// registry, software timers through the current timer list, and event groups one at a time.
#include "rtos/freertos/FreeRtosRtosDriver.h"

#include "app/Logger.h"
#include "app/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/freertos/FreeRtosKernelObject.h"

namespace {

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

std::string semaphoreKind(bool known, unsigned char type) {
    for (const QueueKind& kind : kSemaphoreKinds) {
        if (known && kind.type == type) {
            return kind.text;
        }
    }
    return "N/A";
}

// ucStatus bits of the newer timers.
constexpr unsigned char kTimerActive = 0x01;
constexpr unsigned char kTimerAutoReload = 0x04;

KernelInfoNode leaf(const std::string& value, const std::string& label) {
    return KernelInfoNode(0, value, label);
}

} // namespace

bool FreeRtosRtosDriver::resolveQueueRegistry(RspClient& server, unsigned int& address, unsigned int& size) {
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
    // Without it only the first slot can be trusted to exist.
    logger.log(Logger::LOG_WARNING, "resolveQueueRegistry", "Missing symbol: %s.\n", kRegistrySizeSymbol);
    size = 1;
    return true;
}

bool FreeRtosRtosDriver::resolveQueueRegistryItem(RspClient& server, StructInfo& item, unsigned int& name,
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

bool FreeRtosRtosDriver::collectFromQueueRegistry(RspClient& server, QueueRegistryType type,
                                                  KernelInfoNode& node) {
    unsigned int registry = 0;
    unsigned int size = 0;
    if (!resolveQueueRegistry(server, registry, size)) {
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
            !resolveQueueRegistryItem(server, item, name, handle)) {
            result = false;
            continue;
        }
        // A free slot is told by its name, not by its handle.
        if (name == 0) {
            continue;
        }
        // Here the name is a pointer into the target, unlike a task's.
        std::string text = "N/A";
        readString(server, name, kNameLength, text);
        FreeRtosKernelObject queue(server);
        unsigned int itemSize = 0;
        if (!queue.bind("QueueDefinition", handle) || !queue.readWord("uxItemSize", itemSize)) {
            result = false;
            continue;
        }
        QueueRegistryType kind = itemSize > 0 ? QUEUE_REGISTRY_QUEUE : QUEUE_REGISTRY_SEMAPHORE;
        if (kind != type) {
            continue;
        }
        std::string length = queue.decimal("uxLength", "");
        std::string messages = queue.decimal("uxMessagesWaiting", "");
        unsigned char queueType = 0;
        bool knownType = queue.readByte("ucQueueType", queueType);
        // Counted through the list head, so an empty list shows as an empty value and never as 0.
        std::string waitingToSend;
        std::string waitingToReceive;
        unsigned int list = 0;
        unsigned int count = 0;
        unsigned int first = 0;
        if (queue.memberAddress("xTasksWaitingToSend", list) && getListHead(server, list, count, first)) {
            waitingToSend = std::to_string(count);
        }
        if (queue.memberAddress("xTasksWaitingToReceive", list) && getListHead(server, list, count, first)) {
            waitingToReceive = std::to_string(count);
        }
        std::string address = StringUtil::to_string(handle, 16, 8);
        if (type == QUEUE_REGISTRY_QUEUE) {
            KernelInfoNode entry(0, "", "Queue");
            entry.addChild(leaf(text, "Name"));
            entry.addChild(leaf(address, "Address"));
            entry.addChild(leaf(length, "Length"));
            entry.addChild(leaf(std::to_string(itemSize), "Item size"));
            entry.addChild(leaf(messages, "Current length"));
            entry.addChild(leaf(waitingToSend, "Waiting TX"));
            entry.addChild(leaf(waitingToReceive, "Waiting RX"));
            node.addChild(entry);
        } else if (type == QUEUE_REGISTRY_SEMAPHORE) {
            KernelInfoNode entry(0, "", "Semaphore");
            entry.addChild(leaf(text, "Name"));
            entry.addChild(leaf(address, "Address"));
            entry.addChild(leaf(semaphoreKind(knownType, queueType), "Type"));
            entry.addChild(leaf(length, "Size"));
            entry.addChild(leaf(messages, "Free"));
            entry.addChild(leaf(waitingToReceive, "Blocked tasks"));
            node.addChild(entry);
        } else {
            result = false;
        }
    }
    return result;
}

bool FreeRtosRtosDriver::collectTimers(RspClient& server, KernelInfoNode& node) {
    Symbol symbol;
    unsigned int currentList = 0;
    if (!SymbolTable::getInstance().lookupSymbol("pxCurrentTimerList", symbol) ||
        !server.readMemory(symbol.getAddress32(), currentList)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "collectTimers",
                                  "Missing symbol: pxCurrentTimerList.\n");
        return false;
    }
    // The timer task has not set its lists up yet.
    if (currentList == 0) {
        return true;
    }
    return walkList(server, currentList, [&](unsigned int owner, unsigned int, unsigned int) {
        // A timer that cannot be described still shows, as an empty node.
        KernelInfoNode timer(0, "", "Timer");
        collectTimer(server, owner, timer);
        node.addChild(timer);
        return true;
    });
}

bool FreeRtosRtosDriver::collectTimer(RspClient& server, unsigned int address, KernelInfoNode& node) {
    FreeRtosKernelObject timer(server);
    if (!timer.bind("tmrTimerControl", address)) {
        return false;
    }
    std::string name = "N/A";
    unsigned int namePointer = 0;
    if (timer.readWord("pcTimerName", namePointer)) {
        readString(server, namePointer, kNameLength, name);
    }
    std::string period = timer.decimal("xTimerPeriodInTicks", "N/A");
    // Older kernels keep the reload flag as a word, newer ones status bits; a timer of the older kind on the
    // list is active by being there.
    std::string active = "N/A";
    std::string kind = "N/A";
    unsigned int autoReload = 0;
    unsigned char status = 0;
    if (timer.readWord("uxAutoReload", autoReload)) {
        kind = autoReload == 1 ? "Auto" : "One-shot";
        active = "True";
    } else if (timer.readByte("ucStatus", status)) {
        kind = (status & kTimerAutoReload) != 0 ? "Auto" : "One-shot";
        active = (status & kTimerActive) != 0 ? "True" : "False";
    }
    node.addChild(leaf(name, "Name"));
    node.addChild(leaf(active, "Active"));
    node.addChild(leaf(period, "Period"));
    node.addChild(leaf(kind, "Type"));
    node.addChild(leaf(timer.hex("pvTimerID", "N/A"), "Id"));
    node.addChild(leaf(timer.hex("pxCallbackFunction", "N/A"), "Callback"));
    return true;
}

bool FreeRtosRtosDriver::collectEventGroup(RspClient& server, unsigned int address, KernelInfoNode& node) {
    FreeRtosKernelObject group(server);
    if (!group.bind("EventGroupDef_t", address)) {
        return false;
    }
    std::string number = group.decimal("uxEventGroupNumber", "N/A");
    std::string value = group.decimal("uxEventBits", "N/A");
    std::string waiting;
    bool result = true;
    unsigned int list = 0;
    if (!group.memberAddress("xTasksWaitingForBits", list)) {
        waiting = "N/A";
    } else {
        result = walkList(server, list, [&](unsigned int owner, unsigned int index, unsigned int count) {
            FreeRtosKernelObject task(server);
            unsigned int nameAddress = 0;
            std::string name;
            if (!task.bind("tskTaskControlBlock", owner) || !task.memberAddress("pcTaskName", nameAddress) ||
                !readString(server, nameAddress, kNameLength, name)) {
                return false;
            }
            waiting += name;
            if (index + 1 < count) {
                waiting += ", ";
            }
            return true;
        });
    }
    if (!result) {
        waiting = "N/A";
    }
    // Unlike every other address of this driver, in decimal.
    node.addChild(leaf(std::to_string(address), "Address"));
    node.addChild(leaf(number, "Number"));
    node.addChild(leaf(value, "Value"));
    node.addChild(leaf(waiting, "Waiting tasks"));
    return result;
}
