#include "rtos/freertos/FreeRtosPortDetector.h"

#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"
#include "rtos/PortTable.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include <algorithm>
#include <iterator>

namespace {

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
        const PortRow* port = FreeRtosPortFactory::table().inFolder(folder, subFolder);
        if (port == nullptr) {
            continue;
        }
        std::string reason = parts.back() + " in portable/" + parts[i + 1] + "/" + folder;
        if (!subFolder.empty()) {
            reason += "/" + subFolder;
        }
        sightings.push_back({port->name, reason});
        return;
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
    evidence.architecture = name;
    evidence.floatingPoint = usesFloatingPoint;
}

void FreeRtosPortDetector::addSymbolNames(const std::vector<std::string>& names) {
    for (const TellingSymbol& telling : kTellingSymbols) {
        if (std::find(names.begin(), names.end(), telling.name) == names.end() ||
            std::find(tellingSymbols.begin(), tellingSymbols.end(), telling.name) != tellingSymbols.end()) {
            continue;
        }
        evidence.secureContext = evidence.secureContext || telling.secureContext;
        evidence.mpuSetup = evidence.mpuSetup || !telling.secureContext;
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
    if (evidence.architecture.empty()) {
        return true;
    }
    const PortRow* port = FreeRtosPortFactory::table().named(variant);
    return port != nullptr && port->runsOn(evidence.architecture);
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
    const PortRow* port = FreeRtosPortFactory::table().ofEvidence(evidence);
    if (port == nullptr) {
        return false;
    }
    variant = port->name;
    return true;
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
    if (!evidence.architecture.empty()) {
        joined += "; architecture " + evidence.architecture +
                  (evidence.floatingPoint ? " with floating point" : "");
    }
    for (const std::string& symbol : tellingSymbols) {
        joined += "; symbol " + symbol;
    }
    return joined;
}
