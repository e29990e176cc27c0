#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/PortTable.h"
#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosBuildFacts.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace freertostest;

namespace {

// Each variant name, the first variant of its row, and the frame it reads from one and the same stack: a
// non-secure basic exception return value at every offset where a port looks for one, and a non-zero first
// word.
struct VariantCase {
    const char* variant;
    const char* row;
    const char* layout;
};

const VariantCase kVariants[] = {
    {"ARM_CM0", "ARM_CM0", "FRAMELAYOUT_CM0"},
    {"ARM_CM3", "ARM_CM3", "FRAMELAYOUT_CM3"},
    {"ARM_CM3_MPU", "ARM_CM3_MPU", "FRAMELAYOUT_CM3_MPU"},
    {"ARM_CM4F", "ARM_CM4F", "FRAMELAYOUT_CM4F_BASIC"},
    {"ARM_CM7", "ARM_CM4F", "FRAMELAYOUT_CM4F_BASIC"},
    {"ARM_CM4_MPU", "ARM_CM4_MPU", "FRAMELAYOUT_CM4F_BASIC_MPU"},
    {"ARM_CM23", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM23_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM33", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM55", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM85", "ARM_CM23", "FRAMELAYOUT_BASIC_BASIC_TZ"},
    {"ARM_CM33_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM55_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CM85_NTZ", "ARM_CM23_NTZ", "FRAMELAYOUT_BASIC_BASIC_NTZ"},
    {"ARM_CA9", "ARM_CA9", "FRAMELAYOUT_CA9_FPU"},
};

class FreeRtosPortFactoryIntegration : public FreeRtosFrameTest {};

} // namespace

TEST_F(FreeRtosPortFactoryIntegration, EveryVariantMakesItsPort) {
    std::map<unsigned int, unsigned int> words;
    for (unsigned int probe : {4u, 8u, 32u, 36u}) {
        words[probe] = kExcReturnNonSecureBasic;
    }
    layFrame(area, 332, words);
    for (const VariantCase& variant : kVariants) {
        SCOPED_TRACE(variant.variant);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(variant.variant));
        ASSERT_NE(nullptr, port);
        EXPECT_EQ(FreeRtosPortFactory::frames(variant.row), &dynamic_cast<RtosPort&>(*port).getFrames());
        TargetThread thread(1, area);
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(expectedRegisters(frameShape(variant.layout), area, words), valuesOf(registers));
    }
}

TEST(FreeRtosPortFactoryTest, NamesAreComparedExactly) {
    for (const char* name : {"ARM_CM4", "arm_cm3", "ARM_CM3 ", " ARM_CM3", "ARM_CM33_TZ", "ARM_CA7", ""}) {
        SCOPED_TRACE(name);
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(name));
        EXPECT_EQ(nullptr, port);
    }
}

namespace {

// Every combination of the yes-or-no facts of a program built for the architecture.
std::vector<PortRow::Evidence> everyEvidenceOn(const std::string& architecture) {
    std::vector<PortRow::Evidence> all;
    for (unsigned int bits = 0; bits < 8; ++bits) {
        PortRow::Evidence evidence;
        evidence.architecture = architecture;
        evidence.floatingPoint = (bits & 1) != 0;
        evidence.secureContext = (bits & 2) != 0;
        evidence.mpuSetup = (bits & 4) != 0;
        all.push_back(evidence);
    }
    return all;
}

} // namespace

TEST(FreeRtosPortFactoryTest, EveryPortIsFoundByTheFolderOfItsSources) {
    const PortTable& table = FreeRtosPortFactory::table();
    std::vector<std::string> found;
    for (const PortRow& row : table.getRows()) {
        const PortRow* port = table.inFolder(row.folder.folder, row.folder.subFolder);
        ASSERT_NE(nullptr, port) << row.name;
        found.push_back(port->name);
    }
    const std::vector<std::string> expected = {"ARM_CM0",     "ARM_CM3",      "ARM_CM3_MPU", "ARM_CM4F",
                                               "ARM_CM4_MPU", "ARM_CM7",      "ARM_CM23",    "ARM_CM23_NTZ",
                                               "ARM_CM33",    "ARM_CM33_NTZ", "ARM_CM55",    "ARM_CM55_NTZ",
                                               "ARM_CM85",    "ARM_CM85_NTZ", "ARM_CA9"};
    EXPECT_EQ(expected, found);
}

