#include "rtos/PortRow.h"

#include <algorithm>

namespace {

bool holds(PortRow::When when, bool value) {
    return when == PortRow::When::Any || (when == PortRow::When::Set) == value;
}

} // namespace

bool PortRow::Architecture::holds(const Evidence& evidence) const {
    return evidence.architecture == name && ::holds(floatingPoint, evidence.floatingPoint) &&
           ::holds(secureContext, evidence.secureContext) && ::holds(mpuSetup, evidence.mpuSetup);
}

bool PortRow::runsOn(const std::string& architecture) const {
    return std::any_of(architectures.begin(), architectures.end(),
                       [&architecture](const Architecture& entry) { return architecture == entry.name; });
}
