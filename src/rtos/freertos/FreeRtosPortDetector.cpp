#include "rtos/freertos/FreeRtosPortDetector.h"

#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"

#include <algorithm>
#include <iterator>

namespace {

struct PortFolder {
    // The folder under portable/<toolchain>/, then the sub-folder, if the port has one.
    const char* folder;
    const char* subFolder;
    const char* variant;
};

// The TrustZone ports compile a secure side too; only the non-secure side runs the scheduler's tasks.
const PortFolder kPortFolders[] = {
    {"ARM_CM0", "", "ARM_CM0"},
    {"ARM_CM3", "", "ARM_CM3"},
    {"ARM_CM3_MPU", "", "ARM_CM3_MPU"},
    {"ARM_CM4F", "", "ARM_CM4F"},
    {"ARM_CM4_MPU", "", "ARM_CM4_MPU"},
    {"ARM_CM7", "r0p1", "ARM_CM7"},
    {"ARM_CM23", "non_secure", "ARM_CM23"},
    {"ARM_CM23_NTZ", "non_secure", "ARM_CM23_NTZ"},
    {"ARM_CM33", "non_secure", "ARM_CM33"},
    {"ARM_CM33_NTZ", "non_secure", "ARM_CM33_NTZ"},
    {"ARM_CM55", "non_secure", "ARM_CM55"},
    {"ARM_CM55_NTZ", "non_secure", "ARM_CM55_NTZ"},
    {"ARM_CM85", "non_secure", "ARM_CM85"},
    {"ARM_CM85_NTZ", "non_secure", "ARM_CM85_NTZ"},
    {"ARM_CA9", "", "ARM_CA9"},
};

// A condition on a yes-or-no signal.
enum class When : unsigned char { Any, Set, Clear };

bool holds(When when, bool value) {
    return when == When::Any || (when == When::Set) == value;
}

// Where no port file is named, the first row that holds picks the port. The Cortex-M7 shares the frames
// of ARM_CM4F, the Cortex-M85 those of ARM_CM55: the architecture cannot tell them apart, nor need it.
// A Cortex-M4 without the FPU port runs ARM_CM3.
struct ArchitectureRule {
    const char* architecture;
    When floatingPoint;
    When secureContext;
    When mpuSetup;
    const char* variant;
};
const ArchitectureRule kArchitectureRules[] = {
    {"v6-M", When::Any, When::Any, When::Any, "ARM_CM0"},
    {"v6S-M", When::Any, When::Any, When::Any, "ARM_CM0"},
    {"v7-M", When::Any, When::Any, When::Clear, "ARM_CM3"},
    {"v7-M", When::Any, When::Any, When::Set, "ARM_CM3_MPU"},
    {"v7E-M", When::Set, When::Any, When::Clear, "ARM_CM4F"},
    {"v7E-M", When::Set, When::Any, When::Set, "ARM_CM4_MPU"},
    {"v7E-M", When::Clear, When::Any, When::Clear, "ARM_CM3"},
    {"v7E-M", When::Clear, When::Any, When::Set, "ARM_CM3_MPU"},
    {"v8-M baseline", When::Any, When::Set, When::Any, "ARM_CM23"},
    {"v8-M baseline", When::Any, When::Clear, When::Any, "ARM_CM23_NTZ"},
    {"v8-M mainline", When::Any, When::Set, When::Any, "ARM_CM33"},
    {"v8-M mainline", When::Any, When::Clear, When::Any, "ARM_CM33_NTZ"},
    {"v8.1-M mainline", When::Any, When::Set, When::Any, "ARM_CM55"},
    {"v8.1-M mainline", When::Any, When::Clear, When::Any, "ARM_CM55_NTZ"},
    {"v7-A", When::Any, When::Any, When::Any, "ARM_CA9"},
};

// The architectures each port runs on, for the check of a named port file against the attributes.
struct PortArchitectures {
    const char* variant;
    std::vector<std::string> architectures;
};
const std::vector<PortArchitectures>& portArchitectures() {
    static const std::vector<PortArchitectures> table = {
        {"ARM_CM0", {"v6-M", "v6S-M"}},
        {"ARM_CM3", {"v7-M", "v7E-M"}},
        {"ARM_CM3_MPU", {"v7-M", "v7E-M"}},
        {"ARM_CM4F", {"v7E-M"}},
        {"ARM_CM4_MPU", {"v7E-M"}},
        {"ARM_CM7", {"v7E-M"}},
        {"ARM_CM23", {"v8-M baseline"}},
        {"ARM_CM23_NTZ", {"v8-M baseline"}},
        {"ARM_CM33", {"v8-M mainline"}},
        {"ARM_CM33_NTZ", {"v8-M mainline"}},
        {"ARM_CM55", {"v8.1-M mainline"}},
        {"ARM_CM55_NTZ", {"v8.1-M mainline"}},
        {"ARM_CM85", {"v8.1-M mainline"}},
        {"ARM_CM85_NTZ", {"v8.1-M mainline"}},
        {"ARM_CA9", {"v7-A"}},
    };
    return table;
}

// The port.c of the TrustZone ports keeps the running task's secure context in xSecureContext. Among the
// Armv7-M ports only the MPU ones set the MPU up in their port.c, and only the MPU builds of the kernel
// give tasks their own regions.
struct TellingSymbol {
    const char* name;
    bool secureContext; // otherwise it tells of the MPU
};
const TellingSymbol kTellingSymbols[] = {
    {"xSecureContext", true},
    {"prvSetupMPU", false},
    {"vTaskAllocateMPURegions", false},
};

const char* const kPortFiles[] = {"port.c", "portasm.c"};

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::string part;
    for (char c : path) {
        if (c == '/' || c == '\\') {
            if (!part.empty()) {
                parts.push_back(part);
            }
            part.clear();
            continue;
        }
        part += c;
    }
    if (!part.empty()) {
        parts.push_back(part);
    }
    return parts;
}