// Each architecture a port runs on, under each of its conditions, names the port, or the port whose frames it
// shares; no port but those is out of reach without its port file.
TEST(FreeRtosPortFactoryTest, TheEvidenceNamesEveryPortButThoseSharingAnothersFrames) {
    const PortTable& table = FreeRtosPortFactory::table();
    std::vector<std::string> named;
    std::vector<std::string> standIns;
    for (const PortRow& row : table.getRows()) {
        const std::string expected = row.sameFramesAs != nullptr ? row.sameFramesAs : row.name;
        if (row.sameFramesAs != nullptr) {
            standIns.push_back(std::string(row.name) + " as " + row.sameFramesAs);
        }
        for (const PortRow::Architecture& architecture : row.architectures) {
            for (const PortRow::Evidence& evidence : everyEvidenceOn(architecture.name)) {
                if (!architecture.holds(evidence)) {
                    continue;
                }
                const PortRow* port = table.ofEvidence(evidence);
                ASSERT_NE(nullptr, port) << row.name << " on " << architecture.name;
                EXPECT_EQ(expected, port->name) << row.name << " on " << architecture.name;
                EXPECT_EQ(&row.frames, &port->frames) << row.name;
                if (port == &row && (named.empty() || named.back() != row.name)) {
                    named.push_back(row.name);
                }
            }
        }
    }
    const std::vector<std::string> expectedNamed = {"ARM_CM0",      "ARM_CM3",  "ARM_CM3_MPU",  "ARM_CM4F",
                                                    "ARM_CM4_MPU",  "ARM_CM23", "ARM_CM23_NTZ", "ARM_CM33",
                                                    "ARM_CM33_NTZ", "ARM_CM55", "ARM_CM55_NTZ", "ARM_CA9"};
    EXPECT_EQ(expectedNamed, named);
    const std::vector<std::string> expectedStandIns = {"ARM_CM7 as ARM_CM4F", "ARM_CM85 as ARM_CM55",
                                                       "ARM_CM85_NTZ as ARM_CM55_NTZ"};
    EXPECT_EQ(expectedStandIns, standIns);
}

// So the order of the rows decides nothing.
TEST(FreeRtosPortFactoryTest, NoTwoPortsHoldForTheSameEvidence) {
    const std::vector<PortRow>& rows = FreeRtosPortFactory::table().getRows();
    for (const PortRow& row : rows) {
        for (const PortRow::Architecture& architecture : row.architectures) {
            for (const PortRow::Evidence& evidence : everyEvidenceOn(architecture.name)) {
                auto holds = [&evidence](const PortRow& other) {
                    return other.sameFramesAs == nullptr &&
                           std::any_of(other.architectures.begin(), other.architectures.end(),
                                       [&evidence](const PortRow::Architecture& entry) {
                                           return entry.holds(evidence);
                                       });
                };
                EXPECT_GE(1, std::count_if(rows.begin(), rows.end(), holds))
                    << architecture.name << " " << evidence.floatingPoint << evidence.secureContext
                    << evidence.mpuSetup;
            }
        }
    }
}

// Nothing can be told from the target yet, so the variant has to be given.
TEST_F(FreeRtosPortFactoryIntegration, DetectionFindsNothing) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(kernel->server()));
    EXPECT_EQ(nullptr, port);
    EXPECT_EQ(0u, kernel->memoryReads());
}

namespace {

// What a row read for one thread, with its log.
struct PortRead {
    bool result = false;
    RegisterList registers;
    std::string log;
};

PortRead readThread(KernelTarget& kernel, const char* variant, unsigned int stackPointer) {
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(variant));
    TargetThread thread(1, stackPointer);
    PortRead read;
    ::testing::internal::CaptureStdout();
    read.result = port->getRegisters(kernel.server(), thread, read.registers);
    read.log = ::testing::internal::GetCapturedStdout();
    return read;
}

