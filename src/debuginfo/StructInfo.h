#ifndef TARNWICK_DEBUGINFO_STRUCTINFO_H
#define TARNWICK_DEBUGINFO_STRUCTINFO_H

#include "debuginfo/MemberInfo.h"

#include <map>
#include <memory>
#include <string>

// The layout of one structure: its size and its members by name.
//
// A copy shares the members with the original until either side changes them (copy on write), and a
// layout bound to an instance applies the instance's address to a member when it is looked up: a kernel
// walk copies and binds a layout per task, and a layout has dozens of members. A layout whose members have
// been handed out by getMembers is copied whole, since that reference may still be written through.
class StructInfo {
public:
    using Members = std::map<std::string, MemberInfo>;

    StructInfo();
    StructInfo(const std::string& newName, unsigned int newSize);
    StructInfo(const StructInfo& other);
    StructInfo& operator=(const StructInfo& other);
    virtual ~StructInfo() = default;

    void setName(const std::string& newName) { name = newName; }
    void setSize(unsigned int newSize) { size = newSize; }
    std::string getName() const { return name; }
    unsigned int getSize() const { return size; }
    // The members, this layout's own, with the bound addresses applied.
    Members& getMembers();

    // Always true; a name already present keeps its first entry.
    bool addMemberInfo(const MemberInfo& member);
    // Exact match; copies into out, which is left alone when the member is unknown.
    bool lookup(const std::string& memberName, MemberInfo& out);
    // Every member's address becomes address plus its offset.
    void bindTo(unsigned int address);

private:
    // Makes the members this layout's own and applies a pending binding.
    void ownMembers();

    std::string name;
    unsigned int size = 0;
    std::shared_ptr<Members> members;
    bool bound = false;
    unsigned int boundAddress = 0;
    bool handedOut = false;
};

#endif
