#include "rtos/threadx/ThreadxRtosDriver.h"

#include "base/Logger.h"
#include "base/NumberCodec.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/threadx/ThreadxObjectCollector.h"
#include "rtos/threadx/ThreadxObjectView.h"
#include "rtos/threadx/ThreadxPortFactory.h"
#include "rtos/threadx/ThreadxThreadWalk.h"
#include "rtos/threadx/ThreadxTimerTicks.h"

#include <iterator>

namespace {

const std::string kVariantOption = "--rtos_variant";

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

// Kernel markers in _tx_thread_system_state while the kernel is being set up.
constexpr unsigned int kInitializing = 0xf0f0f0f0;
constexpr unsigned int kInitialized = 0xf0f0f0f1;

Logger& logger() {
    return Logger::getInstance();
}

bool variantOption(std::string& value) {
    return Properties::getInstance().getProperty(kVariantOption, value);
}

} // namespace

ThreadxRtosDriver::ThreadxRtosDriver(const RtosDriverInfo& newInfo)
    : TaskRecordDriver(newInfo, {"ThreadX", "_tx_thread_system_state", "", "Thread List"}) {}

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

bool ThreadxRtosDriver::readRunningFlag(RspClient& server, const Symbol& flag, bool& running) {
    std::vector<unsigned char> data;
    if (!server.readMemory(flag.getAddress(), 4, data)) {
        logger().log(Logger::LOG_ERROR, "checkKernelRunning", "Failed reading %s\n", flag.getName().c_str());
        return false;
    }
    // Any other value, an interrupt nesting count or 0, means the scheduler has taken over.
    unsigned int state = NumberCodec::toUINT32(data.data());
    running = state != kInitializing && state != kInitialized;
    return true;
}

bool ThreadxRtosDriver::readActiveThreadId(RspClient& server, unsigned int& id) {
    return ThreadxThreadWalk::readActiveThreadId(server, id);
}

bool ThreadxRtosDriver::walk(RspClient& server, bool detailed, std::vector<ThreadxThread>& threads) {
    return ThreadxThreadWalk::readThreads(server, detailed, threads);
}

void ThreadxRtosDriver::addObjectSections(RspClient& server, KernelInfoNode& out) {
    for (ThreadxObjectKinds::Kind kind : ThreadxObjectKinds::kAll) {
        std::vector<ThreadxObject> objects;
        if (ThreadxObjectCollector::read(server, kind, objects)) {
            KernelInfoNode section(0, "", ThreadxObjectKinds::of(kind).sectionLabel);
            ThreadxObjectView::addObjects(objects, section);
            out.addChild(section);
        }
    }
}
