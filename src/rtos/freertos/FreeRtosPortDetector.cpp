#include "rtos/freertos/FreeRtosPortDetector.h"

#include <algorithm>

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
    {"ARM_CM33", "non_secure", "ARM_CM33"},
    {"ARM_CM33_NTZ", "non_secure", "ARM_CM33_NTZ"},
    {"ARM_CM55", "non_secure", "ARM_CM55"},
    {"ARM_CM55_NTZ", "non_secure", "ARM_CM55_NTZ"},
    {"ARM_CM85", "non_secure", "ARM_CM85"},
    {"ARM_CM85_NTZ", "non_secure", "ARM_CM85_NTZ"},
    {"ARM_CA9", "", "ARM_CA9"},
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

bool FreeRtosPortDetector::detect(std::string& variant) const {
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

std::string FreeRtosPortDetector::signals() const {
    if (sightings.empty()) {
        return "no port file";
    }
    std::string joined;
    for (const Sighting& sighting : sightings) {
        if (joined.find(sighting.reason) != std::string::npos) {
            continue;
        }
        joined += (joined.empty() ? "" : "; ") + sighting.reason;
    }
    return joined;
}
