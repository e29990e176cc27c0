#include "rtos/freertos/FreeRtosBuildFacts.h"

#include "base/Properties.h"
#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"
#include "debuginfo/SymbolTable.h"

#include <sys/stat.h>

#include <ctime>

namespace {

struct PortFunction {
    const char* name;
    FreeRtosBuildFacts::Bit bit;
};
// The MPU ports before V11 named the C half of their SVC handler prvSVCHandler.
const PortFunction kPortFunctions[] = {
    {"vRestoreContextOfFirstTask", FreeRtosBuildFacts::kRewrittenArmv6Port},
    {"vSVCHandler_C", FreeRtosBuildFacts::kContextInControlBlock},
};

} // namespace

FreeRtosBuildFacts FreeRtosBuildFacts::ofProgram() {
    std::string path;
    bool floatingPoint =
        Properties::getInstance().getProperty("--file", path) && programUsesFloatingPoint(path);
    StructInfo task;
    MemberInfo settings;
    bool mpuSettings = SymbolTable::getInstance().lookupStruct("tskTaskControlBlock", task) &&
                       task.lookup("xMPUSettings", settings);
    unsigned int portFunctions = 0;
    for (const PortFunction& function : kPortFunctions) {
        Symbol symbol;
        if (SymbolTable::getInstance().lookupSymbol(function.name, symbol)) {
            portFunctions |= function.bit;
        }
    }
    return FreeRtosBuildFacts(floatingPoint, mpuSettings, portFunctions);
}

unsigned int FreeRtosBuildFacts::bits() const {
    return (floatingPoint ? kFloatingPoint : 0U) | (mpuSettings ? kMpuSettings : 0U) | portFunctions;
}

bool FreeRtosBuildFacts::programUsesFloatingPoint(const std::string& path) {
    // Asked at every switched-out task's registers: the file is parsed once per version of it.
    static std::string readPath;
    static std::time_t readTime = 0;
    static bool readAnswer = false;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return false;
    }
    if (path != readPath || status.st_mtime != readTime) {
        ElfFile elf;
        ArmAttributes attributes;
        readAnswer = elf.load(path) && attributes.read(elf) && attributes.usesFloatingPoint();
        readPath = path;
        readTime = status.st_mtime;
    }
    return readAnswer;
}
