#include "rtos/threadx/ThreadxPortFactory.h"

#include "KernelTarget.h"
#include "ThreadxTestLog.h"
#include "base/Properties.h"
#include "rtos/RtosPort.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

const PortFrames* rowOf(const std::unique_ptr<IRtosPortDriver>& port) {
    return port ? &dynamic_cast<RtosPort&>(*port).getFrames() : nullptr;
}

struct OptionCase {
    const char* value;
    const PortFrames* port;
};

} // namespace

TEST(ThreadxPortFactoryTest, EveryOptionValueGivesItsPort) {
    const OptionCase cases[] = {
        {"cortex_m0", ThreadxPortFactory::frames("cortex_m0")},
        {"cortex_m3", ThreadxPortFactory::frames("cortex_m3")},
        {"cortex_m4", ThreadxPortFactory::frames("cortex_m3")},
        {"cortex_m7", ThreadxPortFactory::frames("cortex_m3")},
        {"cortex_m33", ThreadxPortFactory::frames("cortex_m33")},
        {"cortex_m55", ThreadxPortFactory::frames("cortex_m33")},
        {"cortex_m85", ThreadxPortFactory::frames("cortex_m33")},
        {"cortex_a7", ThreadxPortFactory::frames("cortex_a7")},
    };
    for (const OptionCase& entry : cases) {
        SCOPED_TRACE(entry.value);
        std::unique_ptr<IRtosPortDriver> port;
        std::string log = threadxlog::capture(threadxlog::kAll,
                                              [&] { port.reset(ThreadxPortFactory::create(entry.value)); });
        EXPECT_EQ(entry.port, rowOf(port));
        EXPECT_EQ(std::string("ThreadX, port driver created: ") + entry.value + "\n", log);
    }
}

TEST(ThreadxPortFactoryTest, CortexM7AndCortexM4ShareTheirClass) {
    std::unique_ptr<IRtosPortDriver> m7(ThreadxPortFactory::create("cortex_m7"));
    std::unique_ptr<IRtosPortDriver> m4(ThreadxPortFactory::create("cortex_m4"));
    ASSERT_NE(nullptr, m7);
    EXPECT_EQ(rowOf(m4), rowOf(m7));
}

TEST(ThreadxPortFactoryTest, ValuesAreComparedExactly) {
    for (const char* value :
         {"Cortex_m4", "CORTEX_M4", "cortex_m4 ", "cortex_m", "cortex_m5", "cortex-m4", ""}) {
        SCOPED_TRACE(value);
        IRtosPortDriver* port = reinterpret_cast<IRtosPortDriver*>(1);
        std::string log =
            threadxlog::capture(threadxlog::kAll, [&] { port = ThreadxPortFactory::create(value); });
        EXPECT_EQ(nullptr, port);
        EXPECT_EQ(std::string("ThreadX, failure create port driver: ") + value + "\n", log);
    }
}

TEST(ThreadxPortFactoryTest, FailureIsADebugLine) {
    IRtosPortDriver* port = nullptr;
    EXPECT_EQ("", threadxlog::capture(threadxlog::kDefault,
                                      [&] { port = ThreadxPortFactory::create("cortex_m5"); }));
    EXPECT_EQ(nullptr, port);
}

namespace {

// The core's identity, as the simulator shows it in the SCB at 0xe000ed00.
class ThreadxPortDetectionIntegration : public ::testing::Test {
protected:
    void layCpuid(std::uint32_t cpuid) {
        std::vector<std::uint8_t> bytes = {
            static_cast<std::uint8_t>(cpuid), static_cast<std::uint8_t>(cpuid >> 8),
            static_cast<std::uint8_t>(cpuid >> 16), static_cast<std::uint8_t>(cpuid >> 24)};
        ASSERT_TRUE(kernel.target().loadMemory(0xe000ed00, bytes));
    }

    std::unique_ptr<IRtosPortDriver> detect(std::string& log) {
        std::unique_ptr<IRtosPortDriver> port;
        kernel.resetReads();
        log = threadxlog::capture(threadxlog::kAll,
                                  [&] { port.reset(ThreadxPortFactory::create(kernel.server())); });
        return port;
    }

    KernelTarget kernel{"threadx_frames_cm.elf"};
};

struct CpuidCase {
    std::uint32_t cpuid;
    const char* partNumber;
    const char* value;
    const PortFrames* port;
};

} // namespace