std::string stackLines(unsigned int excReturn, unsigned int address) {
    char lines[80];
    if (excReturn != 0) {
        snprintf(lines, sizeof(lines), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, address);
    } else {
        snprintf(lines, sizeof(lines), "Saved SP: 0x%x\n", address);
    }
    return lines;
}

// A frame laid at the frame area and read by a row: the program's telling port function, if any (it stays
// in the symbol table for the cases after it, which no other row asks about), the
// layout that must be read, the words set apart from the frame's pattern, the padding word of an aligned
// stack, and the log after the stack lines.
struct FrameCase {
    const char* variant;
    const char* portFunction;
    const char* layout;
    std::map<unsigned int, unsigned int> words;
    unsigned int padding;
    // The EXC_RETURN the row probes, or 0 for a row that reads the frame alone.
    unsigned int excReturn;
    const char* lines;
};

const unsigned int kExcReturnBasic = 0xFFFFFFFDu;    // bit 4 set: no floating-point context
const unsigned int kExcReturnExtended = 0xFFFFFFEDu; // bit 4 clear
const char* const kBasicLine = "Frame type: Basic, OS frame Basic\n";
const char* const kExtendedLine = "Frame type: Extended, OS frame: Extended\n";
// Defined by the Armv6-M port rewritten after the Armv8-M ones (its portasm.c), never by the older port.c.
const char* const kRewrittenPort = "vRestoreContextOfFirstTask";

const FrameCase kMFrames[] = {
    {"ARM_CM0", nullptr, "FRAMELAYOUT_CM0", {}, 0, 0, ""},
    {"ARM_CM0", nullptr, "FRAMELAYOUT_CM0", {{60, 0x21000200u}}, 4, 0, "Add alignment\n"},
    // The rewritten port saves EXC_RETURN below the registers.
    {"ARM_CM0", kRewrittenPort, "FRAMELAYOUT_CM0_EXC_RETURN", {}, 0, 0, ""},
    {"ARM_CM0", kRewrittenPort, "FRAMELAYOUT_CM0_EXC_RETURN", {{64, 0x21000200u}}, 4, 0, "Add alignment\n"},
    {"ARM_CM3", nullptr, "FRAMELAYOUT_CM3", {}, 0, 0, ""},
    // The memory protection port saves CONTROL below the software-saved registers.
    {"ARM_CM3_MPU", nullptr, "FRAMELAYOUT_CM3_MPU", {}, 0, 0, ""},
    {"ARM_CM3_MPU", nullptr, "FRAMELAYOUT_CM3_MPU", {{64, 0x01000200u}}, 4, 0, "Add alignment\n"},
    {"ARM_CM4F", nullptr, "FRAMELAYOUT_CM4F_BASIC", {{32, kExcReturnBasic}}, 0, kExcReturnBasic, kBasicLine},
    {"ARM_CM4F",
     nullptr,
     "FRAMELAYOUT_CM4F_EXT",
     {{32, kExcReturnExtended}},
     0,
     kExcReturnExtended,
     kExtendedLine},
    {"ARM_CM4F",
     nullptr,
     "FRAMELAYOUT_CM4F_EXT",
     {{32, kExcReturnExtended}, {128, 0x61000200u}},
     4,
     kExcReturnExtended,
     "Frame type: Extended, OS frame: Extended\nAdd alignment\n"},
    {"ARM_CM4_MPU",
     nullptr,
     "FRAMELAYOUT_CM4F_BASIC_MPU",
     {{36, kExcReturnBasic}},
     0,
     kExcReturnBasic,
     kBasicLine},
    {"ARM_CM4_MPU",
     nullptr,
     "FRAMELAYOUT_CM4F_EXT_MPU",
     {{36, kExcReturnExtended}},
     0,
     kExcReturnExtended,
     kExtendedLine},
};

} // namespace

