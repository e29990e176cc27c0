#include "rtos/freertos/FreeRtosPortDetector.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

struct PortCase {
    std::string path;
    std::string variant;
    std::string signals;
};

// The kernel's own folders (V11.1.0), as a build names them in its compile units.
const std::vector<PortCase> kPortCases = {
    {"../FreeRTOS-Kernel/portable/GCC/ARM_CM0/port.c", "ARM_CM0", "port.c in portable/GCC/ARM_CM0"},
    {"/src/FreeRTOS-Kernel/portable/GCC/ARM_CM3/port.c", "ARM_CM3", "port.c in portable/GCC/ARM_CM3"},
    {"kernel/portable/GCC/ARM_CM3_MPU/port.c", "ARM_CM3_MPU", "port.c in portable/GCC/ARM_CM3_MPU"},
    {"kernel/portable/GCC/ARM_CM4F/port.c", "ARM_CM4F", "port.c in portable/GCC/ARM_CM4F"},
    {"kernel/portable/GCC/ARM_CM4_MPU/port.c", "ARM_CM4_MPU", "port.c in portable/GCC/ARM_CM4_MPU"},
    {"kernel/portable/GCC/ARM_CM7/r0p1/port.c", "ARM_CM7", "port.c in portable/GCC/ARM_CM7/r0p1"},
    {"kernel/portable/GCC/ARM_CM23/non_secure/port.c", "ARM_CM23",
     "port.c in portable/GCC/ARM_CM23/non_secure"},
    {"kernel/portable/GCC/ARM_CM23_NTZ/non_secure/port.c", "ARM_CM23_NTZ",
     "port.c in portable/GCC/ARM_CM23_NTZ/non_secure"},
    {"kernel/portable/GCC/ARM_CM33/non_secure/port.c", "ARM_CM33",
     "port.c in portable/GCC/ARM_CM33/non_secure"},
    {"kernel/portable/GCC/ARM_CM33_NTZ/non_secure/port.c", "ARM_CM33_NTZ",
     "port.c in portable/GCC/ARM_CM33_NTZ/non_secure"},
    {"kernel/portable/GCC/ARM_CM55/non_secure/port.c", "ARM_CM55",
     "port.c in portable/GCC/ARM_CM55/non_secure"},
    {"kernel/portable/GCC/ARM_CM55_NTZ/non_secure/port.c", "ARM_CM55_NTZ",
     "port.c in portable/GCC/ARM_CM55_NTZ/non_secure"},
    {"kernel/portable/GCC/ARM_CM85/non_secure/port.c", "ARM_CM85",
     "port.c in portable/GCC/ARM_CM85/non_secure"},
    {"kernel/portable/GCC/ARM_CM85_NTZ/non_secure/port.c", "ARM_CM85_NTZ",
     "port.c in portable/GCC/ARM_CM85_NTZ/non_secure"},
    {"kernel/portable/GCC/ARM_CA9/port.c", "ARM_CA9", "port.c in portable/GCC/ARM_CA9"},
    {"C:\\sdk\\portable\\IAR\\ARM_CM4F\\port.c", "ARM_CM4F", "port.c in portable/IAR/ARM_CM4F"},
    {"kernel/portable/RVDS/ARM_CM7/r0p1/port.c", "ARM_CM7", "port.c in portable/RVDS/ARM_CM7/r0p1"},
};

} // namespace

TEST(FreeRtosPortDetectorTest, EveryPortFolderNamesItsVariant) {
    for (const PortCase& portCase : kPortCases) {
        FreeRtosPortDetector detector;
        detector.addCompileUnit("kernel/tasks.c");
        detector.addCompileUnit(portCase.path);
        std::string variant;
        EXPECT_TRUE(detector.detect(variant)) << portCase.path;
        EXPECT_EQ(portCase.variant, variant) << portCase.path;
        EXPECT_EQ(portCase.signals, detector.signals()) << portCase.path;
    }
}

TEST(FreeRtosPortDetectorTest, PortAsmOfTheSamePortAgrees) {
    FreeRtosPortDetector detector;
    detector.addCompileUnit("k/portable/GCC/ARM_CM33_NTZ/non_secure/port.c");
    detector.addCompileUnit("k/portable/GCC/ARM_CM33_NTZ/non_secure/portasm.c");
    std::string variant;
    ASSERT_TRUE(detector.detect(variant));
    EXPECT_EQ("ARM_CM33_NTZ", variant);
    EXPECT_EQ(
        "port.c in portable/GCC/ARM_CM33_NTZ/non_secure; portasm.c in portable/GCC/ARM_CM33_NTZ/non_secure",
        detector.signals());
}

