#ifndef TARNWICK_TESTS_UNIT_DEBUGINFO_DEBUGINFOTESTSUPPORT_H
#define TARNWICK_TESTS_UNIT_DEBUGINFO_DEBUGINFOTESTSUPPORT_H

#include "EmptySingletonsTest.h"
#include "ProcessRunner.h"
#include "TimingFigures.h"
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
#include <sys/time.h>
#include <vector>

// Builders of the dump tool's text; positions are made up.
namespace dumptext {

inline const std::string kEndOfChildren = " <2><4e>: Abbrev Number: 0\n";

inline std::string structureHead() {
    return " <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)\n";
}

inline std::string nameAttribute(const std::string& name) {
    return "    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): " + name + "\n";
}

inline std::string sizeAttribute(const std::string& text) {
    return "    <34>   DW_AT_byte_size   : " + text + "\n";
}

inline std::string memberHead() {
    return " <2><3a>: Abbrev Number: 4 (DW_TAG_member)\n";
}

inline std::string locationAttribute(const std::string& text) {
    return "    <43>   DW_AT_data_member_location: " + text + "\n";
}

inline std::string structure(const std::string& name, const std::string& size) {
    return structureHead() + nameAttribute(name) + sizeAttribute(size) + "    <35>   DW_AT_decl_file   : 2\n";
}

inline std::string member(const std::string& name, const std::string& offset) {
    return memberHead() + nameAttribute(name) + "    <3f>   DW_AT_type        : <0x25>\n" +
           locationAttribute(offset);
}

// Every member of member_forms.c where C names it: bit-fields at the byte of their first bit, the members
// of the anonymous union and structure in the structure that holds them.
inline const std::string kMemberFormsLayout =
    "io: 28\na:4\nb:4\nc:16\nid:0\npad:6\nptr:8\nq:24\nraw:8\nx:12\n\n";

} // namespace dumptext

// GDB's own reading of a program, the reference the layouts and addresses are checked against: what
// gdb-multiarch prints for the commands.
inline std::string gdbOutput(const std::string& elf, const std::vector<std::string>& commands) {
    // env finds the debugger on the PATH, as a shell would.
    std::vector<std::string> args = {"gdb-multiarch", "-batch", "-nx"};
    for (const std::string& command : commands) {
        args.push_back("-ex");
        args.push_back(command);
    }
    args.push_back(elf);
    ProcessRunner gdb("/usr/bin/env", args);
    EXPECT_TRUE(gdb.started() && gdb.waitExit(60000)) << "gdb-multiarch on " << elf;
    return gdb.output();
}

// Every debug-information test starts from empty singletons, all log severities on, and a private
// scratch folder that is removed afterwards.
class DebugInfoTest : public EmptySingletonsTest {
public:
    static std::string readFile(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

protected:
    void SetUp() override {
        EmptySingletonsTest::SetUp();
        char pattern[] = "/tmp/tarnwick_debuginfo_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        scratch = pattern;
    }

    void TearDown() override {
        std::filesystem::remove_all(scratch);
        EmptySingletonsTest::TearDown();
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