// The whole frame in one read after the probe's word, if the row has one; the exception return value, the
// status word and CONTROL go into the list like any other entry.
TEST_F(FreeRtosPortFactoryIntegration, EveryCortexMFrame) {
    for (const FrameCase& entry : kMFrames) {
        SCOPED_TRACE(std::string(entry.variant) + " " + entry.layout);
        kernel->resetReads();
        if (entry.portFunction != nullptr) {
            SymbolTable::getInstance().addSymbol(Symbol(entry.portFunction, "5c41"));
        }
        const FrameShape& shape = frameShape(entry.layout);
        layFrame(area, shape.size, entry.words);
        PortRead read = readThread(*kernel, entry.variant, area);
        ASSERT_TRUE(read.result);
        EXPECT_EQ(stackLines(entry.excReturn, area) + entry.lines, read.log);
        EXPECT_EQ(expectedRegisters(shape, area, entry.words, entry.padding), valuesOf(read.registers));
        EXPECT_EQ(area + shape.size + entry.padding, read.registers.getRegisterValue(RegisterId::REG_SP, 0u));
        EXPECT_EQ(entry.excReturn != 0 ? 2u : 1u, kernel->memoryReads());
    }
}

// A task of FreeRTOS V11.1.0's ARM_CM0 port (the real kernel under QEMU's microbit), switched out in
// xQueueReceive: the words from its saved stack pointer up, as PendSV_Handler and the processor left them.
TEST_F(FreeRtosPortFactoryIntegration, AFrameOfTheRealRewrittenArmv6Port) {
    SymbolTable::getInstance().addSymbol(Symbol(kRewrittenPort, "5c41"));
    writeWords(area, {0xfffffffdu, 0x04040404u, 0x05050505u, 0x06060606u, 0x20000bc0u, 0x08080808u,
                      0x09090909u, 0x10101010u, 0x11111111u, 0x00000000u, 0x000000ffu, 0x10000000u,
                      0xe000ed04u, 0x12121212u, 0x00003da7u, 0x00005edcu, 0x01000000u});
    PortRead read = readThread(*kernel, "ARM_CM0", area);
    ASSERT_TRUE(read.result);
    RegisterValues expected = {{RegisterId::REG_SP, area + 68},    {RegisterId::REG_LR_PENDSV, 0xfffffffdu},
                               {RegisterId::REG_R0, 0x00000000u},  {RegisterId::REG_R1, 0x000000ffu},
                               {RegisterId::REG_R2, 0x10000000u},  {RegisterId::REG_R3, 0xe000ed04u},
                               {RegisterId::REG_R4, 0x04040404u},  {RegisterId::REG_R5, 0x05050505u},
                               {RegisterId::REG_R6, 0x06060606u},  {RegisterId::REG_R7, 0x20000bc0u},
                               {RegisterId::REG_R8, 0x08080808u},  {RegisterId::REG_R9, 0x09090909u},
                               {RegisterId::REG_R10, 0x10101010u}, {RegisterId::REG_R11, 0x11111111u},
                               {RegisterId::REG_R12, 0x12121212u}, {RegisterId::REG_LR, 0x00003da7u},
                               {RegisterId::REG_PC, 0x00005edcu},  {RegisterId::REG_XPSR, 0x01000000u}};
    EXPECT_EQ(expected, valuesOf(read.registers));
}

TEST_F(FreeRtosPortFactoryIntegration, UnreadableWordsFail) {
    const std::pair<const char*, const char*> cases[] = {
        {"ARM_CM0", "Saved SP: 0x70000000\nfailed reading frame\n"},
        {"ARM_CM4F", "Failed reading saved stack ptr\n"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.first);
        kernel->resetReads();
        PortRead read = readThread(*kernel, entry.first, 0x70000000);
        EXPECT_FALSE(read.result);
        EXPECT_EQ(entry.second, read.log);
        EXPECT_TRUE(read.registers.getRegisters().empty());
        EXPECT_EQ(1u, kernel->memoryReads());
    }
}

