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

// The real kernel's tasks.c with each port folder of its own (tests/fixtures/ports, the fixture named after
// the port): the port files its compile units name, and what the ELF file alone says, as for a port built
// without debug information: the port it names and the architecture and symbols it names it by.
struct RealPort {
    const char* port;
    const char* subFolder;
    bool portAsm;
    const char* withoutPortFile;
    const char* elfSignals;
};

const RealPort kRealPorts[] = {
    {"ARM_CM0", "", true, "ARM_CM0", "v6S-M"},
    {"ARM_CM3", "", false, "ARM_CM3", "v7-M"},
    {"ARM_CM3_MPU", "", false, "ARM_CM3_MPU", "v7-M; symbol prvSetupMPU; symbol vTaskAllocateMPURegions"},
    {"ARM_CM4F", "", false, "ARM_CM4F", "v7E-M with floating point"},
    {"ARM_CM4_MPU", "", false, "ARM_CM4_MPU",
     "v7E-M with floating point; symbol prvSetupMPU; symbol vTaskAllocateMPURegions"},
    {"ARM_CM7", "/r0p1", false, "ARM_CM4F", "v7E-M with floating point"},
    {"ARM_CM23", "/non_secure", true, "ARM_CM23", "v8-M baseline; symbol xSecureContext"},
    {"ARM_CM23_NTZ", "/non_secure", true, "ARM_CM23_NTZ", "v8-M baseline"},
    {"ARM_CM33", "/non_secure", true, "ARM_CM33", "v8-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM33_NTZ", "/non_secure", true, "ARM_CM33_NTZ", "v8-M mainline with floating point"},
    {"ARM_CM55", "/non_secure", true, "ARM_CM55",
     "v8.1-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM55_NTZ", "/non_secure", true, "ARM_CM55_NTZ", "v8.1-M mainline with floating point"},
    {"ARM_CM85", "/non_secure", true, "ARM_CM55",
     "v8.1-M mainline with floating point; symbol xSecureContext"},
    {"ARM_CM85_NTZ", "/non_secure", true, "ARM_CM55_NTZ", "v8.1-M mainline with floating point"},
    {"ARM_CA9", "", false, "ARM_CA9", "v7-A with floating point"},
};

// "port.c in portable/GCC/ARM_CM23/non_secure; portasm.c in portable/GCC/ARM_CM23/non_secure"
std::string portFiles(const RealPort& port) {
    const std::string folder = std::string(" in portable/GCC/") + port.port + port.subFolder;
    return "port.c" + folder + (port.portAsm ? "; portasm.c" + folder : "");
}

// Programs that name no port: the signals they give.
struct NoPort {
    const char* fixture;
    const char* signals;
};

const NoPort kNoPorts[] = {
    {"two_ports", "port.c in portable/GCC/ARM_CM3; port.c in portable/GCC/ARM_CM4F; architecture v7E-M with "
                  "floating point"},
    {"no_port", "no port file"},
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
    // The port that the program's dump of compile units (when withDump) and ELF file name, or "unchanged"
    // when they name none, then why: what decided, or all the signals seen.
    static std::string detection(const std::string& fixture, bool withDump) {
        FreeRtosPortDetector detector;
        if (withDump) {
            EXPECT_TRUE(DumpToolRunner::run("arm-none-eabi-readelf", elf(fixture), dumpPath()));
            std::ifstream dump(dumpPath());
            detector.readDump(dump);
        }
        detector.readElf(elf(fixture));
        std::string variant = "unchanged";
        bool detected = detector.detect(variant);
        return variant +
               (detected ? " (" + detector.reason() + ")" : "; signals seen: " + detector.signals());
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
        EXPECT_EQ(std::string(port.port) + " (" + portFiles(port) + ")", detection(port.port, true));
    }
}

TEST_F(FreeRtosPortDetectorRealKernelIntegration, EveryPortIsDetectedFromTheElfFileAlone) {
    SKIP_WITHOUT_REAL_KERNELS();
    for (const RealPort& port : kRealPorts) {
        EXPECT_EQ(std::string(port.withoutPortFile) + " (no port file; architecture " + port.elfSignals + ")",
                  detection(port.port, false));
    }
}

TEST_F(FreeRtosPortDetectorRealKernelIntegration, TwoPortFilesOrNoneAndNoAttributesFail) {
    SKIP_WITHOUT_REAL_KERNELS();
    for (const NoPort& program : kNoPorts) {
        EXPECT_EQ(std::string("unchanged; signals seen: ") + program.signals,
                  detection(program.fixture, true));
    }
}
