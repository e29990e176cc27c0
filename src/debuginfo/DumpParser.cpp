#include "debuginfo/DumpParser.h"

#include "base/Logger.h"
#include "base/StringUtil.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace {

const char* const kTag = "resolveDataStructures";
const char* const kStructureTag = "DW_TAG_structure_type";
const char* const kUnionTag = "DW_TAG_union_type";
const char* const kClassTag = "DW_TAG_class_type";
const char* const kMemberTag = "DW_TAG_member";
const char* const kPlusUconst = "DW_OP_plus_uconst:";
// Anonymous members nest no deeper than this in any real structure; it bounds a hostile dump.
const int kMaxNesting = 8;

std::string trimmed(const std::string& field) {
    return StringUtil::trim(field, " \t");
}

bool isAggregate(const std::string& tag) {
    return tag == kStructureTag || tag == kUnionTag || tag == kClassTag;
}

// Decimal as the dump prints data forms, hexadecimal with 0x as some versions print the wider ones.
bool toNumber(const std::string& text, unsigned long long& value) {
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    int base = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') ? 16 : 10;
    char* end = nullptr;
    errno = 0;
    value = std::strtoull(text.c_str(), &end, base);
    return errno == 0 && *end == '\0' && value <= 0xFFFFFFFFull;
}

// The text between the angle brackets at pos, lower case without 0x: an entry's own offset in its head
// and the offset a DW_AT_type names print the same way.
std::string entryOffset(const std::string& text, std::size_t pos) {
    std::size_t close = text.find('>', pos);
    if (close == std::string::npos) {
        return "";
    }
    std::string offset = text.substr(pos + 1, close - pos - 1);
    if (StringUtil::startsWith(offset, "0x")) {
        offset = offset.substr(2);
    }
    return offset;
}

// A name is the last field of its value, whether printed in place or through a string table.
std::string nameOf(const std::string& value) {
    std::size_t colon = value.rfind(':');
    return trimmed(colon == std::string::npos ? value : value.substr(colon + 1));
}

} // namespace

DumpParser::DumpParser(const std::vector<std::string>& wantedNames, std::map<std::string, StructInfo>& target)
    : wanted(wantedNames), structs(target) {}

bool DumpParser::parse(std::istream& input) {
    std::string line;
    while (!wanted.empty() && std::getline(input, line)) {
        readLine(line);
    }
    if (!wanted.empty()) {
        finishEntry();
    }
    // A dump that ends inside a structure keeps what it gave, but the structure is not complete.
    if (structureDepth >= 0 && !structureName.empty()) {
        addMembers(aggregates[structureOffset], 0, 0);
    }
    return wanted.empty() && !unplaced;
}

bool DumpParser::isWanted(const std::string& name) const {
    return std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

// Heads read " <depth><offset>: Abbrev Number: n (tag)", attributes "    <offset>   DW_AT_x : value".
void DumpParser::readLine(const std::string& line) {
    std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos || line[start] != '<') {
        return;
    }
    std::size_t second = line.find('>', start);
    if (second == std::string::npos) {
        return;
    }
    if (start < 4 && line.compare(second, 2, "><") == 0 && line.find(">:", second + 1) != std::string::npos) {
        finishEntry();
        entry = Entry();
        char* end = nullptr;
        long depth = std::strtol(line.c_str() + start + 1, &end, 10);
        if (end != line.c_str() + second || depth < 0 || depth > 0xFFFF) {
            return;
        }
        entry.depth = static_cast<int>(depth);
        entry.offset = entryOffset(line, second + 1);
        std::size_t open = line.rfind('(');
        if (open != std::string::npos && line.back() == ')') {
            entry.tag = line.substr(open + 1, line.size() - open - 2);
        }
        if (entry.tag.empty()) {
            finishEntry();
        }
        // Most entries of a dump are neither aggregates nor inside a wanted one: their attributes are not
        // kept.
        entry.keep = structureDepth >= 0 || isAggregate(entry.tag);
        return;
    }
    if (!entry.keep) {
        return;
    }
    std::size_t nameStart = line.find_first_not_of(' ', second + 1);
    std::size_t colon = line.find(':', nameStart == std::string::npos ? line.size() : nameStart);
    if (colon == std::string::npos) {
        return;
    }
    entry.attributes.emplace(trimmed(line.substr(nameStart, colon - nameStart)),
                             trimmed(line.substr(colon + 1)));
}

void DumpParser::finishEntry() {
    if (entry.depth < 0) {
        return;
    }
    if (structureDepth >= 0) {
        // A null entry ends the children of the entry one level up.
        int limit = entry.tag.empty() ? entry.depth - 1 : entry.depth;
        while (!openAggregates.empty() && aggregates[openAggregates.back()].depth >= limit) {
            openAggregates.pop_back();
        }
        if (openAggregates.empty()) {
            closeStructure();
        } else {
            takeNested();
        }
    }
    // A unit's types name only their own unit's types: what is kept of the last one goes.
    if (entry.depth == 0) {
        aggregates.clear();
    }
    if (structureDepth < 0 && isAggregate(entry.tag)) {
        openStructure();
    }
    entry = Entry();
}