// The word can be read, but the extended frame runs past the end of memory.
TEST_F(FreeRtosPortFactoryIntegration, UnreadableFrameFails) {
    unsigned int nearEnd = 0x20010000 - 68;
    layFrame(nearEnd, 68, {{32, kExcReturnExtended}});
    PortRead read = readThread(*kernel, "ARM_CM4F", nearEnd);
    EXPECT_FALSE(read.result);
    EXPECT_EQ(stackLines(kExcReturnExtended, nearEnd) + kExtendedLine + "failed reading frame\n", read.log);
    EXPECT_TRUE(read.registers.getRegisters().empty());
}

namespace {

class FreeRtosPortFactoryAProfileIntegration : public FreeRtosFrameTest {
protected:
    targetsim::Profile profile() const override { return targetsim::Profile::A; }
};

} // namespace

// The first word says whether the task has a floating-point context: d0-d31 and FPSCR, as the port saved
// them. The A profile stacks nothing by itself, so bit 9 of the status word means nothing here.
TEST_F(FreeRtosPortFactoryAProfileIntegration, EveryCortexA9Frame) {
    const FrameCase cases[] = {
        {"ARM_CA9", nullptr, "FRAMELAYOUT_CA9", {{0, 0}}, 0, 0, ""},
        {"ARM_CA9", nullptr, "FRAMELAYOUT_CA9_FPU", {{0, 1}}, 0, 0, ""},
        {"ARM_CA9", nullptr, "FRAMELAYOUT_CA9", {{0, 0}, {68, 0x600002D3u}}, 0, 0, ""},
    };
    for (const FrameCase& entry : cases) {
        SCOPED_TRACE(entry.layout);
        kernel->resetReads();
        const FrameShape& shape = frameShape(entry.layout);
        layFrame(area, shape.size, entry.words);
        PortRead read = readThread(*kernel, entry.variant, area);
        ASSERT_TRUE(read.result);
        EXPECT_EQ(stackLines(0, area), read.log);
        RegisterValues values = valuesOf(read.registers);
        EXPECT_EQ(expectedRegisters(shape, area, entry.words), values);
        EXPECT_EQ(area + shape.size, values.at(RegisterId::REG_SP));
        bool fpu = entry.words.at(0) != 0;
        EXPECT_EQ(fpu ? frameWord(132) : 0u, read.registers.getRegisterValue(RegisterId::REG_S0, 0u));
        EXPECT_EQ(fpu ? frameWord(4) : 0u, read.registers.getRegisterValue(RegisterId::REG_D16_LOW, 0u));
        EXPECT_EQ(fpu ? 1u : 0u, values.count(RegisterId::REG_FPSCR));
        EXPECT_EQ(fpu ? frameWord(260) : 0u, read.registers.getRegisterValue(RegisterId::REG_FPSCR, 0u));
        EXPECT_EQ(2u, kernel->memoryReads());
    }
}

TEST_F(FreeRtosPortFactoryAProfileIntegration, UnreadableFirstWordFails) {
    PortRead read = readThread(*kernel, "ARM_CA9", 0x70000000);
    EXPECT_FALSE(read.result);
    EXPECT_EQ("Saved SP: 0x70000000\nFailed reading saved stack ptr\n", read.log);
    EXPECT_TRUE(read.registers.getRegisters().empty());
}

