#include "ThreadxTestKernel.h"

#include "debuginfo/SymbolTable.h"
#include "rtos/RtosDriverInfo.h"

#include <gtest/gtest.h>

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
    : target(program, profile), threadx(threadxRow()) {
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
    StructInfo layout;
    MemberInfo info;
    if (!SymbolTable::resolveDataStructure(structure, object, layout) || !layout.lookup(member, info)) {
        ADD_FAILURE() << "no member " << structure << "." << member;
        return 0;
    }
    return info.getAddress();
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
