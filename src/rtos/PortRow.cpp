#include "rtos/PortRow.h"

#include <algorithm>

namespace {

bool conditionHolds(PortRow::When when, bool value) {
    return when == PortRow::When::Any || (when == PortRow::When::Set) == value;
}

} // namespace

bool PortRow::Architecture::holds(const Evidence& evidence) const {
    return evidence.architecture == name && conditionHolds(floatingPoint, evidence.floatingPoint) &&
           conditionHolds(secureContext, evidence.secureContext) &&
           conditionHolds(mpuSetup, evidence.mpuSetup);
}

bool PortRow::runsOn(const std::string& architecture) const {
    return std::any_of(architectures.begin(), architectures.end(),
                       [&architecture](const Architecture& entry) { return architecture == entry.name; });
}
