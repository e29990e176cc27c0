#ifndef TARNWICK_TESTS_UNIT_DEBUGINFO_DEBUGINFOTESTSUPPORT_H
#define TARNWICK_TESTS_UNIT_DEBUGINFO_DEBUGINFOTESTSUPPORT_H

#include "TimingFigures.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>
#include <sys/time.h>

// Every debug-information test starts from empty singletons, all log severities on, and a private
// scratch folder that is removed afterwards.
class DebugInfoTest : public ::testing::Test {
protected:
    void SetUp() override {
        Properties::getInstance().clear();
        SymbolTable::getInstance().clear();
        Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR |
                                          Logger::LOG_DEBUG);
        char pattern[] = "/tmp/tarnwick_debuginfo_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        scratch = pattern;
    }

    void TearDown() override {
        std::filesystem::remove_all(scratch);
        Properties::getInstance().clear();
        SymbolTable::getInstance().clear();
    }

    std::string path(const std::string& name) const { return scratch + "/" + name; }

    // Every named structure the table resolved, in name order: "name: size", then "member:offset" lines in
    // name order, and an empty line.
    static std::string layoutText(std::vector<std::string> names) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
        std::string text;
        for (const std::string& name : names) {
            StructInfo layout;
            if (!SymbolTable::getInstance().lookupStruct(name, layout)) {
                continue;
            }
            text += name + ": " + std::to_string(layout.getSize()) + "\n";
            for (auto& member : layout.getMembers()) {
                text += member.first + ":" + std::to_string(member.second.getOffset()) + "\n";
            }
            text += "\n";
        }
        return text;
    }

    static void writeFile(const std::string& file, const std::string& text) {
        std::ofstream out(file, std::ios::binary);
        out << text;
        ASSERT_TRUE(out.good()) << "cannot write " << file;
    }

    static std::string readFile(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // Sets both times of file to the given second.
    static void setTime(const std::string& file, long seconds) {
        struct timeval times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(0, utimes(file.c_str(), times)) << file;
    }

    static long modificationTime(const std::string& file) {
        struct stat status;
        if (stat(file.c_str(), &status) != 0) {
            return -1;
        }
        return static_cast<long>(status.st_mtime);
    }

    // Points "--debug_info_cache" at a file holding text.
    void useCache(const std::string& text) {
        writeFile(path("dump.proxy_cache"), text);
        Properties::getInstance().addProperty("--debug_info_cache", path("dump.proxy_cache"));
    }

    std::string scratch;
};

// Runs action and returns what it wrote to standard output, its timing figures masked.
template <typename Action> std::string stdoutOf(Action action) {
    testing::internal::CaptureStdout();
    action();
    return timingfigures::masked(testing::internal::GetCapturedStdout());
}

#endif
