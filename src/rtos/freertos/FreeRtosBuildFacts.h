#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSBUILDFACTS_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSBUILDFACTS_H

#include <string>

// What a FreeRTOS build keeps whatever the optimiser did, where a port's saved frame depends on the build:
// whether the program uses floating point (the architecture attributes of the program file), and whether
// the task control block carries MPU settings (the debug information). The ports' static set-up functions
// that once told this are inlined away from -O1 on.
class FreeRtosBuildFacts {
public:
    FreeRtosBuildFacts(bool newFloatingPoint, bool newMpuSettings)
        : floatingPoint(newFloatingPoint), mpuSettings(newMpuSettings) {}
    virtual ~FreeRtosBuildFacts() = default;

    // Of the program that "--file" names and of the layouts resolved so far. The program file is read
    // again only when it changed.
    static FreeRtosBuildFacts ofProgram();

    bool usesFloatingPoint() const { return floatingPoint; }
    bool keepsMpuSettings() const { return mpuSettings; }

private:
    static bool programUsesFloatingPoint(const std::string& path);

    bool floatingPoint;
    bool mpuSettings;
};

#endif
