#include "rtos/freertos/FreeRtosPortDetector.h"

#include "TestPaths.h"
#include "debuginfo/DumpToolRunner.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

// The real kernel's tasks.c with each port folder of its own (tests/fixtures/ports): what the compile units
// say, and what the ELF file alone says, as for a port built without debug information.
struct RealPort {
    std::string fixture;
    std::string variant;
    std::string reason;
    std::string variantWithoutPortFile;
    std::string signalsWithoutPortFile;
};

const std::string kGcc = "port.c in portable/GCC/";
const std::string kAsm = "portasm.c in portable/GCC/";

std::string bothFiles(const std::string& folder) {
    return kGcc + folder + "; " + kAsm + folder;
}

const std::vector<RealPort> kRealPorts = {
    {"ARM_CM0", "ARM_CM0", bothFiles("ARM_CM0"), "ARM_CM0", "no port file; architecture v6S-M"},
    {"ARM_CM3", "ARM_CM3", kGcc + "ARM_CM3", "ARM_CM3", "no port file; architecture v7-M"},
    {"ARM_CM3_MPU", "ARM_CM3_MPU", kGcc + "ARM_CM3_MPU", "ARM_CM3_MPU",
     "no port file; architecture v7-M; symbol prvSetupMPU; symbol vTaskAllocateMPURegions"},
    {"ARM_CM4F", "ARM_CM4F", kGcc + "ARM_CM4F", "ARM_CM4F",
     "no port file; architecture v7E-M with floating point"},
    {"ARM_CM4_MPU", "ARM_CM4_MPU", kGcc + "ARM_CM4_MPU", "ARM_CM4_MPU",
     "no port file; architecture v7E-M with floating point; symbol prvSetupMPU; symbol "
     "vTaskAllocateMPURegions"},
    {"ARM_CM7", "ARM_CM7", kGcc + "ARM_CM7/r0p1", "ARM_CM4F",
     "no port file; architecture v7E-M with floating point"},
    {"ARM_CM23", "ARM_CM23", bothFiles("ARM_CM23/non_secure"), "ARM_CM23",
     "no port file; architecture v8-M baseline; symbol xSecureContext"},
    {"ARM_CM23_NTZ", "ARM_CM23_NTZ", bothFiles("ARM_CM23_NTZ/non_secure"), "ARM_CM23_NTZ",
     "no port file; architecture v8-M baseline"},
    {"ARM_CM33", "ARM_CM33", bothFiles("ARM_CM33/non_secure"), "ARM_CM33",
     "no port file; architecture v8-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM33_NTZ", "ARM_CM33_NTZ", bothFiles("ARM_CM33_NTZ/non_secure"), "ARM_CM33_NTZ",
     "no port file; architecture v8-M mainline with floating point"},
    {"ARM_CM55", "ARM_CM55", bothFiles("ARM_CM55/non_secure"), "ARM_CM55",
     "no port file; architecture v8.1-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM55_NTZ", "ARM_CM55_NTZ", bothFiles("ARM_CM55_NTZ/non_secure"), "ARM_CM55_NTZ",
     "no port file; architecture v8.1-M mainline with floating point"},
    {"ARM_CM85", "ARM_CM85", bothFiles("ARM_CM85/non_secure"), "ARM_CM55",
     "no port file; architecture v8.1-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM85_NTZ", "ARM_CM85_NTZ", bothFiles("ARM_CM85_NTZ/non_secure"), "ARM_CM55_NTZ",
     "no port file; architecture v8.1-M mainline with floating point"},
    {"ARM_CA9", "ARM_CA9", kGcc + "ARM_CA9", "ARM_CA9",
     "no port file; architecture v7-A with floating point"},
};

class FreeRtosPortDetectorRealKernelIntegration : public ::testing::Test {
protected:
    void TearDown() override { std::remove(dumpPath().c_str()); }

    static std::string elf(const std::string& fixture) {
        return testpaths::fixturesDir() + "/port_" + fixture + ".elf";
    }
    // One per test process: the tests of this suite may run side by side.
    static std::string dumpPath() {
        std::string name = "tarnwick_port_detector_" + std::to_string(::getpid()) + ".dump";
        return (std::filesystem::temp_directory_path() / name).string();
    }
    // The detector as the driver fills it: the dump of the compile units, then the ELF file.
    static void readProgram(const std::string& fixture, FreeRtosPortDetector& detector) {
        ASSERT_TRUE(DumpToolRunner::run("arm-none-eabi-readelf", elf(fixture), dumpPath()));
        std::ifstream dump(dumpPath());
        detector.readDump(dump);
        detector.readElf(elf(fixture));
    }
};

#define SKIP_WITHOUT_REAL_KERNELS()                                                                          \
    if (!std::filesystem::exists(elf("ARM_CM0"))) {                                                          \
        GTEST_SKIP() << "the real kernels were not unpacked at configure time (scripts/kernels.sh)";         \
    }

} // namespace

TEST_F(FreeRtosPortDetectorRealKernelIntegration, EveryPortFolderIsDetectedFromItsCompileUnits) {
    SKIP_WITHOUT_REAL_KERNELS();
    for (const RealPort& port : kRealPorts) {
        SCOPED_TRACE(port.fixture);
        FreeRtosPortDetector detector;
        readProgram(port.fixture, detector);
        std::string variant;
        EXPECT_TRUE(detector.detect(variant)) << detector.signals();
        EXPECT_EQ(port.variant, variant);
        EXPECT_EQ(port.reason, detector.reason());
    }
}

TEST_F(FreeRtosPortDetectorRealKernelIntegration, EveryPortIsDetectedFromTheElfFileAlone) {
    SKIP_WITHOUT_REAL_KERNELS();
    for (const RealPort& port : kRealPorts) {
        SCOPED_TRACE(port.fixture);
        FreeRtosPortDetector detector;
        detector.readElf(elf(port.fixture));
        std::string variant;
        EXPECT_TRUE(detector.detect(variant));
        EXPECT_EQ(port.variantWithoutPortFile, variant);
        EXPECT_EQ(port.signalsWithoutPortFile, detector.signals());
    }
}

TEST_F(FreeRtosPortDetectorRealKernelIntegration, TwoPortsFilesFailAndNameBoth) {
    SKIP_WITHOUT_REAL_KERNELS();
    FreeRtosPortDetector detector;
    readProgram("two_ports", detector);
    std::string variant = "unchanged";
    EXPECT_FALSE(detector.detect(variant));
    EXPECT_EQ("unchanged", variant);
    EXPECT_EQ("port.c in portable/GCC/ARM_CM3; port.c in portable/GCC/ARM_CM4F; architecture v7E-M with "
              "floating point",
              detector.signals());
}

TEST_F(FreeRtosPortDetectorRealKernelIntegration, NoPortFileAndNoAttributesFail) {
    SKIP_WITHOUT_REAL_KERNELS();
    FreeRtosPortDetector detector;
    readProgram("no_port", detector);
    std::string variant = "unchanged";
    EXPECT_FALSE(detector.detect(variant));
    EXPECT_EQ("unchanged", variant);
    EXPECT_EQ("no port file", detector.signals());
}
