#include "rtos/threadx/ThreadxRtosDriver.h"
#include "base/NumberCodec.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "base/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/ListWalkBound.h"
#include "rtos/RtosInfo.h"
#include "rtos/threadx/ThreadxObjectCollector.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxReader.h"
#include "rtos/threadx/ThreadxTimerTicks.h"
#include "target/TargetThread.h"
#include "target/ThreadList.h"

#include <iterator>
#include <stdexcept>

namespace {

const std::string kDriverName = "ThreadX";
const std::string kCommandWord = "state";
const std::string kVariantOption = "--rtos_variant";

const std::string kSystemState = "_tx_thread_system_state";
const std::string kCurrentThread = "_tx_thread_current_ptr";
const std::string kCreatedThreads = "_tx_thread_created_ptr";
const std::string kCreatedThreadCount = "_tx_thread_created_count";
const std::string kThreadStruct = "TX_THREAD_STRUCT";

const std::vector<std::string> kSymbols = {
    "_tx_thread_current_ptr",        "_tx_thread_created_ptr",       "_tx_thread_system_state",
    "_tx_semaphore_created_ptr",     "_tx_mutex_created_ptr",        "_tx_timer_created_ptr",
    "_tx_queue_created_ptr",         "_tx_event_flags_created_ptr",  "_tx_block_pool_created_ptr",
    "_tx_byte_pool_created_ptr",     "_tx_thread_created_count",     "_tx_semaphore_created_count",
    "_tx_mutex_created_count",       "_tx_timer_created_count",      "_tx_queue_created_count",
    "_tx_event_flags_created_count", "_tx_block_pool_created_count", "_tx_byte_pool_created_count"};

const std::vector<std::string> kStructures = {
    "TX_THREAD_STRUCT",         "TX_MUTEX_STRUCT", "TX_SEMAPHORE_STRUCT",         "TX_TIMER_STRUCT",
    "TX_TIMER_INTERNAL_STRUCT", "TX_QUEUE_STRUCT", "TX_EVENT_FLAGS_GROUP_STRUCT", "TX_BYTE_POOL_STRUCT",
    "TX_BLOCK_POOL_STRUCT"};

// Texts of tx_thread_state, by value.
const std::vector<std::string> kThreadStates = {"READY",
                                                "COMPLETED",
                                                "TERMINATED",
                                                "SUSPENDED",
                                                "SLEEP",
                                                "SUSPENDED (QUEUE)",
                                                "SUSPENDED (SEMAPHORE)",
                                                "SUSPENDED (EVENT FLAG)",
                                                "SUSPENDED (BLOCK MEMORY)",
                                                "SUSPENDED (BYTE MEMORY)",
                                                "SUSPENDED (IO DRIVER)",
                                                "SUSPENDED (TX FILE)",
                                                "SUSPENDED (TCP/IP)",
                                                "SUSPENDED (MUTEX)"};

RtosInfo catalogue(kDriverName, {RtosCommand(kCommandWord, "Displays RTOS state", {{"", ""}})});

// Kernel markers in _tx_thread_system_state while the kernel is being set up.
constexpr unsigned int kInitializing = 0xf0f0f0f0;
constexpr unsigned int kInitialized = 0xf0f0f0f1;
constexpr unsigned int kStackFill = 0xef;
constexpr unsigned int kObjectNameLength = 20;

// Node ids of a thread, by which infoNodeToThread and collectStackUsage find its values.
constexpr unsigned int kNameId = 0;
constexpr unsigned int kActiveId = 1;
constexpr unsigned int kThreadIdId = 2;
constexpr unsigned int kStackPtrId = 3;
constexpr unsigned int kStackStartId = 7;
constexpr unsigned int kStackUsageId = 9;

enum class DetailFormat { DECIMAL, STATE, HEX8 };

struct DetailMember {
    unsigned int id;
    const char* label;
    const char* member;
    DetailFormat format;
};

// What only the "state" command shows of a thread, in the order of its nodes.
const DetailMember kDetailMembers[] = {
    {4, "Priority", "tx_thread_priority", DetailFormat::DECIMAL},
    {5, "State", "tx_thread_state", DetailFormat::STATE},
    {6, "Run count", "tx_thread_run_count", DetailFormat::DECIMAL},
    {kStackStartId, "Stack start", "tx_thread_stack_start", DetailFormat::HEX8},
    {8, "Stack end", "tx_thread_stack_end", DetailFormat::HEX8},
};

std::string formatDetail(DetailFormat format, unsigned int value) {
    switch (format) {
    case DetailFormat::DECIMAL:
        return std::to_string(value);
    case DetailFormat::STATE:
        return value < kThreadStates.size() ? kThreadStates[value] : std::string();
    case DetailFormat::HEX8:
        return StringUtil::to_string(value, 16, 8);
    }
    return std::string();
}

struct Section {
    const char* label;
    bool (ThreadxRtosDriver::*collect)(RspClient&, KernelInfoNode&);
};

// The kernel's objects in the order "state" shows them.
const Section kSections[] = {
    {"Semaphores", &ThreadxRtosDriver::collectSemaphores},
    {"Mutexes", &ThreadxRtosDriver::collectMutexes},
    {"Timers", &ThreadxRtosDriver::collectTimers},
    {"Message Queues", &ThreadxRtosDriver::collectQueues},
    {"Event Flags", &ThreadxRtosDriver::collectEventFlags},
    {"Memory Block Pools", &ThreadxRtosDriver::collectBlockPools},
    {"Memory Byte Pools", &ThreadxRtosDriver::collectBytePools},
};

Logger& logger() {
    return Logger::getInstance();
}

bool variantOption(std::string& value) {
    return Properties::getInstance().getProperty(kVariantOption, value);
}

} // namespace

