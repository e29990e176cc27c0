#include "rtos/threadx/ThreadxObjectCollector.h"

#include "base/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/threadx/ThreadxReader.h"
#include "rtos/threadx/ThreadxTimerTicks.h"

#include <string>
#include <vector>

namespace {

enum class ValueKind { NAME, DECIMAL, HEX8, HEX, OWNER_NAME, SUSPENDED_THREADS, TICKS_LEFT };

struct Field {
    const char* label;
    const char* member;
    ValueKind kind;
    // The member lies in the timer record embedded in the object, not in the object itself.
    bool internal;
    // Of a suspension list: the member that counts its threads.
    const char* countMember = nullptr;
};

struct ObjectList {
    const char* headSymbol;
    const char* countSymbol;
    const char* structure;
    const char* objectLabel;
    const char* nextMember;
    // Where the embedded timer record lies, for kinds that show members of it; null otherwise.
    const char* internalMember;
    const char* internalStructure;
    std::vector<Field> fields;
};

// By Kind.
const ObjectList kObjectLists[] = {
    {"_tx_semaphore_created_ptr",
     "_tx_semaphore_created_count",
     "TX_SEMAPHORE_STRUCT",
     "Semaphore",
     "tx_semaphore_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_semaphore_name", ValueKind::NAME, false},
      {"Count", "tx_semaphore_count", ValueKind::DECIMAL, false},
      {"Suspended", "tx_semaphore_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_semaphore_suspended_count"}}},
    {"_tx_mutex_created_ptr",
     "_tx_mutex_created_count",
     "TX_MUTEX_STRUCT",
     "Mutex",
     "tx_mutex_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_mutex_name", ValueKind::NAME, false},
      {"Owner", "tx_mutex_owner", ValueKind::OWNER_NAME, false},
      {"Owner count", "tx_mutex_ownership_count", ValueKind::DECIMAL, false},
      {"Suspended", "tx_mutex_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_mutex_suspended_count"}}},
    {"_tx_timer_created_ptr",
     "_tx_timer_created_count",
     "TX_TIMER_STRUCT",
     "Timer",
     "tx_timer_created_next",
     "tx_timer_internal",
     "TX_TIMER_INTERNAL_STRUCT",
     {{"Name", "tx_timer_name", ValueKind::NAME, false},
      {"Remaining", "tx_timer_internal_remaining_ticks", ValueKind::TICKS_LEFT, true},
      {"Re init", "tx_timer_internal_re_initialize_ticks", ValueKind::DECIMAL, true},
      {"Function", "tx_timer_internal_timeout_function", ValueKind::HEX, true}}},
    {"_tx_queue_created_ptr",
     "_tx_queue_created_count",
     "TX_QUEUE_STRUCT",
     "Queue",
     "tx_queue_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_queue_name", ValueKind::NAME, false},
      {"Message size", "tx_queue_message_size", ValueKind::DECIMAL, false},
      {"Capacity", "tx_queue_capacity", ValueKind::DECIMAL, false},
      {"Used", "tx_queue_enqueued", ValueKind::DECIMAL, false},
      {"Suspended", "tx_queue_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_queue_suspended_count"}}},
    {"_tx_event_flags_created_ptr",
     "_tx_event_flags_created_count",
     "TX_EVENT_FLAGS_GROUP_STRUCT",
     "EventFlag",
     "tx_event_flags_group_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_event_flags_group_name", ValueKind::NAME, false},
      {"Flags", "tx_event_flags_group_current", ValueKind::HEX8, false},
      {"Suspended", "tx_event_flags_group_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_event_flags_group_suspended_count"}}},
    {"_tx_block_pool_created_ptr",
     "_tx_block_pool_created_count",
     "TX_BLOCK_POOL_STRUCT",
     "Memory block pool",
     "tx_block_pool_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_block_pool_name", ValueKind::NAME, false},
      {"Address", "tx_block_pool_start", ValueKind::HEX8, false},
      {"Available", "tx_block_pool_available", ValueKind::DECIMAL, false},
      {"Total", "tx_block_pool_total", ValueKind::DECIMAL, false},
      {"Pool size", "tx_block_pool_size", ValueKind::DECIMAL, false},
      {"Block size", "tx_block_pool_block_size", ValueKind::DECIMAL, false},
      {"Suspended", "tx_block_pool_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_block_pool_suspended_count"}}},
    {"_tx_byte_pool_created_ptr",
     "_tx_byte_pool_created_count",
     "TX_BYTE_POOL_STRUCT",
     "Memory byte pool",
     "tx_byte_pool_created_next",
     nullptr,
     nullptr,
     {{"Name", "tx_byte_pool_name", ValueKind::NAME, false},
      {"Address", "tx_byte_pool_start", ValueKind::HEX8, false},
      {"Available", "tx_byte_pool_available", ValueKind::DECIMAL, false},
      {"Size", "tx_byte_pool_size", ValueKind::DECIMAL, false},
      {"Fragments", "tx_byte_pool_fragments", ValueKind::DECIMAL, false},
      {"Suspended", "tx_byte_pool_suspension_list", ValueKind::SUSPENDED_THREADS, false,
       "tx_byte_pool_suspended_count"}}},
};

