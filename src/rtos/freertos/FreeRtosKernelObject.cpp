#include "rtos/freertos/FreeRtosKernelObject.h"

#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/KernelMemory.h"
#include "rtos/MissingMemberLog.h"

namespace {

constexpr unsigned int kNameLength = 20;

} // namespace

bool FreeRtosKernelObject::bind(const std::string& structure, unsigned int address) {
    if (!SymbolTable::resolveDataStructure(structure, address, layout)) {
        return false;
    }
    server.prefetchMemory(address, layout.getSize());
    return true;
}

bool FreeRtosKernelObject::lookup(const std::string& member, MemberInfo& info) {
    if (layout.lookup(member, info)) {
        return true;
    }
    MissingMemberLog::getInstance().report(layout.getName(), member);
    return false;
}

bool FreeRtosKernelObject::has(const std::string& member) {
    MemberInfo info;
    return layout.lookup(member, info);
}

bool FreeRtosKernelObject::memberAddress(const std::string& member, unsigned int& address) {
    MemberInfo info;
    if (!lookup(member, info)) {
        return false;
    }
    address = info.getAddress();
    return true;
}

bool FreeRtosKernelObject::read(const std::string& member, unsigned int length, MemberInfo& info) {
    return lookup(member, info) && server.readMemory(info.getAddress(), length, info.getData());
}

bool FreeRtosKernelObject::readWord(const std::string& member, unsigned int& value) {
    MemberInfo info;
    if (!read(member, 4, info)) {
        return false;
    }
    value = info.getDataUINT32();
    return true;
}

std::optional<unsigned int> FreeRtosKernelObject::word(const std::string& member) {
    unsigned int value = 0;
    if (!readWord(member, value)) {
        return std::nullopt;
    }
    return value;
}

bool FreeRtosKernelObject::readByte(const std::string& member, unsigned char& value) {
    MemberInfo info;
    if (!read(member, 1, info)) {
        return false;
    }
    value = info.getDataUINT8();
    return true;
}

std::optional<std::string> FreeRtosKernelObject::readName(unsigned int address) {
    std::string name;
    if (!KernelMemory::readString(server, address, kNameLength, name)) {
        return std::nullopt;
    }
    return name;
}
