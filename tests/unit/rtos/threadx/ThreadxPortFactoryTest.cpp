#include "rtos/threadx/ThreadxPortFactory.h"

#include "KernelTarget.h"
#include "ThreadxFrameExpectations.h"
#include "ThreadxPortRun.h"
#include "ThreadxTestLog.h"
#include "base/Properties.h"
#include "rtos/PortTable.h"
#include "rtos/RtosPort.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
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

// Each part number and architecture of the rows names its own port; the ports of no row's core need the
// option.
TEST(ThreadxPortFactoryTest, EachCoreOrArchitectureOfTheRowsNamesItsPort) {
    const PortTable& table = ThreadxPortFactory::table();
    std::vector<std::string> found;
    std::vector<std::string> optionOnly;
    for (const PortRow& row : table.getRows()) {
        for (unsigned int part : row.coreParts) {
            EXPECT_EQ(&row, table.ofCorePart(part)) << row.name;
            char entry[40];
            snprintf(entry, sizeof(entry), "%s 0x%x", row.name, part);
            found.push_back(entry);
        }
        for (const PortRow::Architecture& architecture : row.architectures) {
            PortRow::Evidence evidence;
            evidence.architecture = architecture.name;
            EXPECT_EQ(&row, table.ofEvidence(evidence)) << row.name;
            found.push_back(std::string(row.name) + " " + architecture.name);
        }
        if (row.coreParts.empty() && row.architectures.empty()) {
            optionOnly.push_back(row.name);
        }
    }
    const std::vector<std::string> expected = {"cortex_m0 0xc20", "cortex_m0 0xc60", "cortex_m3 0xc23",
                                               "cortex_m4 0xc24", "cortex_m7 0xc27", "cortex_m33 0xd21",
                                               "cortex_a7 v7-A"};
    EXPECT_EQ(expected, found);
    EXPECT_EQ(std::vector<std::string>({"cortex_m55", "cortex_m85"}), optionOnly);
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

namespace {

// One switched-out thread of the Cortex-M fixture frames (threadx_frames_cm.c): the row that reads it, the
// layout and tag of its words, the words set apart from the tag, and what the read costs and logs.
struct MFrameCase {
    const char* variant;
    const char* frame;
    const threadxframes::ExpectedLayout& layout;
    std::uint32_t tag;
    std::map<unsigned int, std::uint32_t> words;
    // The stack pointer GDB sees: behind the frame (and its alignment word), not the saved pointer.
    unsigned int past;
    std::uint64_t bytes;
    // After the EXC_RETURN and stack pointer lines, or after "Saved SP" for a row without a probe.
    const char* lines;
};

using namespace threadxframes;

const char* const kBasicLine = "Frame type: Basic, OS frame Basic\n";
const char* const kExtendedLine = "Frame type: Extended, OS frame: Extended\n";

// The Armv8-M rows read bit 6 nowhere: the kernel saves every thread's non-secure context in front of
// the plain frame, and a thread built with TX_SINGLE_MODE_SECURE saves EXC_RETURN 0xffffffed (bit 6 set).
const MFrameCase kMFrames[] = {
    // r8-r11 before r4-r7, in one read of the whole frame and nothing before it.
    {"cortex_m0", "frame_cm0", kCm0, 0xC0000000, {{0, kExcReturnBasic}, {64, kXpsrPlain}}, 68, 68, ""},
    {"cortex_m3",
     "frame_cm3_basic",
     kCm3Basic,
     0xB3000000,
     {{0, kExcReturnBasic}, {64, kXpsrPlain}},
     68,
     4 + 68,
     kBasicLine},
    {"cortex_m3",
     "frame_cm3_basic_aligned",
     kCm3Basic,
     0xA3000000,
     {{0, kExcReturnBasic}, {64, kXpsrAligned}},
     72,
     4 + 68,
     "Frame type: Basic, OS frame Basic\nAdd alignment\n"},
    {"cortex_m3",
     "frame_cm3_extended",
     kCm3Extended,
     0xE3000000,
     {{0, kExcReturnExtended}, {128, kXpsrPlain}},
     204,
     4 + 204,
     kExtendedLine},
    {"cortex_m33",
     "frame_cm33_basic",
     kCm3Basic,
     0xB5000000,
     {{0, kExcReturnNsBasic}, {64, kXpsrPlain}},
     68,
     4 + 68,
     kBasicLine},
    {"cortex_m33",
     "frame_cm33_extended_aligned",
     kCm3Extended,
     0xE5000000,
     {{0, kExcReturnNsExtended}, {128, kXpsrAligned}},
     208,
     4 + 204,
     "Frame type: Extended, OS frame: Extended\nAdd alignment\n"},
    {"cortex_m33",
     "frame_cm33_to_secure_basic",
     kCm3Basic,
     0xB6000000,
     {{0, kExcReturnBasic}, {64, kXpsrPlain}},
     68,
     4 + 68,
     kBasicLine},
    {"cortex_m33",
     "frame_cm33_to_secure_extended",
     kCm3Extended,
     0xE6000000,
     {{0, kExcReturnExtended}, {128, kXpsrPlain}},
     204,
     4 + 204,
     kExtendedLine},
};

std::string headLines(bool probed, std::uint32_t excReturn, std::uint32_t sp) {
    char text[80];
    if (probed) {
        snprintf(text, sizeof(text), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, sp);
    } else {
        snprintf(text, sizeof(text), "Saved SP: 0x%x\n", sp);
    }
    return text;
}

class ThreadxPortFramesIntegration : public ::testing::Test {
protected:
    ThreadxPortRun registersAt(const char* variant, std::uint32_t sp) {
        std::unique_ptr<IRtosPortDriver> port(ThreadxPortFactory::create(variant));
        return runPort(*port, kernel, TargetThread(0x20001000, sp));
    }

    KernelTarget kernel{"threadx_frames_cm.elf"};
};

} // namespace

TEST_F(ThreadxPortFramesIntegration, EveryCortexMFrame) {
    ASSERT_TRUE(kernel.ok());
    for (const MFrameCase& entry : kMFrames) {
        SCOPED_TRACE(entry.frame);
        std::uint32_t sp = kernel.symbolAddress(entry.frame);
        ThreadxPortRun run = registersAt(entry.variant, sp);
        ASSERT_TRUE(run.result);
        Values expected = framed(entry.layout, entry.tag, entry.words);
        expected[R::REG_SP] = sp + entry.past;
        EXPECT_EQ(expected, valuesOf(run.registers));
        bool probed = entry.bytes != entry.layout.size;
        EXPECT_EQ(probed ? 2u : 1u, run.reads);
        EXPECT_EQ(entry.bytes, run.bytes);
        EXPECT_EQ(headLines(probed, entry.words.at(0), sp) + entry.lines, run.log);
    }
}

TEST_F(ThreadxPortFramesIntegration, WordsAtTheirPlaces) {
    ASSERT_TRUE(kernel.ok());
    ThreadxPortRun cm0 = registersAt("cortex_m0", kernel.symbolAddress("frame_cm0"));
    EXPECT_EQ(0xC0000004u, cm0.registers.getRegisterValue(R::REG_R8, 0u));
    EXPECT_EQ(0xC0000014u, cm0.registers.getRegisterValue(R::REG_R4, 0u));
    ThreadxPortRun extended = registersAt("cortex_m3", kernel.symbolAddress("frame_cm3_extended"));
    EXPECT_EQ(0xE3000004u, extended.registers.getRegisterValue(R::REG_S16, 0u));
    EXPECT_EQ(0xE30000C4u, extended.registers.getRegisterValue(R::REG_FPSCR, 0u));
    ThreadxPortRun armv8m = registersAt("cortex_m33", kernel.symbolAddress("frame_cm33_basic"));
    EXPECT_EQ(0xB5000004u, armv8m.registers.getRegisterValue(R::REG_R4, 0u));
}

TEST_F(ThreadxPortFramesIntegration, UnreadableWordsFail) {
    ASSERT_TRUE(kernel.ok());
    const std::pair<const char*, const char*> cases[] = {
        {"cortex_m0", "Saved SP: 0x30000000\nfailed reading frame\n"},
        {"cortex_m3", "Failed reading saved stack ptr\n"},
        {"cortex_m33", "Failed reading saved stack ptr\n"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.first);
        ThreadxPortRun run = registersAt(entry.first, 0x30000000);
        EXPECT_FALSE(run.result);
        EXPECT_TRUE(run.registers.getRegisters().empty());
        EXPECT_EQ(entry.second, run.log);
        EXPECT_EQ(1u, run.reads);
    }
}

TEST_F(ThreadxPortFramesIntegration, UnreadableFrameFailsAfterTheExcReturn) {
    ASSERT_TRUE(kernel.ok());
    std::uint32_t sp = kernel.symbolAddress("frame_cm3_basic");
    targetsim::ErrorRange range;
    range.address = sp + 60;
    range.length = 4;
    kernel.target().addErrorRange(range);
    ThreadxPortRun run = registersAt("cortex_m3", sp);
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLines(true, kExcReturnBasic, sp) +
                  "Frame type: Basic, OS frame Basic\nfailed reading frame\n",
              run.log);
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortFramesIntegration, RegistersAlreadyInTheListKeepTheirValues) {
    ASSERT_TRUE(kernel.ok());
    std::unique_ptr<IRtosPortDriver> port(ThreadxPortFactory::create("cortex_m3"));
    RegisterList registers;
    registers.addRegister(R::REG_PC, 0x1234);
    TargetThread thread(0x20001000, kernel.symbolAddress("frame_cm3_basic"));
    ASSERT_TRUE(port->getRegisters(kernel.server(), thread, registers));
    EXPECT_EQ(0x1234u, registers.getRegisterValue(R::REG_PC, 0u));
    EXPECT_EQ(0xB3000038u, registers.getRegisterValue(R::REG_LR, 0u));
}

