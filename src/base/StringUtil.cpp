#include "base/StringUtil.h"

#include <iomanip>
#include <sstream>

bool StringUtil::startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool StringUtil::endsWith(const std::string& text, const std::string& suffix) {
    if (text.size() < suffix.size()) {
        return false;
    }
    return text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::vector<std::string> StringUtil::split(const std::string& text, char delimiter) {
    std::vector<std::string> pieces;
    if (text.find(delimiter) == std::string::npos) {
        return pieces;
    }
    return split2(text, delimiter);
}

std::vector<std::string> StringUtil::split2(const std::string& text, char delimiter) {
    std::vector<std::string> pieces;
    std::string::size_type start = 0;
    for (;;) {
        std::string::size_type end = text.find(delimiter, start);
        if (end == std::string::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

std::string StringUtil::trim(const std::string& text, const std::string& characters) {
    std::string::size_type first = text.find_first_not_of(characters);
    if (first == std::string::npos) {
        return "";
    }
    std::string::size_type last = text.find_last_not_of(characters);
    return text.substr(first, last - first + 1);
}

std::string StringUtil::to_string(unsigned int value, unsigned char base, unsigned int width) {
    // Zeros in front up to width, as the stream's setw and setfill('0') gave them; by hand, as this runs
    // for every task of every stop. Another base gets plain decimal without width.
    static const char kDigits[] = "0123456789abcdef";
    const unsigned int radix = base == 16 ? 16 : 10;
    char digits[16];
    char* first = digits + sizeof(digits);
    do {
        *--first = kDigits[value % radix];
        value /= radix;
    } while (value != 0);
    std::size_t length = static_cast<std::size_t>(digits + sizeof(digits) - first);
    std::string text = base == 16 ? "0x" : "";
    if ((base == 10 || base == 16) && width > length) {
        text.append(width - length, '0');
    }
    return text.append(first, length);
}

std::string StringUtil::to_string(std::vector<std::string>& items, std::string separator) {
    std::string joined;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            joined += separator;
        }
        joined += items[i];
    }
    return joined;
}

std::string StringUtil::toStackUsage(unsigned int total, unsigned int free) {
    if (total == 0 || free > total) {
        return "N/A";
    }
    if (free == 0) {
        return "Overflow!";
    }
    unsigned int used = total - free;
    std::ostringstream out;
    out << used << "B/" << total << "B (" << std::fixed << std::setprecision(1)
        << static_cast<double>(used) / total * 100 << "%)";
    return out.str();
}

std::string StringUtil::escapeXml(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&apos;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}
