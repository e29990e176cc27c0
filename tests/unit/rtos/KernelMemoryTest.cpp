#include "rtos/KernelMemory.h"

#include "ThreadxTestKernel.h"
#include "freertos/FreeRtosDriverTestSupport.h"

#include <gtest/gtest.h>

using namespace freertostest;

// The reads run against the kernel snapshots, so that names and stacks lie where the kernels put them.
namespace {

class KernelMemoryOnFreeRtos : public FreeRtosDriverTest {};

} // namespace

TEST_F(KernelMemoryOnFreeRtos, StringOfTwentyBytesWithoutTerminatorKeepsNineteen) {
    load("freertos_snapshot.elf");
    unsigned int at = 0x2000F000;
    std::vector<std::uint8_t> text(24, 'x');
    for (unsigned int i = 0; i < 20; ++i) {
        text[i] = static_cast<std::uint8_t>('A' + i);
    }
    ASSERT_TRUE(kernel->target().loadMemory(at, text));
    std::string out;
    ASSERT_TRUE(KernelMemory::readString(kernel->server(), at, 20, out));
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRS", out);
    ASSERT_TRUE(KernelMemory::readString(kernel->server(), at + 15, 3, out));
    EXPECT_EQ("PQ", out);
    EXPECT_EQ(2u, kernel->memoryReads());
}

TEST_F(KernelMemoryOnFreeRtos, StringEndsAtItsTerminator) {
    load("freertos_snapshot.elf");
    std::string out;
    ASSERT_TRUE(KernelMemory::readString(kernel->server(), taskMember("xIdleTCB", "pcTaskName"), 20, out));
    EXPECT_EQ("IDLE", out);
}

TEST_F(KernelMemoryOnFreeRtos, StringThatCannotBeReadLeavesTheText) {
    load("freertos_snapshot.elf");
    std::string out = "before";
    EXPECT_FALSE(KernelMemory::readString(kernel->server(), 0x70000000, 20, out));
    EXPECT_FALSE(KernelMemory::readString(kernel->server(), address("xIdleTCB"), 0, out));
    EXPECT_EQ("before", out);
    EXPECT_EQ(1u, kernel->memoryReads());
}

namespace {

// ThreadX fills a new thread's stack with this byte.
constexpr unsigned char kStackFill = 0xef;

// The address of the name that a thread of the snapshot points at.
std::uint32_t nameOf(ThreadxTestKernel& kernel, const char* thread) {
    unsigned int pointer = 0;
    std::uint32_t member = kernel.memberAddress(kernel.address(thread), "TX_THREAD_STRUCT", "tx_thread_name");
    EXPECT_TRUE(kernel.server().readMemory(member, pointer));
    return pointer;
}

} // namespace

TEST(KernelMemoryOnThreadx, StringsAreCutToOneLessThanTheLength) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    std::uint32_t longName = nameOf(kernel, "thread_housekeeping");
    std::string text;
    kernel.resetReads();
    ASSERT_TRUE(KernelMemory::readString(kernel.server(), longName, 20, text));
    EXPECT_EQ("housekeeping and wa", text);
    EXPECT_EQ(1u, kernel.reads());
    ASSERT_TRUE(KernelMemory::readString(kernel.server(), longName, 5, text));
    EXPECT_EQ("hous", text);
    // A shorter text ends at its zero byte.
    ASSERT_TRUE(KernelMemory::readString(kernel.server(), nameOf(kernel, "thread_main"), 20, text));
    EXPECT_EQ("main", text);
}

TEST(KernelMemoryOnThreadx, StringOfNoLengthOrUnreadable) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    std::string text = "kept";
    kernel.resetReads();
    EXPECT_FALSE(KernelMemory::readString(kernel.server(), nameOf(kernel, "thread_main"), 0, text));
    EXPECT_EQ(1u, kernel.reads());
    EXPECT_FALSE(KernelMemory::readString(kernel.server(), 0x30000000, 20, text));
    EXPECT_EQ("kept", text);
}

TEST(KernelMemoryOnThreadx, FreeStackCountsTheFillFromTheLowEnd) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    unsigned int free = 0;
    kernel.resetReads();
    // 1024 bytes, the lowest 100 never written.
    ASSERT_TRUE(
        KernelMemory::countStackFill(kernel.server(), kernel.address("stack_main"), 1024, kStackFill, free));
    EXPECT_EQ(100u, free);
    EXPECT_EQ(1u, kernel.reads());
    EXPECT_EQ(1024u, kernel.kernel().target().getStats().memoryReadBytes);
    // The fill ends in the middle of a word.
    ASSERT_TRUE(KernelMemory::countStackFill(kernel.server(), kernel.address("stack_storage"), 1024,
                                             kStackFill, free));
    EXPECT_EQ(162u, free);
    // Byte 0 used: nothing free.
    ASSERT_TRUE(
        KernelMemory::countStackFill(kernel.server(), kernel.address("stack_heap"), 512, kStackFill, free));
    EXPECT_EQ(0u, free);
    // All of the stack still filled.
    ASSERT_TRUE(
        KernelMemory::countStackFill(kernel.server(), kernel.address("stack_main"), 64, kStackFill, free));
    EXPECT_EQ(64u, free);
}

TEST(KernelMemoryOnThreadx, FreeStackUnreadableLeavesTheCount) {
    ThreadxTestKernel kernel("threadx_state.elf");
    ASSERT_TRUE(kernel.ok());
    unsigned int free = 77;
    EXPECT_FALSE(KernelMemory::countStackFill(kernel.server(), 0x30000000, 1024, kStackFill, free));
    EXPECT_EQ(77u, free);
}
