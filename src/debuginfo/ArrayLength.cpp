#include "debuginfo/ArrayLength.h"

#include <cstdlib>
#include <map>
#include <vector>

namespace {

// "<value>" after the attribute's colon; indirect strings carry an offset before their text.
std::string attributeValue(const std::string& line) {
    std::string::size_type colon = line.rfind(": ");
    return colon == std::string::npos ? std::string() : line.substr(colon + 2);
}

bool hasAttribute(const std::string& line, const char* attribute) {
    std::string::size_type at = line.find(attribute);
    if (at == std::string::npos) {
        return false;
    }
    char next =
        line.size() > at + std::string(attribute).size() ? line[at + std::string(attribute).size()] : ' ';
    return next == ' ' || next == ':';
}

// "cd6" of " <1><cd6>: Abbrev Number: ..."; empty for any other line.
std::string dieOffset(const std::string& line) {
    if (line.find("Abbrev Number") == std::string::npos) {
        return std::string();
    }
    std::string::size_type close = line.find(">:");
    std::string::size_type open = line.rfind('<', close);
    if (close == std::string::npos || open == std::string::npos) {
        return std::string();
    }
    return line.substr(open + 1, close - open - 1);
}

bool parseNumber(const std::string& text, unsigned long& out) {
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    out = std::strtoul(text.c_str(), &end, 0);
    return end != text.c_str();
}

} // namespace

bool ArrayLength::find(std::istream& dump, const std::string& variable, unsigned int& out) {
    std::vector<std::string> candidateTypes;
    std::map<std::string, unsigned long> lengths;
    std::string array;
    bool inSubrange = false;
    bool inVariable = false;
    bool named = false;
    std::string line;
    while (std::getline(dump, line)) {
        std::string offset = dieOffset(line);
        if (!offset.empty()) {
            bool subrange = line.find("(DW_TAG_subrange_type)") != std::string::npos;
            if (line.find("(DW_TAG_array_type)") != std::string::npos) {
                array = offset;
            } else if (!subrange) {
                array.clear();
            }
            inSubrange = subrange && !array.empty();
            inVariable = line.find("(DW_TAG_variable)") != std::string::npos;
            named = false;
            continue;
        }
        if (inVariable && hasAttribute(line, "DW_AT_name")) {
            named = attributeValue(line) == variable;
        } else if (inVariable && named && hasAttribute(line, "DW_AT_type")) {
            std::string value = attributeValue(line);
            if (value.size() > 4 && value.compare(0, 3, "<0x") == 0) {
                candidateTypes.push_back(value.substr(3, value.size() - 4));
            }
        } else if (inSubrange && lengths.count(array) == 0) {
            unsigned long number = 0;
            if (hasAttribute(line, "DW_AT_upper_bound") && parseNumber(attributeValue(line), number)) {
                lengths[array] = number + 1;
            } else if (hasAttribute(line, "DW_AT_count") && parseNumber(attributeValue(line), number)) {
                lengths[array] = number;
            }
        }
    }
    for (const std::string& type : candidateTypes) {
        auto found = lengths.find(type);
        if (found != lengths.end() && found->second > 0 && found->second <= 0xFFFFFFFFul) {
            out = static_cast<unsigned int>(found->second);
            return true;
        }
    }
    return false;
}
