#include "debuginfo/StructInfo.h"

StructInfo::StructInfo() : members(std::make_shared<Members>()) {}

StructInfo::StructInfo(const std::string& newName, unsigned int newSize)
    : name(newName), size(newSize), members(std::make_shared<Members>()) {}

StructInfo::StructInfo(const StructInfo& other)
    : name(other.name), size(other.size),
      members(other.handedOut ? std::make_shared<Members>(*other.members) : other.members),
      bound(other.bound), boundAddress(other.boundAddress) {}

StructInfo& StructInfo::operator=(const StructInfo& other) {
    if (this != &other) {
        name = other.name;
        size = other.size;
        if (handedOut) {
            // A reference handed out earlier stays valid and sees the new members, as with a plain map.
            *members = *other.members;
        } else {
            members = other.handedOut ? std::make_shared<Members>(*other.members) : other.members;
        }
        bound = other.bound;
        boundAddress = other.boundAddress;
    }
    return *this;
}

void StructInfo::ownMembers() {
    if (members.use_count() > 1) {
        members = std::make_shared<Members>(*members);
    }
    if (bound) {
        for (auto& entry : *members) {
            entry.second.setAddress(boundAddress + entry.second.getOffset());
        }
        bound = false;
    }
}

StructInfo::Members& StructInfo::getMembers() {
    ownMembers();
    handedOut = true;
    return *members;
}

bool StructInfo::addMemberInfo(const MemberInfo& member) {
    ownMembers();
    members->insert({member.getName(), member});
    return true;
}

bool StructInfo::lookup(const std::string& memberName, MemberInfo& out) {
    auto entry = members->find(memberName);
    if (entry == members->end()) {
        return false;
    }
    out = entry->second;
    if (bound) {
        out.setAddress(boundAddress + out.getOffset());
    }
    return true;
}

void StructInfo::bindTo(unsigned int address) {
    bound = true;
    boundAddress = address;
}