TEST(FreeRtosPortDetectorTest, TwoPortsFailAndNameBoth) {
    FreeRtosPortDetector detector;
    detector.addCompileUnit("k/portable/GCC/ARM_CM3/port.c");
    detector.addCompileUnit("k/portable/GCC/ARM_CM4F/port.c");
    std::string variant = "unchanged";
    EXPECT_FALSE(detector.detect(variant));
    EXPECT_EQ("unchanged", variant);
    EXPECT_EQ("port.c in portable/GCC/ARM_CM3; port.c in portable/GCC/ARM_CM4F", detector.signals());
}

TEST(FreeRtosPortDetectorTest, NoPortFileFails) {
    FreeRtosPortDetector detector;
    detector.addCompileUnit("k/tasks.c");
    detector.addCompileUnit("k/portable/MemMang/heap_4.c");
    detector.addCompileUnit("k/portable/GCC/ARM_CM4F/portmacro.h");
    detector.addCompileUnit("k/portable/GCC/ARM_CM33/secure/secure_context_port.c");
    std::string variant;
    EXPECT_FALSE(detector.detect(variant));
    EXPECT_EQ("no port file", detector.signals());
}

TEST(FreeRtosPortDetectorTest, ReadsCompileUnitNamesFromADump) {
    std::istringstream dump(
        "  Compilation Unit @ offset 0x0:\n"
        " <0><b>: Abbrev Number: 1 (DW_TAG_compile_unit)\n"
        "    <c>   DW_AT_producer    : (indirect string, offset: 0x10): GNU C17 13.2.1 -mcpu=cortex-m4 -O2\n"
        "    <10>   DW_AT_language    : 29\t(C11)\n"
        "    <11>   DW_AT_name        : (indirect line string, offset: 0x0): "
        "../k/portable/GCC/ARM_CM4F/port.c\n"
        "    <15>   DW_AT_comp_dir    : (indirect line string, offset: 0x20): /home/user/build\n"
        " <1><2d>: Abbrev Number: 2 (DW_TAG_variable)\n"
        "    <2e>   DW_AT_name        : (indirect string, offset: 0x5): k/portable/GCC/ARM_CM3/port.c\n"
        "  Compilation Unit @ offset 0x100:\n"
        " <0><10b>: Abbrev Number: 1 (DW_TAG_compile_unit)\n"
        "    <111>   DW_AT_name        : ../k/tasks.c\n");
    FreeRtosPortDetector detector;
    detector.readDump(dump);
    std::string variant;
    ASSERT_TRUE(detector.detect(variant));
    EXPECT_EQ("ARM_CM4F", variant);
    EXPECT_EQ("port.c in portable/GCC/ARM_CM4F", detector.signals());
}

struct ArchitectureCase {
    std::string architecture;
    bool floatingPoint;
    std::vector<std::string> symbols;
    std::string variant;
    std::string signals;
};

// Without a port file: the attributes and the telling symbols of each port's build.
const std::vector<ArchitectureCase> kArchitectureCases = {
    {"v6-M", false, {}, "ARM_CM0", "no port file; architecture v6-M"},
    {"v6S-M", false, {}, "ARM_CM0", "no port file; architecture v6S-M"},
    {"v7-M", false, {"main"}, "ARM_CM3", "no port file; architecture v7-M"},
    {"v7-M",
     false,
     {"vTaskAllocateMPURegions", "prvSetupMPU"},
     "ARM_CM3_MPU",
     "no port file; architecture v7-M; symbol prvSetupMPU; symbol vTaskAllocateMPURegions"},
    {"v7E-M", true, {}, "ARM_CM4F", "no port file; architecture v7E-M with floating point"},
    {"v7E-M",
     true,
     {"prvSetupMPU"},
     "ARM_CM4_MPU",
     "no port file; architecture v7E-M with floating point; symbol prvSetupMPU"},
    {"v7E-M", false, {}, "ARM_CM3", "no port file; architecture v7E-M"},
    {"v7E-M", false, {"prvSetupMPU"}, "ARM_CM3_MPU", "no port file; architecture v7E-M; symbol prvSetupMPU"},
    {"v8-M baseline",
     false,
     {"xSecureContext"},
     "ARM_CM23",
     "no port file; architecture v8-M baseline; symbol xSecureContext"},
    {"v8-M baseline", false, {}, "ARM_CM23_NTZ", "no port file; architecture v8-M baseline"},
    {"v8-M mainline",
     true,
     {"xSecureContext", "prvSetupMPU"},
     "ARM_CM33",
     "no port file; architecture v8-M mainline with floating point; symbol xSecureContext; symbol "
     "prvSetupMPU"},
    {"v8-M mainline", false, {}, "ARM_CM33_NTZ", "no port file; architecture v8-M mainline"},
    {"v8.1-M mainline",
     true,
     {"xSecureContext"},
     "ARM_CM55",
     "no port file; architecture v8.1-M mainline with floating point; symbol xSecureContext"},
    {"v8.1-M mainline",
     true,
     {},
     "ARM_CM55_NTZ",
     "no port file; architecture v8.1-M mainline with floating point"},
    {"v7-A", true, {}, "ARM_CA9", "no port file; architecture v7-A with floating point"},
};

