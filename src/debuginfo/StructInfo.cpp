#include "debuginfo/StructInfo.h"

StructInfo::StructInfo(const std::string& newName, unsigned int newSize) : name(newName), size(newSize) {}

bool StructInfo::addMemberInfo(const MemberInfo& member) {
    members.insert({member.getName(), member});
    return true;
}

bool StructInfo::lookup(const std::string& memberName, MemberInfo& out) {
    auto entry = members.find(memberName);
    if (entry == members.end()) {
        return false;
    }
    out = entry->second;
    return true;
}
