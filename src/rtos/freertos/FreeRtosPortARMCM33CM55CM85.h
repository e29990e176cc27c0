#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM33CM55CM85_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSPORTARMCM33CM55CM85_H

#include "rtos/IRtosPortDriver.h"
#include "rtos/freertos/FreeRtosBuildFacts.h"

#include <functional>
#include <utility>

// Armv8-M cores (Cortex-M23, M33, M55, M85), with or without a secure side. The option does not tell
// the whole kernel build, so the frame is chosen from the saved exception return value together with
// what the build keeps at any optimisation: floating point in use, MPU settings in the task control block.
class FreeRtosPortARMCM33CM55CM85 : public IRtosPortDriver {
public:
    using FactsSource = std::function<FreeRtosBuildFacts()>;

    explicit FreeRtosPortARMCM33CM55CM85(bool newTrustZone, FactsSource newFacts = FreeRtosBuildFacts::ofProgram)
        : trustZone(newTrustZone), facts(std::move(newFacts)) {}
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;

private:
    bool trustZone;
    FactsSource facts;
};

#endif
