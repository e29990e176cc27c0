#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTDETECTOR_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTDETECTOR_H

#include "rtos/PortRow.h"

#include <istream>
#include <string>
#include <vector>

// Tells which FreeRTOS port a program was built with. The compile units its debug information names say
// it best: the kernel's port.c (and portasm.c) lie in portable/<toolchain>/<port folder>/, whatever the
// toolchain. Where they name no port file, the ELF file's architecture attributes and a few telling
// symbols (a secure context for the TrustZone ports, the MPU set-up for the MPU ports) pick the port; where
// they do, an architecture the port cannot run on makes the signals disagree. The folders and
// architectures are those of the port rows (FreeRtosPortFactory::table).
class FreeRtosPortDetector {
public:
    virtual ~FreeRtosPortDetector() = default;

    // Reads a "readelf -wi" dump; every compile unit name counts.
    void readDump(std::istream& dump);
    // One compile unit's name as the debug information gives it.
    void addCompileUnit(const std::string& path);
    // Reads the architecture attributes and the symbol names of the ELF file; an unreadable file adds
    // nothing.
    void readElf(const std::string& path);
    // The architecture as ArmAttributes names it, and whether floating point is in use.
    void setArchitecture(const std::string& name, bool floatingPoint);
    // Symbol names of the program; only the telling ones count.
    void addSymbolNames(const std::vector<std::string>& names);

    // True when the signals name one port and do not disagree; variant is its "--rtos_variant" value.
    bool detect(std::string& variant) const;
    // True when a given variant differs from what the signals say, and the signals are strong: a port
    // file, or an architecture the given port cannot run on. detected is the port the signals name.
    bool contradicts(const std::string& given, std::string& detected) const;
    // Why: "port.c in portable/GCC/ARM_CM4F" for each port file seen, joined by "; ", or "no port file";
    // then the architecture and the telling symbols, when the ELF file gave them.
    std::string signals() const;
    // What decided a detection: the port files when they named the port, otherwise all the signals.
    std::string reason() const;

private:
    struct Sighting {
        std::string variant;
        std::string reason;
    };
    // The one port of the compile units; false for none or several.
    bool portOfCompileUnits(std::string& variant) const;
    // The port files seen, joined by "; ", or "no port file".
    std::string compileUnitSignals() const;
    // Whether the port runs on the architecture seen; true when none was seen.
    bool runsOnArchitecture(const std::string& variant) const;

    std::vector<Sighting> sightings;
    PortRow::Evidence evidence;
    // The telling symbols seen, in the order of their table.
    std::vector<std::string> tellingSymbols;
};

#endif
