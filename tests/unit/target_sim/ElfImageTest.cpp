#include "target_sim/ElfImage.h"

#include "TestPaths.h"

#include <gtest/gtest.h>

using targetsim::ElfImage;
using Bytes = std::vector<std::uint8_t>;

namespace {
// An ELF header for a 32-bit little-endian Arm file with one program header right behind it.
Bytes armHeader(std::uint32_t entry) {
    Bytes file(52 + 32, 0);
    const std::uint8_t ident[] = {0x7f, 'E', 'L', 'F', 1, 1, 1};
    std::copy(std::begin(ident), std::end(ident), file.begin());
    auto put32 = [&file](std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; i++)
            file[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
    };
    file[18] = 40;
    put32(24, entry);
    put32(28, 52);
    file[42] = 32;
    file[44] = 1;
    put32(52, 1);          // PT_LOAD
    put32(52 + 4, 84);     // offset: right behind the table
    put32(52 + 8, 0x2000); // p_vaddr
    put32(52 + 12, 0x10);  // p_paddr, not used
    put32(52 + 16, 2);     // file size
    put32(52 + 20, 6);     // memory size
    file.push_back(0xab);
    file.push_back(0xcd);
    return file;
}
} // namespace

TEST(ElfImageTest, SegmentsLieAtTheirRunTimeAddress) {
    ElfImage image;
    std::string error;
    ASSERT_TRUE(image.parse(armHeader(0x101), error)) << error;
    EXPECT_EQ(0x101u, image.getEntry());
    ASSERT_EQ(1u, image.getSegments().size());
    EXPECT_EQ(0x2000u, image.getSegments()[0].address);
    EXPECT_EQ(6u, image.getSegments()[0].memorySize);
    EXPECT_EQ(Bytes({0xab, 0xcd}), image.getSegments()[0].bytes);
}

TEST(ElfImageTest, TheFixtureProgramPutsDataAtItsRamAddress) {
    ElfImage image;
    std::string error;
    ASSERT_TRUE(image.load(testpaths::fixturesDir() + "/sim_cm3.elf", error)) << error;
    ASSERT_EQ(2u, image.getSegments().size());
    EXPECT_EQ(0u, image.getSegments()[0].address);
    EXPECT_EQ(1u, image.getEntry() & 1) << "the entry of Thumb code carries bit 0";
    const auto& data = image.getSegments()[1];
    EXPECT_EQ(0x20000000u, data.address);
    ASSERT_GE(data.bytes.size(), 4u);
    EXPECT_EQ(Bytes({0xef, 0xbe, 0xad, 0xde}), Bytes(data.bytes.begin(), data.bytes.begin() + 4));
    EXPECT_GT(data.memorySize, data.bytes.size()) << ".bss follows .data";
}

TEST(ElfImageTest, BadFilesAreRefusedWithAReason) {
    struct Case {
        const char* what;
        std::size_t at;
        std::uint8_t value;
        const char* error;
    };
    const Case cases[] = {
        {"magic", 1, 'X', "not an ELF file"},
        {"64-bit class", 4, 2, "not a 32-bit little-endian ELF file"},
        {"big-endian", 5, 2, "not a 32-bit little-endian ELF file"},
        {"machine", 18, 3, "not an Arm ELF file"},
        {"table beyond the file", 28, 200, "program header table out of the file"},
        {"segment beyond the file", 52 + 16, 3, "segment 0 out of the file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes file = armHeader(0);
        file[c.at] = c.value;
        ElfImage image;
        std::string error;
        EXPECT_FALSE(image.parse(file, error));
        EXPECT_EQ(c.error, error);
    }
}

TEST(ElfImageTest, TruncatedFilesNeverReadPastTheirEnd) {
    Bytes whole = armHeader(0);
    for (std::size_t size = 0; size < whole.size(); size++) {
        ElfImage image;
        std::string error;
        EXPECT_FALSE(image.parse(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), error))
            << size;
    }
}

TEST(ElfImageTest, AMissingFileIsNamed) {
    ElfImage image;
    std::string error;
    EXPECT_FALSE(image.load("/nonexistent/x.elf", error));
    EXPECT_EQ("cannot open /nonexistent/x.elf", error);
}
