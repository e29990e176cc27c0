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
