#include "target_sim/SimOptions.h"

#include "TestPaths.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using targetsim::Profile;
using targetsim::RegisterFile;
using targetsim::SimOptions;
using targetsim::SimTarget;

namespace {
// A file in the temporary directory, removed with the object.
struct TempFile {
    explicit TempFile(const std::string& contents) {
        char name[] = "/tmp/target_sim_test_XXXXXX";
        int fd = ::mkstemp(name);
        ::close(fd);
        path = name;
        std::ofstream(path, std::ios::binary) << contents;
    }
    ~TempFile() { std::remove(path.c_str()); }
    std::string path;
};

std::string elf() {
    return testpaths::fixturesDir() + "/sim_cm3.elf";
}
} // namespace

TEST(SimOptionsTest, WireOptionsFillTheConfig) {
    SimOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({"--port", "3333", "--read-delay-ms=5", "--close-after", "0x10", "--ack-mode",
                               "--once", "--stats", "-v", "--stop-reply", "S05", "--packet-size", "0x400",
                               "--xfer-chunk", "100", "--a-profile", "--threads-xfer", "app.elf"},
                              error))
        << error;
    EXPECT_EQ(3333, options.config.port);
    EXPECT_EQ(5u, options.config.readDelayMs);
    EXPECT_EQ(16u, options.config.closeAfterPackets);
    EXPECT_TRUE(options.config.keepAckMode);
    EXPECT_TRUE(options.config.once);
    EXPECT_TRUE(options.config.printStats);
    EXPECT_TRUE(options.config.offerThreadsXfer);
    EXPECT_TRUE(options.config.verbose);
    EXPECT_EQ("S05", options.config.stopReply);
    EXPECT_EQ(0x400u, options.config.packetSize);
    EXPECT_EQ(100u, options.config.xferChunk);
    EXPECT_EQ(Profile::A, options.profile);
    EXPECT_EQ("app.elf", options.elfPath);
}

TEST(SimOptionsTest, ContentOptionsAreKeptInOrder) {
    SimOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({"--ram", "0x20000000:0x10000", "--load", "0x20000100:snap.bin",
                               "--error-range", "0x20000200:8", "--error-range", "0x30000000:0x10:E14",
                               "--reg", "pc=0x100", "--reg", "r1=7"},
                              error))
        << error;
    ASSERT_EQ(1u, options.ram.size());
    EXPECT_EQ(0x20000000u, options.ram[0].address);
    EXPECT_EQ(0x10000u, options.ram[0].size);
    ASSERT_EQ(1u, options.images.size());
    EXPECT_EQ(0x20000100u, options.images[0].address);
    EXPECT_EQ("snap.bin", options.images[0].path);
    ASSERT_EQ(2u, options.errorRanges.size());
    EXPECT_EQ("E01", options.errorRanges[0].reply);
    EXPECT_EQ(8u, options.errorRanges[0].length);
    EXPECT_EQ("E14", options.errorRanges[1].reply);
    EXPECT_EQ(0x10u, options.errorRanges[1].length);
    ASSERT_EQ(2u, options.registers.size());
    EXPECT_EQ("pc", options.registers[0].first);
    EXPECT_EQ(0x100u, options.registers[0].second);
}

TEST(SimOptionsTest, MistakesAreRefusedWithAReason) {
    struct Case {
        std::vector<std::string> args;
        const char* error;
    };
    const Case cases[] = {
        {{"--bogus"}, "unknown option --bogus"},
        {{"--port"}, "--port needs a value"},
        {{"--port", "65536"}, "invalid value for --port: 65536"},
        {{"--once=1"}, "--once takes no value"},
        {{"--ram", "0x100"}, "invalid value for --ram: 0x100"},
        {{"--ram", "0x100:12ab"}, "invalid value for --ram: 0x100:12ab"},
        {{"--load", "0x100:"}, "invalid value for --load: 0x100:"},
        {{"--error-range", "1:2:"}, "invalid value for --error-range: 1:2:"},
        {{"--reg", "=5"}, "invalid value for --reg: =5"},
        {{"--packet-size", "10"}, "invalid value for --packet-size: 10"},
        {{"a.elf", "b.elf"}, "more than one ELF file: b.elf"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.error);
        SimOptions options;
        std::string error;
        EXPECT_FALSE(options.parse(c.args, error));
        EXPECT_EQ(c.error, error);
    }
}

TEST(SimOptionsTest, TheTargetStartsAtTheEntryWithTheVectorTableStack) {
    SimOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({elf()}, error));
    SimTarget target;
    ASSERT_TRUE(options.buildTarget(target, error)) << error;
    EXPECT_EQ(0x20010000u, target.getRegister(RegisterFile::kSp));
    EXPECT_EQ(0u, target.getRegister(RegisterFile::kPc) & 1) << "pc holds no Thumb bit";
    EXPECT_NE(0u, target.getRegister(RegisterFile::kPc));
    EXPECT_EQ(0x01000000u, target.getRegister(RegisterFile::kStatus));
    EXPECT_EQ("efbeadde", target.readMemory(0x20000000, 4)) << ".data at its RAM address";
}

TEST(SimOptionsTest, RegistersFileThenSingleRegisters) {
    TempFile regs("# saved context\nr0=0x10\n  r1 = 17  # decimal\n\npc=0x200\n");
    SimOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({elf(), "--regs-file", regs.path, "--reg", "pc=0x300"}, error));
    SimTarget target;
    ASSERT_TRUE(options.buildTarget(target, error)) << error;
    EXPECT_EQ(0x10u, target.getRegister(0));
    EXPECT_EQ(17u, target.getRegister(1));
    EXPECT_EQ(0x300u, target.getRegister(RegisterFile::kPc));
}

TEST(SimOptionsTest, ImagesAreLaidOverRamAndErrorRangesAnswer) {
    TempFile snapshot(std::string("\x01\x02\x03\x04\x05", 5));
    SimOptions options;
    std::string error;
    ASSERT_TRUE(options.parse({"--ram", "0x20000000:0x100", "--load", "0x20000002:" + snapshot.path, "--load",
                               "0x40000000:" + snapshot.path, "--error-range", "0x20000080:4:E14"},
                              error));
    SimTarget target;
    ASSERT_TRUE(options.buildTarget(target, error)) << error;
    EXPECT_EQ("00000102030405000000", target.readMemory(0x20000000, 10));
    EXPECT_EQ("0102030405", target.readMemory(0x40000000, 8)) << "a load maps its own range";
    EXPECT_EQ("E14", target.readMemory(0x2000007e, 4));
    EXPECT_EQ("00000000", target.readMemory(0x2000007c, 4));
}

TEST(SimOptionsTest, BuildFailuresNameTheirCause) {
    TempFile badRegs("r0 0x10\n");
    struct Case {
        std::vector<std::string> args;
        std::string error;
    };
    const Case cases[] = {
        {{"/nonexistent.elf"}, "cannot open /nonexistent.elf"},
        {{"--load", "0x0:/nonexistent.bin"}, "cannot open /nonexistent.bin"},
        {{"--regs-file", badRegs.path}, badRegs.path + ":1: expected NAME=VALUE"},
        {{"--reg", "cpsr=1"}, "unknown register cpsr"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.error);
        SimOptions options;
        std::string error;
        ASSERT_TRUE(options.parse(c.args, error)) << error;
        SimTarget target;
        EXPECT_FALSE(options.buildTarget(target, error));
        EXPECT_EQ(c.error, error);
    }
}
