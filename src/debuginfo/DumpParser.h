#ifndef TARNWICK_DEBUGINFO_DUMPPARSER_H
#define TARNWICK_DEBUGINFO_DUMPPARSER_H

#include "debuginfo/StructInfo.h"

#include <istream>
#include <map>
#include <string>
#include <vector>

// Reads the text of the dump tool's -wi output in one pass with three states, keeping only the wanted
// structures. It relies on the text shape of the output, not on DWARF, and skips what does not fit.
class DumpParser {
public:
    DumpParser(const std::vector<std::string>& wantedNames, std::map<std::string, StructInfo>& target);
    virtual ~DumpParser() = default;

    // Stops at the end of input or as soon as no name is wanted any more; true in the latter case.
    bool parse(std::istream& input);

private:
    enum State { SearchStructure, StructureAttributes, MemberAttributes };

    void searchStructure(std::istream& input, const std::string& line);
    void structureAttributes(const std::string& line);
    void memberAttributes(const std::string& line);
    void addMember();
    bool isWanted(const std::string& name) const;

    std::vector<std::string> wanted;
    std::map<std::string, StructInfo>& structs;
    State state = SearchStructure;
    // These holders outlive the entry that filled them: a member lacking a value inherits the one before.
    std::string structureName;
    std::string sizeText;
    std::string memberName;
    std::string memberOffsetText;
};

#endif