const char* const kThreadStruct = "TX_THREAD_STRUCT";
const char* const kThreadName = "tx_thread_name";
const char* const kNameSeparator = ", ";

// The field's text; empty when the member cannot be looked up or read.
std::string fieldValue(RspClient& server, StructInfo& object, const Field& field) {
    std::string text;
    if (field.kind == ValueKind::NAME) {
        ThreadxReader::readName(server, object, field.member, text);
        return text;
    }
    unsigned int ticks = 0;
    if (field.kind == ValueKind::TICKS_LEFT) {
        return ThreadxTimerTicks::ticksLeft(server, object, ticks) ? StringUtil::to_string(ticks, 10, 0)
                                                                   : text;
    }
    unsigned int word = 0;
    if (!ThreadxReader::readMember(server, object, field.member, word)) {
        return text;
    }
    switch (field.kind) {
    case ValueKind::NAME:
    case ValueKind::TICKS_LEFT:
        break;
    case ValueKind::DECIMAL:
        return StringUtil::to_string(word, 10, 0);
    case ValueKind::HEX8:
        return StringUtil::to_string(word, 16, 8);
    case ValueKind::HEX:
        return StringUtil::to_string(word, 16, 0);
    case ValueKind::OWNER_NAME: {
        StructInfo owner;
        if (word != 0 && SymbolTable::resolveDataStructure(kThreadStruct, word, owner)) {
            ThreadxReader::readName(server, owner, kThreadName, text);
        }
        break;
    }
    case ValueKind::SUSPENDED_THREADS: {
        if (word == 0) {
            break;
        }
        unsigned int count = 0;
        bool counted = ThreadxReader::readMember(server, object, field.countMember, count);
        std::vector<std::string> names;
        if (ThreadxReader::readSuspensionList(server, word, ThreadxReader::ringLimit(counted, count),
                                              names)) {
            text = StringUtil::to_string(names, kNameSeparator);
        }
        break;
    }
    }
    return text;
}

// Binds the timer record embedded in object; false if the kind has none or it cannot be bound.
bool bindInternal(const ObjectList& list, StructInfo& object, StructInfo& internal) {
    MemberInfo member;
    return list.internalMember != nullptr && object.lookup(list.internalMember, member) &&
           SymbolTable::resolveDataStructure(list.internalStructure, member.getAddress(), internal);
}

// The object's node, a child per field of its kind.
KernelInfoNode objectNode(RspClient& server, const ObjectList& list, StructInfo& object) {
    StructInfo internal;
    bool internalBound = bindInternal(list, object, internal);
    KernelInfoNode node(0, "", list.objectLabel);
    for (const Field& field : list.fields) {
        if (field.internal && !internalBound) {
            continue;
        }
        node.addChild(
            KernelInfoNode(0, fieldValue(server, field.internal ? internal : object, field), field.label));
    }
    return node;
}

} // namespace

bool ThreadxObjectCollector::collect(RspClient& server, Kind kind, KernelInfoNode& out) {
    const ObjectList& list = kObjectLists[kind];
    unsigned int head = 0;
    if (!ThreadxReader::readSymbol(server, list.headSymbol, head)) {
        return false;
    }
    // Circular like the thread list, and cut the same way at an object seen before or past the count.
    unsigned int count = 0;
    bool counted = head != 0 && ThreadxReader::readSymbol(server, list.countSymbol, count);
    return ThreadxReader::walkRing(
        std::string("the created list ") + list.headSymbol, head, ThreadxReader::ringLimit(counted, count),
        [&](unsigned int current, unsigned int& next) {
            StructInfo object;
            if (!ThreadxReader::bind(server, list.structure, current, object)) {
                return false;
            }
            KernelInfoNode node = objectNode(server, list, object);
            if (!ThreadxReader::readMember(server, object, list.nextMember, next)) {
                return false;
            }
            out.addChild(node);
            return true;
        });
}
