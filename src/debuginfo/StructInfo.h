#ifndef TARNWICK_DEBUGINFO_STRUCTINFO_H
#define TARNWICK_DEBUGINFO_STRUCTINFO_H

#include "debuginfo/MemberInfo.h"

#include <map>
#include <string>

// The layout of one structure: its size and its members by name.
class StructInfo {
public:
    StructInfo() = default;
    StructInfo(const std::string& newName, unsigned int newSize);
    virtual ~StructInfo() = default;

    void setName(const std::string& newName) { name = newName; }
    void setSize(unsigned int newSize) { size = newSize; }
    std::string getName() const { return name; }
    unsigned int getSize() const { return size; }
    std::map<std::string, MemberInfo>& getMembers() { return members; }

    // Always true; a name already present keeps its first entry.
    bool addMemberInfo(const MemberInfo& member);
    // Exact match; copies into out, which is left alone when the member is unknown.
    bool lookup(const std::string& memberName, MemberInfo& out);

private:
    std::string name;
    unsigned int size = 0;
    std::map<std::string, MemberInfo> members;
};

#endif