ThreadxRtosDriver::ThreadxRtosDriver(const RtosDriverInfo& newInfo) : AbstractRtosDriver(newInfo) {}

ThreadxRtosDriver::~ThreadxRtosDriver() = default;

std::uint64_t ThreadxRtosDriver::ringLimit(bool counted, unsigned int count) {
    return counted ? std::uint64_t{count} + kCountMargin : ListWalkBound::kMaxLinks;
}

bool ThreadxRtosDriver::init() {
    std::string variant;
    if (port || !variantOption(variant)) {
        return true;
    }
    port.reset(ThreadxPortFactory::create(variant));
    if (!port) {
        logger().log(Logger::LOG_ERROR, "init", "Unsupported port driver: %s\n", variant.c_str());
        return false;
    }
    logger().log(Logger::LOG_DEBUG, "init", "Port driver loaded: %s\n", variant.c_str());
    return true;
}

bool ThreadxRtosDriver::init(RspClient& server) {
    std::string variant;
    // The option wins over what the core says of itself.
    if (variantOption(variant)) {
        return true;
    }
    port.reset(ThreadxPortFactory::create(server));
    if (!port) {
        logger().log(Logger::LOG_ERROR, "init", "Failure auto-detecting rtos variant. Option: %s required.\n",
                     kVariantOption.c_str());
        return false;
    }
    logger().log(Logger::LOG_DEBUG, "init", "Port driver loaded (auto)\n");
    return true;
}

void ThreadxRtosDriver::getSymbols(std::vector<std::string>& symbols) {
    symbols = kSymbols;
    // The timer wheel's, so that a timer's ticks left are the kernel's count.
    symbols.insert(symbols.end(), std::begin(ThreadxTimerTicks::kWheelSymbols),
                   std::end(ThreadxTimerTicks::kWheelSymbols));
}

void ThreadxRtosDriver::getDataStructures(std::vector<std::string>& structures) {
    structures = kStructures;
}

RtosInfo* ThreadxRtosDriver::getInfo() {
    return &catalogue;
}

bool ThreadxRtosDriver::checkKernelRunning(RspClient& server, bool& running) {
    Symbol symbol;
    if (!SymbolTable::getInstance().lookupSymbol(kSystemState, symbol)) {
        logger().log(Logger::LOG_ERROR, "checkKernelRunning", "Symbol not found: %s\n", kSystemState.c_str());
        return false;
    }
    std::vector<unsigned char> data;
    if (!server.readMemory(symbol.getAddress(), 4, data)) {
        logger().log(Logger::LOG_ERROR, "checkKernelRunning", "Failed reading %s\n", kSystemState.c_str());
        return false;
    }
    // Any other value, an interrupt nesting count or 0, means the scheduler has taken over.
    unsigned int state = NumberCodec::toUINT32(data.data());
    running = state != kInitializing && state != kInitialized;
    logger().log(Logger::LOG_DEBUG, "checkKernelRunning", "Kernel is running: %s\n",
                 running ? "true" : "false");
    return true;
}

bool ThreadxRtosDriver::findActiveThreadId(RspClient& server, unsigned int& id) {
    return ThreadxReader::readSymbol(server, kCurrentThread, id);
}

