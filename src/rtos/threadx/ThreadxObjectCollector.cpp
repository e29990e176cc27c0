#include "rtos/threadx/ThreadxObjectCollector.h"

#include "debuginfo/SymbolTable.h"
#include "rtos/threadx/ThreadxReader.h"
#include "rtos/threadx/ThreadxTimerTicks.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kinds = ThreadxObjectKinds;

const char* const kThreadStruct = "TX_THREAD_STRUCT";
const char* const kThreadName = "tx_thread_name";

std::optional<std::string> readName(RspClient& server, StructInfo& object, const char* member) {
    std::string name;
    if (!ThreadxReader::readName(server, object, member, name)) {
        return std::nullopt;
    }
    return name;
}

// The names of the threads suspended on the list at first, counted by the object's countMember.
std::optional<std::vector<std::string>> readSuspended(RspClient& server, StructInfo& object,
                                                      const Kinds::Field& field, unsigned int first) {
    unsigned int count = 0;
    bool counted = ThreadxReader::readMember(server, object, field.countMember, count);
    std::vector<std::string> names;
    if (!ThreadxReader::readSuspensionList(server, first, ThreadxReader::ringLimit(counted, count), names)) {
        return std::nullopt;
    }
    return names;
}

// What the field's kind reads of object.
ThreadxObject::Value readValue(RspClient& server, StructInfo& object, const Kinds::Field& field) {
    ThreadxObject::Value value;
    value.field = &field;
    unsigned int word = 0;
    if (field.kind == Kinds::NAME) {
        value.name = readName(server, object, field.member);
    } else if (field.kind == Kinds::TICKS_LEFT) {
        if (ThreadxTimerTicks::ticksLeft(server, object, word)) {
            value.word = word;
        }
    } else if (ThreadxReader::readMember(server, object, field.member, word)) {
        value.word = word;
        StructInfo owner;
        if (field.kind == Kinds::OWNER_NAME && word != 0 &&
            SymbolTable::resolveDataStructure(kThreadStruct, word, owner)) {
            value.name = readName(server, owner, kThreadName);
        } else if (field.kind == Kinds::SUSPENDED_THREADS && word != 0) {
            value.suspended = readSuspended(server, object, field, word);
        }
    }
    return value;
}

// Binds the timer record embedded in object; false if the kind has none or it cannot be bound.
bool bindInternal(const Kinds::ObjectList& list, StructInfo& object, StructInfo& internal) {
    MemberInfo member;
    return list.internalMember != nullptr && object.lookup(list.internalMember, member) &&
           SymbolTable::resolveDataStructure(list.internalStructure, member.getAddress(), internal);
}

// The object's values, one per field of its kind.
void readValues(RspClient& server, const Kinds::ObjectList& list, StructInfo& object, ThreadxObject& record) {
    StructInfo internal;
    bool internalBound = bindInternal(list, object, internal);
    for (const Kinds::Field& field : list.fields) {
        if (field.internal && !internalBound) {
            continue;
        }
        record.values.push_back(readValue(server, field.internal ? internal : object, field));
    }
}

} // namespace

bool ThreadxObjectCollector::read(RspClient& server, Kinds::Kind kind, std::vector<ThreadxObject>& objects) {
    const Kinds::ObjectList& list = Kinds::of(kind);
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
            ThreadxObject record;
            record.kind = kind;
            record.address = current;
            readValues(server, list, object, record);
            if (!ThreadxReader::readMember(server, object, list.nextMember, next)) {
                return false;
            }
            objects.push_back(std::move(record));
            return true;
        });
}
