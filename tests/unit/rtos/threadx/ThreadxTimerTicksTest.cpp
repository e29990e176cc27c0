#include "rtos/threadx/ThreadxTimerTicks.h"

#include "KernelTarget.h"
#include "debuginfo/StructInfo.h"
#include "debuginfo/SymbolTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const char* const kInternal = "TX_TIMER_INTERNAL_STRUCT";
const std::vector<std::string> kWheel = {"_tx_timer_list_start", "_tx_timer_list_end",
                                         "_tx_timer_current_ptr", "_tx_timer_expired_timer_ptr"};

class ThreadxTimerTicksIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kernel.ok());
        ASSERT_TRUE(kernel.resolveStructures({kInternal}));
    }

    // The ticks left of the timer at the symbol, and the reads it took.
    std::string ticksOf(const char* timer, unsigned int& reads) {
        StructInfo internal;
        EXPECT_TRUE(SymbolTable::resolveDataStructure(kInternal, kernel.symbolAddress(timer), internal));
        kernel.resetReads();
        unsigned int ticks = 0;
        bool read = ThreadxTimerTicks::ticksLeft(kernel.server(), internal, ticks);
        reads = kernel.memoryReads();
        return read ? std::to_string(ticks) : "unread";
    }

    KernelTarget kernel{"threadx_timer_wheel.elf"};
};

} // namespace

TEST_F(ThreadxTimerTicksIntegration, EveryPlaceATimerCanWaitCountsAsTheKernelCountsIt) {
    kernel.addSymbols(kWheel);
    struct Case {
        const char* timer;
        const char* ticks;
        unsigned int reads;
    };
    // Remaining ticks and slot, then the four words of the wheel for an active timer.
    const Case cases[] = {{"ahead", "5", 6},    {"wrapped", "26", 6}, {"turns", "79", 6},
                          {"expiring", "0", 6}, {"pending", "8", 6},  {"inactive", "9", 2}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.timer);
        unsigned int reads = 0;
        EXPECT_EQ(each.ticks, ticksOf(each.timer, reads));
        EXPECT_EQ(each.reads, reads);
    }
}

// A kernel whose wheel is not known: the member as it stands, in one read.
TEST_F(ThreadxTimerTicksIntegration, WithoutTheWheelTheRemainingTicksAsTheyStand) {
    unsigned int reads = 0;
    EXPECT_EQ("100", ticksOf("turns", reads));
    EXPECT_EQ(1u, reads);
}

TEST_F(ThreadxTimerTicksIntegration, AnUnreadableWheelWordFallsBackToTheRemainingTicks) {
    kernel.addSymbols(kWheel);
    targetsim::ErrorRange fault;
    fault.address = kernel.symbolAddress("_tx_timer_current_ptr");
    fault.length = 4;
    kernel.target().addErrorRange(fault);
    unsigned int reads = 0;
    EXPECT_EQ("14", ticksOf("ahead", reads));
}