bool isPortFile(const std::string& name) {
    return std::any_of(std::begin(kPortFiles), std::end(kPortFiles),
                       [&name](const char* file) { return name == file; });
}

} // namespace

void FreeRtosPortDetector::readDump(std::istream& dump) {
    const std::string unitTag = "(DW_TAG_compile_unit)";
    const std::string nameAttribute = "DW_AT_name";
    bool inUnit = false;
    std::string line;
    while (std::getline(dump, line)) {
        if (line.find("Abbrev Number") != std::string::npos) {
            inUnit = line.find(unitTag) != std::string::npos;
            continue;
        }
        if (!inUnit || line.find(nameAttribute) == std::string::npos) {
            continue;
        }
        // The value follows the last ": " (indirect strings carry an offset before it).
        std::string::size_type colon = line.rfind(": ");
        if (colon != std::string::npos) {
            addCompileUnit(line.substr(colon + 2));
        }
        inUnit = false;
    }
}

void FreeRtosPortDetector::addCompileUnit(const std::string& path) {
    std::vector<std::string> parts = splitPath(path);
    if (parts.empty() || !isPortFile(parts.back())) {
        return;
    }
    for (std::size_t i = 0; i + 2 < parts.size(); ++i) {
        if (parts[i] != "portable") {
            continue;
        }
        const std::string& folder = parts[i + 2];
        const std::string subFolder = i + 4 < parts.size() ? parts[i + 3] : "";
        for (const PortFolder& port : kPortFolders) {
            if (folder != port.folder || subFolder != port.subFolder) {
                continue;
            }
            std::string reason = parts.back() + " in portable/" + parts[i + 1] + "/" + folder;
            if (!subFolder.empty()) {
                reason += "/" + subFolder;
            }
            sightings.push_back({port.variant, reason});
            return;
        }
    }
}

void FreeRtosPortDetector::readElf(const std::string& path) {
    ElfFile elf;
    if (!elf.load(path)) {
        return;
    }
    ArmAttributes attributes;
    if (attributes.read(elf)) {
        setArchitecture(attributes.getArchitecture(), attributes.usesFloatingPoint());
    }
    addSymbolNames(elf.symbolNames());
}

void FreeRtosPortDetector::setArchitecture(const std::string& name, bool usesFloatingPoint) {
    architecture = name;
    floatingPoint = usesFloatingPoint;
}

void FreeRtosPortDetector::addSymbolNames(const std::vector<std::string>& names) {
    for (const TellingSymbol& telling : kTellingSymbols) {
        if (std::find(names.begin(), names.end(), telling.name) == names.end() ||
            std::find(tellingSymbols.begin(), tellingSymbols.end(), telling.name) != tellingSymbols.end()) {
            continue;
        }
        secureContext = secureContext || telling.secureContext;
        mpuSetup = mpuSetup || !telling.secureContext;
        tellingSymbols.push_back(telling.name);
    }
}

bool FreeRtosPortDetector::portOfCompileUnits(std::string& variant) const {
    if (sightings.empty()) {
        return false;
    }
    for (const Sighting& sighting : sightings) {
        if (sighting.variant != sightings.front().variant) {
            return false;
        }
    }
    variant = sightings.front().variant;
    return true;
}

bool FreeRtosPortDetector::runsOnArchitecture(const std::string& variant) const {
    if (architecture.empty()) {
        return true;
    }
    for (const PortArchitectures& port : portArchitectures()) {
        if (port.variant == variant) {
            return std::find(port.architectures.begin(), port.architectures.end(), architecture) !=
                   port.architectures.end();
        }
    }
    return false;
}

bool FreeRtosPortDetector::detect(std::string& variant) const {
    std::string named;
    if (portOfCompileUnits(named)) {
        if (!runsOnArchitecture(named)) {
            return false;
        }
        variant = named;
        return true;
    }
    if (!sightings.empty()) {
        return false;
    }
    for (const ArchitectureRule& rule : kArchitectureRules) {
        if (architecture == rule.architecture && holds(rule.floatingPoint, floatingPoint) &&
            holds(rule.secureContext, secureContext) && holds(rule.mpuSetup, mpuSetup)) {
            variant = rule.variant;
            return true;
        }
    }
    return false;
}

bool FreeRtosPortDetector::contradicts(const std::string& given, std::string& detected) const {
    if (!detect(detected) || detected == given) {
        return false;
    }
    return !sightings.empty() || !runsOnArchitecture(given);
}

std::string FreeRtosPortDetector::compileUnitSignals() const {
    std::string joined;
    for (const Sighting& sighting : sightings) {
        if (joined.find(sighting.reason) != std::string::npos) {
            continue;
        }
        joined += (joined.empty() ? "" : "; ") + sighting.reason;
    }
    return joined.empty() ? "no port file" : joined;
}

std::string FreeRtosPortDetector::reason() const {
    std::string named;
    return portOfCompileUnits(named) ? compileUnitSignals() : signals();
}

std::string FreeRtosPortDetector::signals() const {
    std::string joined = compileUnitSignals();
    if (!architecture.empty()) {
        joined += "; architecture " + architecture + (floatingPoint ? " with floating point" : "");
    }
    for (const std::string& symbol : tellingSymbols) {
        joined += "; symbol " + symbol;
    }
    return joined;
}