namespace {

// A-profile programs; the port finds tx_thread_vfp_enable through the program's thread layout.
class ThreadxPortCortexA7Integration : public ::testing::Test {
protected:
    explicit ThreadxPortCortexA7Integration(const char* program = "threadx_frames_ca7.elf")
        : kernel(program, targetsim::Profile::A) {}

    void SetUp() override {
        ASSERT_TRUE(kernel.ok());
        kernel.resolveStructures({"TX_THREAD_STRUCT"});
    }

    ThreadxPortRun registersOf(const char* thread, const char* name, const char* frame) {
        return runPort(*port, kernel,
                       TargetThread(kernel.symbolAddress(thread), kernel.symbolAddress(frame), false, name));
    }

    std::string headLine(const char* thread, const char* name) {
        char text[120];
        snprintf(text, sizeof(text), "ThreadxPortCortexA7::getRegisters: id:0x%x name:%s\n",
                 kernel.symbolAddress(thread), name);
        return text;
    }

    std::string spLine(const char* frame) {
        char text[40];
        snprintf(text, sizeof(text), "Saved SP: 0x%x\n", kernel.symbolAddress(frame));
        return text;
    }

    KernelTarget kernel;
    std::unique_ptr<IRtosPortDriver> port{ThreadxPortFactory::create("cortex_a7")};
};

class ThreadxPortCortexA7NoVfpIntegration : public ThreadxPortCortexA7Integration {
protected:
    ThreadxPortCortexA7NoVfpIntegration() : ThreadxPortCortexA7Integration("threadx_frames_ca7_novfp.elf") {}
};

// One thread of the A-profile fixture (threadx_frames_ca7.c) and its frame: a frame type word of 0 is a
// thread that gave up the processor by a kernel call and resumes at its return address (pc), 1 one that an
// interrupt switched out, with its own pc.
struct AFrameCase {
    const char* thread;
    const char* name;
    const char* frame;
    const ExpectedLayout& layout;
    std::uint32_t tag;
    std::uint32_t frameType;
    unsigned int past;
    std::uint32_t resumesAt;
    const char* line;
};

const AFrameCase kAFrames[] = {
    {"ca7_thread_plain", "plain", "frame_ca7_solicited", kCa7Solicited, 0x70000000, 0, 44, 0x70000028,
     "Frame type: Non-interrupted \n"},
    {"ca7_thread_vfp", "vfp user", "frame_ca7_solicited_vfp", kCa7SolicitedVfp, 0x71000000, 0, 240,
     0x710000EC, "Frame type: Non-interrupted (VFP)\n"},
    {"ca7_thread_plain", "plain", "frame_ca7_interrupted", kCa7Interrupted, 0x72000000, 1, 68, 0,
     "Frame type: Interrupted \n"},
    {"ca7_thread_vfp", "vfp user", "frame_ca7_interrupted_vfp", kCa7InterruptedVfp, 0x73000000, 1, 328, 0,
     "Frame type: Interrupted (VFP)\n"},
};

} // namespace

