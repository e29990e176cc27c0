#include "target/TargetThread.h"

#include <gtest/gtest.h>

namespace {

class CountingData : public ThreadData {
public:
    explicit CountingData(int& newDestroyed) : destroyed(newDestroyed) {}
    ~CountingData() override { ++destroyed; }

private:
    int& destroyed;
};

} // namespace

TEST(TargetThreadTest, DefaultsAreZeroAndEmpty) {
    TargetThread thread;
    EXPECT_EQ(0u, thread.getThreadId());
    EXPECT_EQ(0u, thread.getCoreId());
    EXPECT_EQ(0u, thread.getStackPtr());
    EXPECT_FALSE(thread.getCpuActive());
    EXPECT_EQ("0", thread.getName());
    EXPECT_EQ(nullptr, thread.getThreadData());
}

TEST(TargetThreadTest, IdAndStackConstructorIsNotActive) {
    TargetThread thread(0x20000a40, 0x200017f0);
    EXPECT_EQ(0x20000a40u, thread.getThreadId());
    EXPECT_EQ(0x200017f0u, thread.getStackPtr());
    EXPECT_FALSE(thread.getCpuActive());
    EXPECT_EQ(0u, thread.getCoreId());
}

TEST(TargetThreadTest, FullConstructorAndSetters) {
    TargetThread thread(0x20000810, 0x20000700, true, "Tmr Svc");
    EXPECT_TRUE(thread.getCpuActive());
    EXPECT_EQ("Tmr Svc", thread.getName());
    EXPECT_EQ(0u, thread.getCoreId());
    thread.setThreadId(0x20000900);
    thread.setStackPointer(0x20000680);
    thread.setCpuActive(false);
    thread.setName("IDLE");
    EXPECT_EQ(0x20000900u, thread.getThreadId());
    EXPECT_EQ(0x20000680u, thread.getStackPtr());
    EXPECT_FALSE(thread.getCpuActive());
    EXPECT_EQ("IDLE", thread.getName());
}

TEST(TargetThreadTest, EmptyNameShowsTheIdInLowerCaseHex) {
    EXPECT_EQ("1", TargetThread(1, 0).getName());
    EXPECT_EQ("2000abcd", TargetThread(0x2000ABCD, 0).getName());
    TargetThread renamed(0xff, 0, false, "x");
    renamed.setName("");
    EXPECT_EQ("ff", renamed.getName());
}

TEST(TargetThreadTest, CopiesShareTheThreadData) {
    int destroyed = 0;
    {
        TargetThread thread(0x20000a40, 0);
        thread.setThreadData(std::make_shared<CountingData>(destroyed));
        TargetThread copy = thread;
        EXPECT_EQ(thread.getThreadData().get(), copy.getThreadData().get());
        thread.setThreadData(nullptr);
        EXPECT_EQ(0, destroyed);
        EXPECT_NE(nullptr, copy.getThreadData());
    }
    EXPECT_EQ(1, destroyed);
}
