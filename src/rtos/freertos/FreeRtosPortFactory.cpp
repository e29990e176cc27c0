#include "rtos/freertos/FreeRtosPortFactory.h"

#include "rtos/freertos/FreeRtosPortARMCA9.h"
#include "rtos/freertos/FreeRtosPortARMCM0.h"
#include "rtos/freertos/FreeRtosPortARMCM3.h"
#include "rtos/freertos/FreeRtosPortARMCM33CM55CM85.h"
#include "rtos/freertos/FreeRtosPortARMCM4F.h"

namespace {

struct Variant {
    const char* name;
    IRtosPortDriver* (*make)();
};

// Searched in this order; several names share a port class.
const Variant kVariants[] = {
    {"ARM_CM0", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM0(); }},
    {"ARM_CM3", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM3(false); }},
    {"ARM_CM3_MPU", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM3(true); }},
    {"ARM_CM4F", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM4F(false); }},
    {"ARM_CM7", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM4F(false); }},
    {"ARM_CM4_MPU", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM4F(true); }},
    // The Cortex-M23 ports stack the frames of the Cortex-M33 ports without floating point.
    {"ARM_CM23", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(true); }},
    {"ARM_CM23_NTZ", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(false); }},
    {"ARM_CM33", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(true); }},
    {"ARM_CM55", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(true); }},
    {"ARM_CM85", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(true); }},
    {"ARM_CM33_NTZ", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(false); }},
    {"ARM_CM55_NTZ", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(false); }},
    {"ARM_CM85_NTZ", []() -> IRtosPortDriver* { return new FreeRtosPortARMCM33CM55CM85(false); }},
    {"ARM_CA9", []() -> IRtosPortDriver* { return new FreeRtosPortARMCA9(); }},
};

} // namespace

IRtosPortDriver* FreeRtosPortFactory::create(const std::string& variant) {
    for (const Variant& candidate : kVariants) {
        if (variant == candidate.name) {
            return candidate.make();
        }
    }
    return nullptr;
}

IRtosPortDriver* FreeRtosPortFactory::create(RspClient& /*server*/) {
    return nullptr;
}
