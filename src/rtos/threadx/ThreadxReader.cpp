#include "rtos/threadx/ThreadxReader.h"

#include "base/NumberCodec.h"
#include "base/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelMemory.h"
#include "rtos/ListWalkBound.h"
#include "rtos/MissingMemberLog.h"

namespace {

constexpr unsigned int kWordSize = 4;

} // namespace

bool ThreadxReader::bind(RspClient& server, const std::string& structure, unsigned int address,
                         StructInfo& object) {
    if (!SymbolTable::resolveDataStructure(structure, address, object)) {
        return false;
    }
    server.prefetchMemory(address, object.getSize());
    return true;
}

bool ThreadxReader::readSymbol(RspClient& server, const std::string& name, unsigned int& value) {
    Symbol symbol;
    if (!SymbolTable::getInstance().lookupSymbol(name, symbol)) {
        return false;
    }
    std::vector<unsigned char> data;
    if (!server.readMemory(symbol.getAddress(), kWordSize, data)) {
        return false;
    }
    value = NumberCodec::toUINT32(data.data());
    return true;
}

bool ThreadxReader::readMember(RspClient& server, StructInfo& object, const std::string& member,
                               unsigned int& value) {
    MemberInfo info;
    if (!object.lookup(member, info)) {
        MissingMemberLog::getInstance().report(object.getName(), member);
        return false;
    }
    if (!server.readMemory(info.getAddress(), kWordSize, info.getData())) {
        return false;
    }
    value = info.getDataUINT32();
    return true;
}

bool ThreadxReader::readName(RspClient& server, StructInfo& object, const std::string& member,
                             std::string& name) {
    unsigned int pointer = 0;
    return readMember(server, object, member, pointer) && readNameAt(server, pointer, name);
}

bool ThreadxReader::readNameAt(RspClient& server, unsigned int address, std::string& name) {
    return KernelMemory::readString(server, address, kObjectNameLength, name);
}

std::uint64_t ThreadxReader::ringLimit(bool counted, unsigned int count) {
    return counted ? std::uint64_t{count} + kCountMargin : ListWalkBound::kMaxLinks;
}

bool ThreadxReader::walkRing(const std::string& listName, unsigned int head, std::uint64_t limit,
                             const Step& step) {
    ListWalkBound bound(listName, limit);
    // The ring's end is its head, which is also where the walk begins: a link back to it ends the walk.
    return bound.walk(head, 0, [&](unsigned int link, unsigned int& next) {
        if (!step(link, next)) {
            return false;
        }
        if (next == head) {
            next = 0;
        }
        return true;
    });
}

bool ThreadxReader::readSuspensionList(RspClient& server, unsigned int first, std::uint64_t limit,
                                       std::vector<std::string>& names) {
    // A link back to a thread other than first would circle for ever: the walk is cut there.
    return walkRing("the suspension list at " + StringUtil::to_string(first, 16, 8), first, limit,
                    [&](unsigned int thread, unsigned int& next) {
                        StructInfo layout;
                        if (!bind(server, "TX_THREAD_STRUCT", thread, layout)) {
                            return false;
                        }
                        std::string name;
                        if (readName(server, layout, "tx_thread_name", name)) {
                            names.push_back(name);
                        }
                        return readMember(server, layout, "tx_thread_suspended_next", next);
                    });
}
