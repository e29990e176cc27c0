#ifndef TARNWICK_TESTS_UNIT_PROXY_TWOTASKRIG_H
#define TARNWICK_TESTS_UNIT_PROXY_TWOTASKRIG_H

#include "FakeRtosDriver.h"
#include "ProxyRig.h"
#include "ProxyTestHelpers.h"

// The rig around a driver that holds the two-task snapshot, before any stop. With kReadsTarget the driver's
// kernel check reads its word at 0x20000104 through the server.
class TwoTaskRig {
public:
    enum KernelCheck { kAnswersAtOnce, kReadsTarget };

    explicit TwoTaskRig(KernelCheck check = kAnswersAtOnce, unsigned int logLevel = ProxyRig::kAllSeverities)
        : rig((prepare(driver, check), driver), logLevel) {}

    FakeRtosDriver driver;
    ProxyRig rig;

private:
    static void prepare(FakeRtosDriver& driver, KernelCheck check) {
        if (check == kReadsTarget) {
            useCheckedTwoTaskSnapshot(driver);
        } else {
            useTwoTaskSnapshot(driver);
        }
    }
};

#endif