TEST_F(ThreadxPortDetectionIntegration, EachKnownPartNumberGivesItsPort) {
    ASSERT_TRUE(kernel.ok());
    const CpuidCase cases[] = {
        {0x410CC200, "0xc20", "cortex_m0", ThreadxPortFactory::frames("cortex_m0")},
        {0x410CC601, "0xc60", "cortex_m0", ThreadxPortFactory::frames("cortex_m0")},
        {0x412FC231, "0xc23", "cortex_m3", ThreadxPortFactory::frames("cortex_m3")},
        {0x410FC241, "0xc24", "cortex_m4", ThreadxPortFactory::frames("cortex_m3")},
        {0x411FC272, "0xc27", "cortex_m7", ThreadxPortFactory::frames("cortex_m3")},
        {0x410FD213, "0xd21", "cortex_m33", ThreadxPortFactory::frames("cortex_m33")},
    };
    for (const CpuidCase& entry : cases) {
        SCOPED_TRACE(entry.value);
        layCpuid(entry.cpuid);
        std::string log;
        std::unique_ptr<IRtosPortDriver> port = detect(log);
        EXPECT_EQ(entry.port, rowOf(port));
        EXPECT_EQ(std::string("SCB->CPUID->PART_NO: ") + entry.partNumber +
                      "\nThreadX, port driver created: " + entry.value + "\n",
                  log);
        EXPECT_EQ(1u, kernel.memoryReads());
    }
}

TEST_F(ThreadxPortDetectionIntegration, OnlyThePartNumberBitsCount) {
    ASSERT_TRUE(kernel.ok());
    // Implementer, variant, architecture and revision all set: still a Cortex-M4.
    for (std::uint32_t cpuid : {0x0000C240u, 0xFFFFC24Fu, 0x41F0C24Au}) {
        SCOPED_TRACE(cpuid);
        layCpuid(cpuid);
        std::string log;
        EXPECT_EQ(ThreadxPortFactory::frames("cortex_m3"), rowOf(detect(log)));
        EXPECT_EQ("SCB->CPUID->PART_NO: 0xc24\nThreadX, port driver created: cortex_m4\n", log);
    }
}

TEST_F(ThreadxPortDetectionIntegration, CoresThatNeedTheOptionAreUnsupported) {
    ASSERT_TRUE(kernel.ok());
    // Cortex-M55 and Cortex-M85 have part numbers of their own, which detection does not know.
    for (std::uint32_t cpuid : {0x410FD220u, 0x410FD230u}) {
        layCpuid(cpuid);
        std::string log;
        EXPECT_EQ(nullptr, detect(log));
        char expected[80];
        snprintf(expected, sizeof(expected), "SCB->CPUID->PART_NO: 0x%x\nUnsupported core: 0x%x\n",
                 (cpuid >> 4) & 0xfff, (cpuid >> 4) & 0xfff);
        EXPECT_EQ(expected, log);
    }
    layCpuid(0x410FD220);
    std::unique_ptr<IRtosPortDriver> port;
    EXPECT_EQ("Unsupported core: 0xd22\n", threadxlog::capture(threadxlog::kDefault, [&] {
                  port.reset(ThreadxPortFactory::create(kernel.server()));
              }));
}

TEST_F(ThreadxPortDetectionIntegration, UnreadableCpuidFails) {
    ASSERT_TRUE(kernel.ok());
    std::string log;
    EXPECT_EQ(nullptr, detect(log));
    EXPECT_EQ("Failure detecting cortex core.\n", log);
    EXPECT_EQ(1u, kernel.memoryReads());
}

// The Cortex-A7 has no SCB: the program's architecture names its port, and the target is not read.
TEST(ThreadxPortDetectionAProfileIntegration, TheArchitectureNamesTheCortexA7) {
    KernelTarget kernel("threadx_frames_ca7.elf", targetsim::Profile::A);
    ASSERT_TRUE(kernel.ok());
    kernel.resetReads();
    std::unique_ptr<IRtosPortDriver> port;
    std::string log = threadxlog::capture(threadxlog::kAll,
                                          [&] { port.reset(ThreadxPortFactory::create(kernel.server())); });
    EXPECT_EQ(ThreadxPortFactory::frames("cortex_a7"), rowOf(port));
    EXPECT_EQ(
        "Detected rtos variant: cortex_a7 (architecture v7-A)\nThreadX, port driver created: cortex_a7\n",
        log);
    EXPECT_EQ(0u, kernel.memoryReads());
}

TEST(ThreadxPortDetectionAProfileIntegration, WithoutTheProgramTheMProfileRegisterIsNotThere) {
    KernelTarget kernel("threadx_frames_ca7.elf", targetsim::Profile::A);
    ASSERT_TRUE(kernel.ok());
    Properties::getInstance().addProperty("--file", "/nonexistent/program.elf");
    std::unique_ptr<IRtosPortDriver> port;
    std::string log = threadxlog::capture(threadxlog::kAll,
                                          [&] { port.reset(ThreadxPortFactory::create(kernel.server())); });
    EXPECT_EQ(nullptr, port);
    EXPECT_EQ("Failure detecting cortex core.\n", log);
}
