#ifndef TARNWICK_BASE_STRINGUTIL_H
#define TARNWICK_BASE_STRINGUTIL_H

#include <string>
#include <vector>

// Byte-string helpers; no character-set logic anywhere.
class StringUtil {
public:
    static bool startsWith(const std::string& text, const std::string& prefix);
    static bool endsWith(const std::string& text, const std::string& suffix);
    // Empty when the delimiter does not occur; otherwise every piece, empty ones too.
    static std::vector<std::string> split(const std::string& text, char delimiter);
    // Like split, but a text without the delimiter gives one element, the whole text.
    static std::vector<std::string> split2(const std::string& text, char delimiter);
    static std::string trim(const std::string& text, const std::string& characters);
    // Base 10: zero-padded decimal; base 16: "0x" and zero-padded hex; any other base: plain decimal.
    static std::string to_string(unsigned int value, unsigned char base, unsigned int width);
    static std::string to_string(std::vector<std::string>& items, std::string separator);
    // text with XML's five special characters written as entities, fit for an attribute or element.
    static std::string escapeXml(const std::string& text);
    // "N/A", "Overflow!" or "768B/1024B (75.0%)".
    static std::string toStackUsage(unsigned int total, unsigned int free);
};

#endif
