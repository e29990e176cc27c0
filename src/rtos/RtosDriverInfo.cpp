#include "rtos/RtosDriverInfo.h"

#include <stdexcept>

IRtosDriver* RtosDriverInfo::create(const std::string& /*driverName*/) const {
    throw std::runtime_error("Method not implemented");
}
