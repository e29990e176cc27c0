#include "ThreadxTestKernel.h"

#include "TestPaths.h"
#include "rtos/RtosDriverInfo.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <vector>

namespace {

// The memories of threadx.ld.
constexpr std::uint32_t kFlash = 0x00000000;
constexpr std::uint32_t kFlashSize = 0x100000;
constexpr std::uint32_t kRam = 0x20000000;
constexpr std::uint32_t kRamSize = 0x40000;

RtosDriverInfo threadxRow() {
    RtosDriverInfo row;
    row.setName("ThreadX");
    row.setId("threadx");
    row.setMatchSymbol("TX_THREAD_STRUCT");
    return row;
}

} // namespace

ThreadxTestKernel::ThreadxTestKernel(const std::string& program, targetsim::Profile profile)
    : target(program, profile), threadx(threadxRow()), elf(testpaths::fixturesDir() + "/" + program) {
    if (!target.ok()) {
        return;
    }
    // All of the part's flash and RAM is readable, as on the real chip, not only what the program fills:
    // a name near the end of the program's data is still read in full.
    target.target().mapRam(kFlash, kFlashSize);
    target.target().mapRam(kRam, kRamSize);
    std::vector<std::string> names;
    threadx.getSymbols(names);
    target.addSymbols(names);
    // Programs that lack a kind of object lack its structure too; the driver copes with that.
    threadx.getDataStructures(names);
    target.resolveStructures(names);
}

std::uint32_t ThreadxTestKernel::address(const std::string& symbol) const {
    std::uint32_t found = target.symbolAddress(symbol);
    EXPECT_NE(0u, found) << "no symbol " << symbol;
    return found;
}

std::uint32_t ThreadxTestKernel::memberAddress(std::uint32_t object, const std::string& structure,
                                               const std::string& member) const {
    auto layout = layouts.find(structure);
    if (layout == layouts.end()) {
        layout = layouts.emplace(structure, gdbLayout(structure)).first;
    }
    auto offset = layout->second.find(member);
    if (offset == layout->second.end()) {
        ADD_FAILURE() << "no member " << structure << "." << member;
        return 0;
    }
    return object + offset->second;
}

std::map<std::string, std::uint32_t> ThreadxTestKernel::gdbLayout(const std::string& structure) const {
    // GDB lays the structure out, not the debug-information reader that the driver under test relies on.
    std::string command = "gdb-multiarch -nx -batch -ex 'ptype/o struct " + structure + "' \"" + elf + "\"";
    std::map<std::string, std::uint32_t> offsets;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return offsets;
    }
    // A member of the structure itself (four spaces in; a nested one lies deeper): its offset and
    // declaration, whose name is the one inside "(*...)" or the last word, past any '*' and before any '['.
    static const std::regex kMember(R"(^/\*\s*(\d+)[\s:\d]*\|\s*\d+\s*\*/ {4}(\S.*);$)");
    static const std::regex kName(R"(\(\*(\w+)\)|(\w+)(\[.*\])?$)");
    char line[512];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        std::string text(line);
        text.erase(text.find_last_not_of("\n") + 1);
        std::smatch declaration, name;
        if (std::regex_match(text, declaration, kMember)) {
            std::string declared = declaration[2];
            if (std::regex_search(declared, name, kName)) {
                offsets.emplace(name[1].matched ? name[1] : name[2],
                                static_cast<std::uint32_t>(std::stoul(declaration[1])));
            }
        }
    }
    if (pclose(pipe) != 0 || offsets.empty()) {
        ADD_FAILURE() << "no layout of struct " << structure << " from " << command;
    }
    return offsets;
}

void ThreadxTestKernel::writeWord(std::uint32_t address, std::uint32_t value) {
    std::vector<std::uint8_t> bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    ASSERT_TRUE(target.target().loadMemory(address, bytes));
}

void ThreadxTestKernel::failReads(std::uint32_t address, std::uint32_t length) {
    targetsim::ErrorRange range;
    range.address = address;
    range.length = length;
    target.target().addErrorRange(range);
}
