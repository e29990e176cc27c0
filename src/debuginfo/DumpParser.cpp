#include "debuginfo/DumpParser.h"

#include "app/Logger.h"
#include "app/StringUtil.h"
#include "rsp/RspUtil.h"

#include <algorithm>

namespace {

const char* const kTag = "resolveDataStructures";
// Strings, not character pointers: the helpers take strings, and a temporary for each line of a large
// dump would cost an allocation per line.
const std::string kStructureTag = "(DW_TAG_structure_type)";
const std::string kMemberTag = "(DW_TAG_member)";
const char* const kNameAttribute = "DW_AT_name";
const char* const kSizeAttribute = "DW_AT_byte_size";
const char* const kLocationAttribute = "DW_AT_data_member_location";
const std::string kAttributeIndent = "    ";

bool holds(const std::string& line, const char* attribute) {
    return line.find(attribute) != std::string::npos;
}

std::string trimmed(const std::string& field) {
    return StringUtil::trim(field, " ");
}

} // namespace

DumpParser::DumpParser(const std::vector<std::string>& wantedNames, std::map<std::string, StructInfo>& target)
    : wanted(wantedNames), structs(target) {}

bool DumpParser::parse(std::istream& input) {
    std::string line;
    while (std::getline(input, line) && !wanted.empty()) {
        switch (state) {
        case SearchStructure:
            searchStructure(input, line);
            break;
        case StructureAttributes:
            structureAttributes(line);
            break;
        case MemberAttributes:
            memberAttributes(line);
            break;
        }
    }
    return wanted.empty();
}

bool DumpParser::isWanted(const std::string& name) const {
    return std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

void DumpParser::searchStructure(std::istream& input, const std::string& line) {
    // Nearly every line of a dump ends here; the tag test is the cheap one, so it goes before the split.
    if (!StringUtil::endsWith(line, kStructureTag) || StringUtil::split(line, ':').size() != 3) {
        return;
    }
    // The tag name has to be the entry's first attribute; its read is deliberately not tested.
    std::string nameLine;
    std::getline(input, nameLine);
    if (!holds(nameLine, kNameAttribute)) {
        return;
    }
    std::vector<std::string> fields = StringUtil::split(nameLine, ':');
    if (fields.size() <= 3) {
        return;
    }
    structureName = trimmed(fields[3]);
    if (isWanted(structureName)) {
        state = StructureAttributes;
    }
}

void DumpParser::structureAttributes(const std::string& line) {
    if (!StringUtil::startsWith(line, kAttributeIndent)) {
        state = StringUtil::endsWith(line, kMemberTag) ? MemberAttributes : SearchStructure;
        return;
    }
    if (!holds(line, kSizeAttribute)) {
        return;
    }
    std::vector<std::string> fields = StringUtil::split(line, ':');
    if (fields.size() <= 1) {
        return;
    }
    sizeText = trimmed(fields[1]);
    unsigned int size = 0;
    if (!RspUtil::toUINT32(sizeText, 10, size)) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag,
                                  "Data structure parse error (DW_AT_byte_size): %s\n",
                                  structureName.c_str());
        state = SearchStructure;
        return;
    }
    if (structs.find(structureName) != structs.end()) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag, "Multiple instances of data structure: %s\n",
                                  structureName.c_str());
        state = SearchStructure;
        return;
    }
    structs[structureName] = StructInfo(structureName, size);
}

void DumpParser::memberAttributes(const std::string& line) {
    if (StringUtil::startsWith(line, kAttributeIndent)) {
        if (holds(line, kNameAttribute)) {
            std::vector<std::string> fields = StringUtil::split(line, ':');
            if (fields.size() > 3) {
                memberName = trimmed(fields[3]);
            }
        }
        if (holds(line, kLocationAttribute)) {
            std::vector<std::string> fields = StringUtil::split(line, ':');
            if (fields.size() > 1) {
                memberOffsetText = trimmed(fields[1]);
            }
        }
        return;
    }
    addMember();
    if (StringUtil::endsWith(line, kMemberTag)) {
        return;
    }
    wanted.erase(std::remove(wanted.begin(), wanted.end(), structureName), wanted.end());
    state = SearchStructure;
}

void DumpParser::addMember() {
    unsigned int offset = 0;
    if (memberName.empty() || memberOffsetText.empty() || !RspUtil::toUINT32(memberOffsetText, 10, offset)) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag, "Data structure member error: %s\n",
                                  structureName.c_str());
        return;
    }
    auto parent = structs.find(structureName);
    if (parent == structs.end()) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag, "Missing data structure parent: %s\n",
                                  memberName.c_str());
        return;
    }
    parent->second.addMemberInfo(MemberInfo(memberName, offset));
}