void DumpParser::openStructure() {
    auto name = entry.attributes.find("DW_AT_name");
    auto size = entry.attributes.find("DW_AT_byte_size");
    if (name == entry.attributes.end()) {
        // GCC writes the types of anonymous members beside the structure, before it (Clang nests them in
        // it); they are kept whole, for the structure that names them as the type of a member without a name.
        openAggregate("");
        return;
    }
    if (entry.tag != kStructureTag || size == entry.attributes.end() || !isWanted(nameOf(name->second))) {
        return;
    }
    std::string structure = nameOf(name->second);
    unsigned long long value = 0;
    if (!toNumber(size->second, value) || StringUtil::startsWith(size->second, "0x")) {
        Logger::getInstance().log(Logger::LOG_WARNING, kTag,
                                  "Data structure parse error (DW_AT_byte_size): %s\n", structure.c_str());
        return;
    }
    structs[structure] = StructInfo(structure, static_cast<unsigned int>(value));
    openAggregate(structure);
}

void DumpParser::openAggregate(const std::string& name) {
    structureName = name;
    structureDepth = entry.depth;
    structureOffset = entry.offset;
    Aggregate& aggregate = aggregates[structureOffset];
    aggregate = Aggregate();
    aggregate.depth = entry.depth;
    aggregate.isUnion = entry.tag == kUnionTag;
    openAggregates.assign(1, structureOffset);
}

void DumpParser::takeNested() {
    Aggregate& parent = aggregates[openAggregates.back()];
    if (entry.tag == kMemberTag) {
        parent.members.push_back(placeMember(parent.isUnion));
        return;
    }
    if (!isAggregate(entry.tag)) {
        return;
    }
    Aggregate& nested = aggregates[entry.offset];
    nested = Aggregate();
    nested.depth = entry.depth;
    nested.isUnion = entry.tag == kUnionTag;
    openAggregates.push_back(entry.offset);
}

void DumpParser::closeStructure() {
    structureDepth = -1;
    openAggregates.clear();
    if (structureName.empty()) {
        return;
    }
    addMembers(aggregates[structureOffset], 0, 0);
    aggregates.erase(structureOffset);
    wanted.erase(std::remove(wanted.begin(), wanted.end(), structureName), wanted.end());
}

void DumpParser::addMembers(const Aggregate& aggregate, unsigned int base, int nesting) {
    for (const Member& member : aggregate.members) {
        auto nested = member.name.empty() ? aggregates.find(member.type) : aggregates.end();
        if (member.placed && nested != aggregates.end() && nesting < kMaxNesting) {
            addMembers(nested->second, base + member.offset, nesting + 1);
            continue;
        }
        if (!member.placed || member.name.empty()) {
            Logger::getInstance().log(Logger::LOG_WARNING, kTag, "Data structure member error: %s.%s\n",
                                      structureName.c_str(),
                                      member.name.empty() ? "(anonymous)" : member.name.c_str());
            unplaced = true;
            continue;
        }
        structs[structureName].addMemberInfo(MemberInfo(member.name, base + member.offset));
    }
}

DumpParser::Member DumpParser::placeMember(bool inUnion) const {
    Member member;
    const auto& attributes = entry.attributes;
    auto name = attributes.find("DW_AT_name");
    if (name != attributes.end()) {
        member.name = nameOf(name->second);
    }
    auto type = attributes.find("DW_AT_type");
    if (type != attributes.end()) {
        member.type = entryOffset(type->second, type->second.find('<'));
    }
    auto bits = [&](const char* attribute, unsigned long long& value) {
        auto found = attributes.find(attribute);
        return found != attributes.end() && toNumber(found->second, value);
    };
    unsigned long long dataBitOffset = 0;
    if (bits("DW_AT_data_bit_offset", dataBitOffset)) {
        member.offset = static_cast<unsigned int>(dataBitOffset / 8);
        member.placed = true;
        return member;
    }
    unsigned long long location = 0;
    auto locationText = attributes.find("DW_AT_data_member_location");
    if (locationText == attributes.end()) {
        // Union members may leave out a location of zero.
        member.placed = inUnion;
    } else {
        std::size_t operation = locationText->second.find(kPlusUconst);
        std::string text =
            operation == std::string::npos
                ? locationText->second
                : trimmed(locationText->second.substr(operation + std::string(kPlusUconst).size()));
        if (operation != std::string::npos && !text.empty() && text.back() == ')') {
            text = trimmed(text.substr(0, text.size() - 1));
        }
        member.placed = toNumber(text, location);
    }
    unsigned long long bitOffset = 0;
    if (member.placed && attributes.count("DW_AT_bit_offset") != 0) {
        // Counted from the most significant bit of the storage unit; on a little-endian target the
        // member's first bit lies unit - offset - size bits above the unit's start.
        unsigned long long unit = 0;
        unsigned long long size = 0;
        member.placed = bits("DW_AT_bit_offset", bitOffset) && bits("DW_AT_byte_size", unit) &&
                        bits("DW_AT_bit_size", size) && bitOffset + size <= unit * 8;
        location = location * 8 + unit * 8 - bitOffset - size;
        location /= 8;
    }
    member.offset = static_cast<unsigned int>(location);
    return member;
}
