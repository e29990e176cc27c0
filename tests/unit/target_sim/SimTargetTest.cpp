#include "target_sim/SimTarget.h"

#include <gtest/gtest.h>

using targetsim::ElfImage;
using targetsim::ElfSegment;
using targetsim::MemorySource;
using targetsim::Profile;
using targetsim::RegisterFile;
using targetsim::SimTarget;
using Bytes = std::vector<std::uint8_t>;

namespace {
ElfSegment segment(std::uint32_t address, Bytes bytes, std::uint32_t memorySize = 0) {
    ElfSegment result;
    result.address = address;
    result.memorySize = memorySize == 0 ? static_cast<std::uint32_t>(bytes.size()) : memorySize;
    result.bytes = std::move(bytes);
    return result;
}

// Answers every read with the low byte of the address and records what was asked.
class PatternMemory : public MemorySource {
public:
    void read(std::uint32_t address, std::uint32_t length, Bytes& bytes) const override {
        requests.push_back({address, length});
        bytes.clear();
        for (std::uint32_t i = 0; i < length; i++)
            bytes.push_back(static_cast<std::uint8_t>(address + i));
    }
    bool write(std::uint32_t, const Bytes&) override { return false; }
    mutable std::vector<std::pair<std::uint32_t, std::uint32_t>> requests;
};
} // namespace

TEST(SimTargetTest, MProfileResetStateComesFromTheImage) {
    SimTarget target;
    ASSERT_TRUE(target.loadElf(ElfImage(
        0x101, {segment(0, {0x00, 0x00, 0x01, 0x20, 0x01, 0x01, 0, 0}), segment(0x20000000, {0xaa}, 8)})));
    EXPECT_EQ(0x100u, target.getRegister(RegisterFile::kPc));
    EXPECT_EQ(0x20010000u, target.getRegister(RegisterFile::kSp));
    EXPECT_EQ(0x01000000u, target.getRegister(RegisterFile::kStatus));
    EXPECT_EQ("aa00000000000000", target.readMemory(0x20000000, 8)) << "zeros behind the file bytes";
}

TEST(SimTargetTest, WithoutMemoryAtZeroTheLowestSegmentHoldsTheVectorTable) {
    SimTarget target;
    ASSERT_TRUE(target.loadElf(ElfImage(0x08000101, {segment(0x08000000, {0x00, 0x50, 0x00, 0x20})})));
    EXPECT_EQ(0x20005000u, target.getRegister(RegisterFile::kSp));
}

TEST(SimTargetTest, AProfileStartsInSvcModeAndInThumbStateForAThumbEntry) {
    SimTarget arm(Profile::A);
    ASSERT_TRUE(arm.loadElf(ElfImage(0x8000, {segment(0x8000, {0, 0, 0, 0})})));
    EXPECT_EQ(0x1d3u, arm.getRegister(RegisterFile::kStatus));
    EXPECT_EQ(0u, arm.getRegister(RegisterFile::kSp)) << "no vector table on A profile";
    SimTarget thumb(Profile::A);
    ASSERT_TRUE(thumb.loadElf(ElfImage(0x8001, {segment(0x8000, {0, 0, 0, 0})})));
    EXPECT_EQ(0x1f3u, thumb.getRegister(RegisterFile::kStatus));
    EXPECT_EQ(0x8000u, thumb.getRegister(RegisterFile::kPc));
}

TEST(SimTargetTest, ASegmentThatCannotBeMappedFailsTheLoad) {
    SimTarget target;
    EXPECT_FALSE(target.loadElf(ElfImage(0, {segment(0xfffffff0, {1}, 0x100)})));
}

TEST(SimTargetTest, APluggedMemorySourceServesReadsAndSeesEachRequest) {
    PatternMemory memory;
    SimTarget target;
    target.useMemorySource(memory);
    EXPECT_EQ("10111213", target.readMemory(0x20000010, 4));
    EXPECT_EQ("E01", target.writeMemory(0x20000010, {1}));
    ASSERT_EQ(1u, memory.requests.size());
    EXPECT_EQ(0x20000010u, memory.requests[0].first);
    EXPECT_EQ(4u, memory.requests[0].second);
    EXPECT_EQ(1u, target.getStats().memoryReads);
    EXPECT_EQ(4u, target.getStats().memoryReadBytes);
}