namespace {

// One way through the Armv8-M frame selection: the build (secure side, floating point in use, MPU
// settings in the task control block), the saved exception return value, and the frame that must be read,
// with its log line.
struct Armv8mCase {
    bool trustZone;
    unsigned int excReturn;
    bool hasFpu;
    bool hasMpu;
    const char* layout;
    bool secure;
    const char* message;
};

const char* const kNoMessage = "";

// Every row of the selection, each with and without floating point and MPU settings in the build. A row's
// "any" is played both ways. The exception return values: BC basic and AC extended on the non-secure stack,
// FD basic and ED extended on the secure stack.
const Armv8mCase kCases[] = {
    // With a secure side. Extended frame on the secure stack.
    {true, kExcReturnSecureExtended, false, false, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", true, kNoMessage},
    {true, kExcReturnSecureExtended, true, false, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", true, kNoMessage},
    {true, kExcReturnSecureExtended, false, true, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", true, kNoMessage},
    {true, kExcReturnSecureExtended, true, true, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", true, kNoMessage},
    // Extended frame on the non-secure stack: without the FPU function the MPU frame, MPU or not.
    {true, kExcReturnNonSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_TZ_MPU", false, kNoMessage},
    // Basic frame on the secure stack.
    {true, kExcReturnSecureBasic, false, false, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", true,
     "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n"},
    {true, kExcReturnSecureBasic, true, false, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", true,
     "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n"},
    {true, kExcReturnSecureBasic, false, true, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", true,
     kNoMessage},
    {true, kExcReturnSecureBasic, true, true, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", true,
     kNoMessage},
    // Basic frame on the non-secure stack.
    {true, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, true, false, "FRAMELAYOUT_BASIC_BASIC_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_TZ_MPU", false, kNoMessage},
    // Without a secure side bit 6 plays no part.
    {false, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnSecureBasic, true, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnNonSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_NTZ", false,
     "FRAMELAYOUT_EXT_EXT_NTZ\n"},
    {false, kExcReturnSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_NTZ", false,
     "FRAMELAYOUT_EXT_EXT_NTZ\n"},
    {false, kExcReturnNonSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"},
    {false, kExcReturnSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"},
    {false, kExcReturnNonSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_NTZ", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ\n"},
    {false, kExcReturnSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_NTZ", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n"},
    {false, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
};

// Where the probe word lies: the basic frame of the build, chosen before the word is known.
unsigned int probeOffset(bool trustZone, bool hasMpu) {
    if (trustZone) {
        return hasMpu ? 12 : 8;
    }
    return hasMpu ? 8 : 4;
}

// The secure side: the task's first word points at its secure context, which holds the secure stack pointer.
const unsigned int kContextOffset = 0x400;
const unsigned int kSecureStackOffset = 0x800;
const unsigned int kSecureWordBase = 0x5E000000u;

class FreeRtosPortARMCM33CM55CM85Integration : public FreeRtosFrameTest {
protected:
    void setBuild(bool hasFpu, bool hasMpu) {
        fpu = hasFpu;
        mpu = hasMpu;
    }

    // A port that asks this test for the build at every call, as it asks the program otherwise.
    RtosPort makePort(bool trustZone) {
        return RtosPort(*FreeRtosPortFactory::frames(trustZone ? "ARM_CM33" : "ARM_CM33_NTZ"),
                        [this](RspClient&, TargetThread&) { return FreeRtosBuildFacts(fpu, mpu).bits(); });
    }

    bool fpu = false;
    bool mpu = false;

    std::string logHead(unsigned int excReturn) const {
        char head[80];
        snprintf(head, sizeof(head), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, area);
        return head;
    }
};

} // namespace

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, EveryRowOfTheSelection) {
    for (const Armv8mCase& armv8m : kCases) {
        SCOPED_TRACE(::testing::Message()
                     << armv8m.layout << " trustZone " << armv8m.trustZone << " excReturn " << std::hex
                     << armv8m.excReturn << " fpu " << armv8m.hasFpu << " mpu " << armv8m.hasMpu);
        setBuild(armv8m.hasFpu, armv8m.hasMpu);
        const FrameShape& shape = frameShape(armv8m.layout);
        unsigned int context = area + kContextOffset;
        unsigned int secureStack = area + kSecureStackOffset;
        std::map<unsigned int, unsigned int> taskWords = {
            {0, context}, {probeOffset(armv8m.trustZone, armv8m.hasMpu), armv8m.excReturn}};
        layFrame(area, 216, taskWords);
        writeWords(context, {secureStack});
        layFrame(secureStack, 216, {}, kSecureWordBase);
        kernel->resetReads();

        RtosPort port = makePort(armv8m.trustZone);
        TargetThread thread(1, area);
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
        EXPECT_EQ(logHead(armv8m.excReturn) + armv8m.message, ::testing::internal::GetCapturedStdout());
        if (armv8m.secure) {
            EXPECT_EQ(expectedRegisters(shape, secureStack, {}, 0, kSecureWordBase), valuesOf(registers));
            EXPECT_EQ(4u, kernel->memoryReads());
        } else {
            EXPECT_EQ(expectedRegisters(shape, area, taskWords), valuesOf(registers));
            EXPECT_EQ(2u, kernel->memoryReads());
        }
    }
}

// The build is asked for at every call, not once: a program read anew (after a rebuild) counts at once.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, BuildIsLookedUpAtEveryCall) {
    std::map<unsigned int, unsigned int> words = {{4, kExcReturnNonSecureBasic},
                                                  {8, kExcReturnNonSecureBasic}};
    layFrame(area, 76, words);
    RtosPort port = makePort(false);
    TargetThread thread(1, area);
    RegisterList before;
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, before));
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ"), area, words), valuesOf(before));
    setBuild(false, true);
    RegisterList after;
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, after));
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ_MPU"), area, words), valuesOf(after));
}

// A secure context that leads nowhere: the frame is read where the task's own pointer says, and the call
// succeeds, without a word in the log.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, SecureContextThatCannotBeReadKeepsTheThreadsStackPointer) {
    unsigned int nowhere = 0x70000000;
    std::map<unsigned int, unsigned int> words = {{0, nowhere}, {8, kExcReturnSecureBasic}};
    layFrame(area, 76, words);
    RtosPort port = makePort(true);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnSecureBasic) + "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ"), area, words),
              valuesOf(registers));
    EXPECT_EQ(4u, kernel->memoryReads());
}

