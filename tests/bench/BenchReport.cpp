#include "BenchReport.h"

#include <cstdio>
#include <fstream>

namespace {

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

} // namespace

void BenchReport::add(const std::string& key, double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.6g", value);
    entries.emplace_back(key, text);
}

void BenchReport::add(const std::string& key, const std::string& value) {
    entries.emplace_back(key, quoted(value));
}

bool BenchReport::check(bool condition, const std::string& what) {
    if (!condition) {
        failures.push_back(what);
    }
    return condition;
}

int BenchReport::finish(const std::string& jsonPath) const {
    for (const auto& entry : entries) {
        std::printf("%s: %s\n", entry.first.c_str(), entry.second.c_str());
    }
    for (const std::string& failure : failures) {
        std::printf("FAILED: %s\n", failure.c_str());
    }
    if (!jsonPath.empty()) {
        std::ofstream out(jsonPath);
        out << "{";
        for (std::size_t i = 0; i < entries.size(); ++i) {
            out << (i == 0 ? "\n  " : ",\n  ") << quoted(entries[i].first) << ": " << entries[i].second;
        }
        out << ",\n  \"failures\": " << failures.size() << "\n}\n";
    }
    std::fflush(stdout);
    return failures.empty() ? 0 : 1;
}