TEST_F(ThreadxPortCortexA7Integration, EveryFrame) {
    for (const AFrameCase& entry : kAFrames) {
        SCOPED_TRACE(entry.frame);
        std::uint32_t sp = kernel.symbolAddress(entry.frame);
        ThreadxPortRun run = registersOf(entry.thread, entry.name, entry.frame);
        ASSERT_TRUE(run.result);
        Values expected = framed(entry.layout, entry.tag, {{0, entry.frameType}, {4, kCpsrSys}});
        expected[R::REG_SP] = sp + entry.past;
        if (entry.resumesAt != 0) {
            expected[R::REG_PC] = entry.resumesAt;
        }
        EXPECT_EQ(expected, valuesOf(run.registers));
        // The VFP flag, the frame type, the frame.
        EXPECT_EQ(3u, run.reads);
        EXPECT_EQ(4u + 4u + entry.layout.size, run.bytes);
        EXPECT_EQ(headLine(entry.thread, entry.name) + spLine(entry.frame) + entry.line, run.log);
    }
}

TEST_F(ThreadxPortCortexA7Integration, WordsAtTheirPlaces) {
    ThreadxPortRun solicited = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_solicited_vfp");
    EXPECT_EQ(0x710000ECu, solicited.registers.getRegisterValue(R::REG_LR, 0u));
    ThreadxPortRun interrupted = registersOf("ca7_thread_plain", "plain", "frame_ca7_interrupted");
    EXPECT_EQ(0x72000040u, interrupted.registers.getRegisterValue(R::REG_PC, 0u));
    ThreadxPortRun vfp = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_interrupted_vfp");
    EXPECT_EQ(0x7300010Cu, vfp.registers.getRegisterValue(R::REG_R0, 0u));
}

