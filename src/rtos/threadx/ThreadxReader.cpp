#include "rtos/threadx/ThreadxReader.h"
#include "base/NumberCodec.h"

#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/MissingMemberLog.h"

#include <vector>

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
