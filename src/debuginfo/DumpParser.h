#ifndef TARNWICK_DEBUGINFO_DUMPPARSER_H
#define TARNWICK_DEBUGINFO_DUMPPARSER_H

#include "debuginfo/StructInfo.h"

#include <istream>
#include <map>
#include <string>
#include <vector>

// Reads the text of the dump tool's -wi output in one pass, keeping only the wanted structures. Entries are
// taken whole (head line and attribute lines) and placed in the tree by the depth their head prints, so
// nested types neither end a structure nor leak into it. Members of anonymous unions and structures are
// lifted into the structure that holds them, as C names them; their types must come before the end of
// that structure's entry, as GCC and Clang write them.
class DumpParser {
public:
    DumpParser(const std::vector<std::string>& wantedNames, std::map<std::string, StructInfo>& target);
    virtual ~DumpParser() = default;

    // Stops at the end of input or as soon as no name is wanted any more. True when every wanted structure
    // was found and every member of them placed.
    bool parse(std::istream& input);

private:
    struct Entry {
        int depth = -1;
        std::string offset;
        std::string tag;
        bool keep = false;
        std::map<std::string, std::string> attributes;
    };
    struct Member {
        std::string name;
        std::string type;
        bool placed = false;
        unsigned int offset = 0;
    };
    // One aggregate inside the structure being read: the outermost one or a nested type.
    struct Aggregate {
        int depth = 0;
        bool isUnion = false;
        std::vector<Member> members;
    };

    void readLine(const std::string& line);
    void finishEntry();
    void openStructure();
    void openAggregate(const std::string& name);
    void takeNested();
    void closeStructure();
    void addMembers(const Aggregate& aggregate, unsigned int base, int nesting);
    Member placeMember(bool inUnion) const;
    bool isWanted(const std::string& name) const;

    std::vector<std::string> wanted;
    std::map<std::string, StructInfo>& structs;
    Entry entry;
    std::string structureName;
    int structureDepth = -1;
    // Keyed by the entry offset that a member's type names: every type without a name, and the structure
    // being read.
    std::map<std::string, Aggregate> aggregates;
    std::vector<std::string> openAggregates;
    std::string structureOffset;
    bool unplaced = false;
};

#endif