// The context can be read but not the secure stack pointer's frame... the first link already fails here:
// the context word itself lies in a bus-fault range.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, UnreadableContextWordFailsTheFrameReadToo) {
    layFrame(area, 80, {{8, kExcReturnSecureExtended}});
    targetsim::ErrorRange fault;
    fault.address = area;
    fault.length = 4;
    kernel->target().addErrorRange(fault);
    RtosPort port = makePort(true);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnSecureExtended) + "failed reading frame\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, AlignedNonSecureFrame) {
    std::map<unsigned int, unsigned int> words = {{4, kExcReturnNonSecureBasic}, {68, 0x01000200u}};
    layFrame(area, 72, words);
    RtosPort port = makePort(false);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnNonSecureBasic) + "FRAMELAYOUT_BASIC_BASIC_NTZ\nAdd alignment\n",
              ::testing::internal::GetCapturedStdout());
    RegisterValues values = valuesOf(registers);
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ"), area, words, 4), values);
    EXPECT_EQ(frameWord(0), values.at(RegisterId::REG_PSPLIM));
    EXPECT_EQ(kExcReturnNonSecureBasic, values.at(RegisterId::REG_LR_PENDSV));
}

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, UnreadableExceptionReturnFails) {
    RtosPort port = makePort(true);
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Failed reading saved stack ptr\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

namespace {

// Where the task's own stack lies: the saved stack pointer in the context points here.
const unsigned int kTaskStackOffset = 0x400;

class FreeRtosPortMpuContextIntegration : public FreeRtosFrameTest {
protected:
    void SetUp() override {
        FreeRtosFrameTest::SetUp();
        taskStack = area + kTaskStackOffset;
    }

    // The function that only the ports keeping the context in the control block define.
    static void useControlBlockPort() {
        SymbolTable::getInstance().addSymbol(Symbol("vSVCHandler_C", "1d41"));
    }

    // The context as xPortPendSVHandler of ARM_CM4_MPU (V11.1.0) leaves it in the control block, ending
    // where pxTopOfStack points: every word known, the exception return value and xPSR as given.
    unsigned int layContext(const char* shape, unsigned int excReturn, unsigned int xpsr) {
        const FrameShape& frame = frameShape(shape);
        std::map<RegisterId, unsigned int> offsets = parseEntries(frame.entries);
        layFrame(area, frame.size,
                 {{offsets[RegisterId::REG_LR_PENDSV], excReturn},
                  {offsets[RegisterId::REG_SP], taskStack},
                  {offsets[RegisterId::REG_XPSR], xpsr}});
        return area + frame.size;
    }

    RegisterValues expected(const char* shape, unsigned int excReturn, unsigned int xpsr, unsigned int sp) {
        const FrameShape& frame = frameShape(shape);
        std::map<RegisterId, unsigned int> offsets = parseEntries(frame.entries);
        RegisterValues values = expectedRegisters(
            frame, area,
            {{offsets[RegisterId::REG_LR_PENDSV], excReturn}, {offsets[RegisterId::REG_XPSR], xpsr}});
        values[RegisterId::REG_SP] = sp;
        return values;
    }

    // The context that ends at end, read by the ARM_CM4_MPU port of a build that keeps it in the control
    // block.
    bool readContext(unsigned int end, RegisterList& registers) {
        useControlBlockPort();
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM4_MPU"));
        TargetThread thread(1, end);
        return port->getRegisters(kernel->server(), thread, registers);
    }

    static bool keptInControlBlock() {
        return (FreeRtosBuildFacts::ofProgram().bits() & FreeRtosBuildFacts::kContextInControlBlock) != 0;
    }

    unsigned int taskStack = 0;
};

std::string contextLine(unsigned int address) {
    char line[48];
    snprintf(line, sizeof(line), "Saved context ends at: 0x%x\n", address);
    return line;
}

} // namespace

TEST_F(FreeRtosPortMpuContextIntegration, ABasicContextEndsAtTheTopOfStack) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    EXPECT_EQ(contextLine(end), ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expected("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u, taskStack + 32),
              valuesOf(registers));
    EXPECT_EQ(2u, kernel->memoryReads());
}

TEST_F(FreeRtosPortMpuContextIntegration, AnExtendedContextHoldsTheFloatingPointRegisters) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_EXT", 0xffffffedu, 0x61000000u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(expected("FRAMELAYOUT_MPU_CONTEXT_EXT", 0xffffffedu, 0x61000000u, taskStack + 104),
              valuesOf(registers));
}