TEST_F(ThreadxPortCortexA7Integration, VfpFlagOtherThanOneIsNoVfp) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited");
    ThreadxPortRun run = registersOf("ca7_thread_vfp_two", "vfp two", "frame_ca7_solicited");
    ASSERT_TRUE(run.result);
    EXPECT_EQ(sp + 44, run.registers.getRegisterValue(R::REG_SP, 0u));
    EXPECT_EQ(4u + 4u + 44u, run.bytes);
}

TEST_F(ThreadxPortCortexA7Integration, UnknownFrameTypeFails) {
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_unknown");
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_unknown") + "Unknown frame type\n",
              run.log);
    EXPECT_EQ(2u, run.reads);
}

TEST_F(ThreadxPortCortexA7Integration, UnreadableFrameTypeFails) {
    std::uint32_t id = kernel.symbolAddress("ca7_thread_plain");
    ThreadxPortRun run = runPort(*port, kernel, TargetThread(id, 0x30000000));
    EXPECT_FALSE(run.result);
    char head[100];
    // A thread without a name shows its id.
    snprintf(head, sizeof(head), "ThreadxPortCortexA7::getRegisters: id:0x%x name:%x\n", id, id);
    EXPECT_EQ(std::string(head) + "Failed reading saved stack ptr\n", run.log);
}

TEST_F(ThreadxPortCortexA7Integration, UnreadableFrameFails) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_interrupted");
    targetsim::ErrorRange range;
    range.address = sp + 64;
    range.length = 4;
    kernel.target().addErrorRange(range);
    ThreadxPortRun run = registersOf("ca7_thread_plain", "plain", "frame_ca7_interrupted");
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.registers.getRegisters().empty());
    EXPECT_EQ(headLine("ca7_thread_plain", "plain") + spLine("frame_ca7_interrupted") +
                  "Frame type: Interrupted \nfailed reading frame\n",
              run.log);
}

TEST_F(ThreadxPortCortexA7NoVfpIntegration, KernelWithoutTheVfpMemberReadsNoFlag) {
    std::uint32_t sp = kernel.symbolAddress("frame_ca7_solicited_vfp");
    // The frame holds a VFP context, but a kernel without the member cannot say so.
    ThreadxPortRun run = registersOf("ca7_thread_vfp", "vfp user", "frame_ca7_solicited_vfp");
    ASSERT_TRUE(run.result);
    Values expected = framed(kCa7Solicited, 0x71000000, {{0, 0}, {4, kCpsrSys}});
    expected[R::REG_SP] = sp + 44;
    expected[R::REG_PC] = 0x71000028;
    EXPECT_EQ(expected, valuesOf(run.registers));
    EXPECT_EQ(2u, run.reads);
    EXPECT_EQ(4u + 44u, run.bytes);
}
