#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTDETECTOR_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTDETECTOR_H

#include <istream>
#include <string>
#include <vector>

// Tells which FreeRTOS port a program was built with from the compile units its debug information names:
// the kernel's port.c (and portasm.c) lie in portable/<toolchain>/<port folder>/, whatever the toolchain.
class FreeRtosPortDetector {
public:
    virtual ~FreeRtosPortDetector() = default;

    // Reads a "readelf -wi" dump; every compile unit name counts.
    void readDump(std::istream& dump);
    // One compile unit's name as the debug information gives it.
    void addCompileUnit(const std::string& path);
    // True when exactly one port was seen; variant is its "--rtos_variant" value.
    bool detect(std::string& variant) const;
    // Why: "port.c in portable/GCC/ARM_CM4F" for each port file seen, joined by "; ", or "no port file".
    std::string signals() const;

private:
    struct Sighting {
        std::string variant;
        std::string reason;
    };
    std::vector<Sighting> sightings;
};

#endif