bool ThreadxRtosDriver::getActiveThread(RspClient& server, TargetThread& thread) {
    unsigned int id = 0;
    // No current thread: the scheduler waits for one, and the walk shows the core itself.
    if (!findActiveThreadId(server, id) || id == 0) {
        return false;
    }
    thread.setThreadId(id);
    thread.setCpuActive(true);
    return true;
}

bool ThreadxRtosDriver::getThreads(RspClient& server, ThreadList& threads) {
    threads.clear();
    KernelInfoNode root;
    bool result = readThreads(server, false, root);
    for (KernelInfoNode& child : root.getChildNodes()) {
        if (!result) {
            break;
        }
        TargetThread thread;
        result = infoNodeToThread(child, thread);
        if (result) {
            threads.addThread(thread);
        }
    }
    // The caller never sees part of a snapshot.
    if (!result) {
        threads.clear();
    }
    return result;
}

bool ThreadxRtosDriver::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    return port && port->getRegisters(server, thread, registers);
}

bool ThreadxRtosDriver::runCommand(RspClient& server, const std::vector<std::string>& words,
                                   KernelInfoNode& out) {
    if (words.empty() || words[0] != kCommandWord) {
        return false;
    }
    out.addChild(KernelInfoNode(0, kDriverName, "Driver"));

    bool running = false;
    std::string kernelState = "No kernel found";
    if (checkKernelRunning(server, running)) {
        kernelState = running ? "Started" : "Not started";
    }
    out.addChild(KernelInfoNode(0, kernelState, "Kernel state"));

    // The walks run whatever the kernel state is: threads exist before the scheduler starts.
    KernelInfoNode threads(0, "", "Thread List");
    if (readThreads(server, true, threads)) {
        if (!threads.getChildNodes().empty()) {
            KernelInfoNode usage(0, "", "Stack usage");
            if (collectStackUsage(threads, usage)) {
                out.addChild(usage);
            }
        }
        out.addChild(threads);
    }
    for (const Section& section : kSections) {
        KernelInfoNode node(0, "", section.label);
        if ((this->*section.collect)(server, node)) {
            out.addChild(node);
        }
    }
    return true;
}

void ThreadxRtosDriver::dispose() {}

bool ThreadxRtosDriver::getFreeStack(RspClient& server, unsigned int address, unsigned int size,
                                     unsigned int& free) {
    return countStackFill(server, address, size, kStackFill, free);
}

bool ThreadxRtosDriver::readObjectName(RspClient& server, StructInfo& object, const std::string& member,
                                       std::string& name) {
    unsigned int pointer = 0;
    return ThreadxReader::readMember(server, object, member, pointer) &&
           readString(server, pointer, kObjectNameLength, name);
}

bool ThreadxRtosDriver::readThreads(RspClient& server, bool detail, KernelInfoNode& out) {
    unsigned int activeId = 0;
    unsigned int head = 0;
    if (!findActiveThreadId(server, activeId) || !ThreadxReader::readSymbol(server, kCreatedThreads, head)) {
        return false;
    }
    bool result = true;
    unsigned int current = head;
    // The ring ends by coming back to head; a corrupt one is cut at a thread seen before or past the
    // kernel's count. An empty list costs no read of the count.
    unsigned int count = 0;
    bool counted = head != 0 && ThreadxReader::readSymbol(server, kCreatedThreadCount, count);
    ListWalkBound bound("the created thread list", ringLimit(counted, count));
    while (result && current != 0 && bound.admit(current)) {
        StructInfo thread;
        if (!ThreadxReader::bind(server, kThreadStruct, current, thread)) {
            return false;
        }
        KernelInfoNode node(0, "", "Thread");
        result = readThread(server, detail, current, activeId, thread, node);
        unsigned int next = 0;
        if (!ThreadxReader::readMember(server, thread, "tx_thread_created_next", next)) {
            return false;
        }
        out.addChild(node);
        current = next == head ? 0 : next;
    }
    return result;
}

// The thread's node; false only if its stack pointer, which GDB cannot do without, is unknown.
bool ThreadxRtosDriver::readThread(RspClient& server, bool detail, unsigned int address,
                                   unsigned int activeId, StructInfo& thread, KernelInfoNode& node) {
    node.addChild(KernelInfoNode(kThreadIdId, StringUtil::to_string(address, 16, 8), "Thread Id"));
    node.addChild(KernelInfoNode(kActiveId, address == activeId ? "1" : "0", "Active"));
    std::string name;
    readObjectName(server, thread, "tx_thread_name", name);
    node.addChild(KernelInfoNode(kNameId, name, "Name"));

    unsigned int stackPointer = 0;
    bool result = ThreadxReader::readMember(server, thread, "tx_thread_stack_ptr", stackPointer);
    node.addChild(
        KernelInfoNode(kStackPtrId, result ? StringUtil::to_string(stackPointer, 16, 8) : "", "Stack Ptr"));
    if (detail) {
        readThreadDetail(server, thread, node);
    }
    return result;
}