TEST(FreeRtosPortDetectorTest, TheArchitectureAndTellingSymbolsPickThePortWithoutAPortFile) {
    for (const ArchitectureCase& row : kArchitectureCases) {
        SCOPED_TRACE(row.signals);
        FreeRtosPortDetector detector;
        detector.setArchitecture(row.architecture, row.floatingPoint);
        detector.addSymbolNames(row.symbols);
        std::string variant;
        EXPECT_TRUE(detector.detect(variant));
        EXPECT_EQ(row.variant, variant);
        EXPECT_EQ(row.signals, detector.signals());
        EXPECT_EQ(row.signals, detector.reason());
    }
}

// An architecture of no port, or a port file of another architecture, names no port.
TEST(FreeRtosPortDetectorTest, AnArchitectureOfNoPortOrOfAnotherPortFails) {
    const struct {
        const char* compileUnit;
        const char* architecture;
        bool floatingPoint;
        const char* signals;
    } rows[] = {
        {nullptr, "v7-R", true, "no port file; architecture v7-R with floating point"},
        {"k/portable/GCC/ARM_CM4F/port.c", "v6-M", false,
         "port.c in portable/GCC/ARM_CM4F; architecture v6-M"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.signals);
        FreeRtosPortDetector detector;
        if (row.compileUnit != nullptr) {
            detector.addCompileUnit(row.compileUnit);
        }
        detector.setArchitecture(row.architecture, row.floatingPoint);
        std::string variant = "unchanged";
        EXPECT_FALSE(detector.detect(variant));
        EXPECT_EQ("unchanged", variant);
        EXPECT_EQ(row.signals, detector.signals());
    }
}

TEST(FreeRtosPortDetectorTest, APortFileWinsOverTheTellingSymbolsAndAgreesWithItsArchitecture) {
    FreeRtosPortDetector detector;
    detector.addCompileUnit("k/portable/GCC/ARM_CM7/r0p1/port.c");
    detector.setArchitecture("v7E-M", true);
    detector.addSymbolNames({"prvSetupMPU"});
    std::string variant;
    EXPECT_TRUE(detector.detect(variant));
    EXPECT_EQ("ARM_CM7", variant);
    EXPECT_EQ("port.c in portable/GCC/ARM_CM7/r0p1", detector.reason());
    EXPECT_EQ(
        "port.c in portable/GCC/ARM_CM7/r0p1; architecture v7E-M with floating point; symbol prvSetupMPU",
        detector.signals());
}

TEST(FreeRtosPortDetectorTest, TwoPortsFailWhateverTheArchitecture) {
    FreeRtosPortDetector detector;
    detector.addCompileUnit("k/portable/GCC/ARM_CM3/port.c");
    detector.addCompileUnit("k/portable/GCC/ARM_CM4F/port.c");
    detector.setArchitecture("v7E-M", true);
    std::string variant;
    EXPECT_FALSE(detector.detect(variant));
}

TEST(FreeRtosPortDetectorTest, AGivenVariantContradictsAPortFileOrAnArchitectureItCannotRunOn) {
    struct Row {
        const char* compileUnit;
        const char* given;
        bool contradicts;
        const char* detected;
    };
    const Row rows[] = {
        {"k/portable/GCC/ARM_CM4F/port.c", "ARM_CM3", true, "ARM_CM4F"},
        {"k/portable/GCC/ARM_CM4F/port.c", "ARM_CM4F", false, "ARM_CM4F"},
        // The architecture alone names ARM_CM4F, and the Cortex-M7 port runs there too.
        {nullptr, "ARM_CM7", false, "ARM_CM4F"},
        {nullptr, "ARM_CM0", true, "ARM_CM4F"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        FreeRtosPortDetector detector;
        if (row.compileUnit != nullptr) {
            detector.addCompileUnit(row.compileUnit);
        }
        detector.setArchitecture("v7E-M", true);
        std::string detected;
        EXPECT_EQ(row.contradicts, detector.contradicts(row.given, detected));
        EXPECT_EQ(row.detected, detected);
    }
}

TEST(FreeRtosPortDetectorTest, NothingToDetectContradictsNothing) {
    FreeRtosPortDetector detector;
    std::string detected = "unchanged";
    EXPECT_FALSE(detector.contradicts("ARM_CM3", detected));
}

TEST(FreeRtosPortDetectorTest, AnUnreadableElfFileAddsNoSignal) {
    FreeRtosPortDetector detector;
    detector.readElf("/nonexistent/program.elf");
    EXPECT_EQ("no port file", detector.signals());
}
