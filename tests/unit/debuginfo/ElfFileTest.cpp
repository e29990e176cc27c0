#include "debuginfo/ElfFile.h"

#include "TestPaths.h"
#include "debuginfo/ArmAttributes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace {

std::string fixture(const std::string& name) {
    return testpaths::fixturesDir() + "/" + name;
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// A copy of a fixture's first bytes, in a file of this test process.
std::string truncatedCopy(const std::string& from, std::size_t length) {
    std::ifstream in(from, std::ios::binary);
    std::string bytes(length, '\0');
    in.read(&bytes[0], static_cast<std::streamsize>(length));
    std::string path =
        (std::filesystem::temp_directory_path() / ("tarnwick_elf_" + std::to_string(::getpid()))).string();
    std::ofstream(path, std::ios::binary) << bytes.substr(0, static_cast<std::size_t>(in.gcount()));
    return path;
}

} // namespace

TEST(ElfFileTest, ReadsTheAttributesAndTheSymbolsOfAProgram) {
    ElfFile elf;
    ASSERT_TRUE(elf.load(fixture("freertos_snapshot.elf")));
    ArmAttributes attributes;
    ASSERT_TRUE(attributes.read(elf));
    EXPECT_EQ("v7E-M", attributes.getArchitecture());
    EXPECT_TRUE(attributes.usesFloatingPoint());
    std::vector<std::string> names = elf.symbolNames();
    EXPECT_TRUE(contains(names, "pxCurrentTCB"));
    EXPECT_TRUE(contains(names, "xSchedulerRunning"));
    EXPECT_FALSE(contains(names, ""));
    std::string bytes;
    EXPECT_FALSE(elf.section(".no.such.section", bytes));
}

TEST(ElfFileTest, OtherFilesAreNotRead) {
    ElfFile elf;
    EXPECT_FALSE(elf.load("/nonexistent/program.elf"));
    EXPECT_FALSE(elf.load(testpaths::sourceDir() + "/README.md"));
    std::string truncated = truncatedCopy(fixture("freertos_snapshot.elf"), 200);
    EXPECT_FALSE(elf.load(truncated));
    std::remove(truncated.c_str());
    std::string bytes;
    EXPECT_FALSE(elf.section(".ARM.attributes", bytes));
    EXPECT_TRUE(elf.symbolNames().empty());
}