// What only the display wants: a value that cannot be read stays empty.
void ThreadxRtosDriver::readThreadDetail(RspClient& server, StructInfo& thread, KernelInfoNode& node) {
    unsigned int start = 0;
    bool startKnown = false;
    for (const DetailMember& detail : kDetailMembers) {
        unsigned int value = 0;
        std::string text;
        if (ThreadxReader::readMember(server, thread, detail.member, value)) {
            text = formatDetail(detail.format, value);
            if (detail.id == kStackStartId) {
                start = value;
                startKnown = true;
            }
        }
        node.addChild(KernelInfoNode(detail.id, text, detail.label));
    }
    unsigned int size = 0;
    bool sizeKnown = ThreadxReader::readMember(server, thread, "tx_thread_stack_size", size);
    unsigned int free = 0;
    std::string usage;
    if (startKnown && sizeKnown && getFreeStack(server, start, size, free)) {
        usage = StringUtil::toStackUsage(size, free);
    }
    node.addChild(KernelInfoNode(kStackUsageId, usage, "Stack usage"));
}

bool ThreadxRtosDriver::infoNodeToThread(KernelInfoNode& node, TargetThread& thread) {
    KernelInfoNode idNode;
    KernelInfoNode activeNode;
    KernelInfoNode stackNode;
    KernelInfoNode nameNode;
    if (!node.getChildNode(kThreadIdId, idNode) || !node.getChildNode(kActiveId, activeNode) ||
        !node.getChildNode(kStackPtrId, stackNode)) {
        return false;
    }
    try {
        // Base 0: the "0x" of the hexadecimal values selects base 16.
        auto id = static_cast<unsigned int>(std::stoul(idNode.getValue(), nullptr, 0));
        bool active = std::stoul(activeNode.getValue(), nullptr, 10) != 0;
        auto stackPointer = static_cast<unsigned int>(std::stoul(stackNode.getValue(), nullptr, 0));
        std::string name = node.getChildNode(kNameId, nameNode) ? nameNode.getValue() : std::string();
        thread.setThreadId(id);
        thread.setCpuActive(active);
        thread.setStackPointer(stackPointer);
        thread.setName(name);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool ThreadxRtosDriver::collectStackUsage(KernelInfoNode& threads, KernelInfoNode& out) {
    for (KernelInfoNode& thread : threads.getChildNodes()) {
        KernelInfoNode name(0, "N/A", "");
        KernelInfoNode usage(0, "N/A", "");
        thread.getChildNode(kNameId, name);
        thread.getChildNode(kStackUsageId, usage);
        out.addChild(KernelInfoNode(0, usage.getValue(), name.getValue()));
    }
    return true;
}

bool ThreadxRtosDriver::resolveSuspensionList(RspClient& server, unsigned int first, std::uint64_t limit,
                                              std::vector<std::string>& names) {
    // A link back to a thread other than first would circle for ever: the walk is cut there.
    ListWalkBound bound("the suspension list at " + StringUtil::to_string(first, 16, 8), limit);
    unsigned int current = first;
    while (current != 0 && bound.admit(current)) {
        StructInfo thread;
        if (!ThreadxReader::bind(server, kThreadStruct, current, thread)) {
            return false;
        }
        std::string name;
        if (readObjectName(server, thread, "tx_thread_name", name)) {
            names.push_back(name);
        }
        unsigned int next = 0;
        if (!ThreadxReader::readMember(server, thread, "tx_thread_suspended_next", next)) {
            return false;
        }
        current = next == first ? 0 : next;
    }
    return true;
}

bool ThreadxRtosDriver::collectSemaphores(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::SEMAPHORES, out);
}

bool ThreadxRtosDriver::collectMutexes(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::MUTEXES, out);
}

bool ThreadxRtosDriver::collectTimers(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::TIMERS, out);
}

bool ThreadxRtosDriver::collectQueues(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::QUEUES, out);
}

bool ThreadxRtosDriver::collectEventFlags(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::EVENT_FLAGS, out);
}

bool ThreadxRtosDriver::collectBlockPools(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::BLOCK_POOLS, out);
}

bool ThreadxRtosDriver::collectBytePools(RspClient& server, KernelInfoNode& out) {
    return ThreadxObjectCollector::collect(*this, server, ThreadxObjectCollector::BYTE_POOLS, out);
}