TEST_F(FreeRtosPortMpuContextIntegration, AnAlignedStackReportsOneMoreWord) {
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x21000200u);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(readContext(end, registers));
    EXPECT_EQ(contextLine(end) + "Add alignment\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(taskStack + 36, registers.getRegisterValue(RegisterId::REG_SP, 0u));
}

TEST_F(FreeRtosPortMpuContextIntegration, AnUnreadableContextFails) {
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(readContext(0x70000100u, registers));
    EXPECT_EQ(contextLine(0x70000100u) + "Failed reading saved context\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosPortMpuContextIntegration, OnlyTheNewerPortsKeepTheContextInTheControlBlock) {
    EXPECT_FALSE(keptInControlBlock());
    useControlBlockPort();
    EXPECT_TRUE(keptInControlBlock());
}

TEST_F(FreeRtosPortMpuContextIntegration, TheMpuPortsReadTheControlBlock) {
    useControlBlockPort();
    unsigned int end = layContext("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u);
    RegisterValues context =
        expected("FRAMELAYOUT_MPU_CONTEXT_BASIC", 0xfffffffdu, 0x01000000u, taskStack + 32);
    TargetThread thread(1, end);
    for (const char* variant : {"ARM_CM3_MPU", "ARM_CM4_MPU"}) {
        std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create(variant));
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
        EXPECT_EQ(contextLine(end), ::testing::internal::GetCapturedStdout());
        EXPECT_EQ(context, valuesOf(registers));
    }
}

TEST_F(FreeRtosPortMpuContextIntegration, WithoutTheMpuTheStackHoldsTheFrame) {
    useControlBlockPort();
    layFrame(area, 64);
    std::unique_ptr<IRtosPortDriver> port(FreeRtosPortFactory::create("ARM_CM3"));
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port->getRegisters(kernel->server(), thread, registers));
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_CM3"), area), valuesOf(registers));
}
