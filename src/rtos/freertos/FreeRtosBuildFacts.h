#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSBUILDFACTS_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSBUILDFACTS_H

#include <string>

// What a FreeRTOS build keeps whatever the optimiser did, where a port's saved frame depends on the build:
// whether the program uses floating point (the architecture attributes of the program file), whether
// the task control block carries MPU settings (the debug information), and global functions that only some
// versions of a port's assembly define. The ports' static set-up functions that once told this are inlined
// away from -O1 on.
class FreeRtosBuildFacts {
public:
    // The facts as the bits that the choices of the port rows test.
    enum Bit : unsigned int {
        kFloatingPoint = 0x1,
        kMpuSettings = 0x2,
        // vRestoreContextOfFirstTask: the Armv6-M port rewritten after the Armv8-M ones saves EXC_RETURN.
        kRewrittenArmv6Port = 0x4,
        // vSVCHandler_C: the newer Armv7-M MPU ports keep the context in the task control block.
        kContextInControlBlock = 0x8,
    };

    FreeRtosBuildFacts(bool newFloatingPoint, bool newMpuSettings, unsigned int newPortFunctions = 0)
        : floatingPoint(newFloatingPoint), mpuSettings(newMpuSettings), portFunctions(newPortFunctions) {}
    virtual ~FreeRtosBuildFacts() = default;

    // Of the program that "--file" names and of the layouts resolved so far. The program file is read
    // again only when it changed.
    static FreeRtosBuildFacts ofProgram();

    bool usesFloatingPoint() const { return floatingPoint; }
    bool keepsMpuSettings() const { return mpuSettings; }
    unsigned int bits() const;

private:
    static bool programUsesFloatingPoint(const std::string& path);

    bool floatingPoint;
    bool mpuSettings;
    // The bits of the port functions the symbol table holds.
    unsigned int portFunctions;
};

#endif
