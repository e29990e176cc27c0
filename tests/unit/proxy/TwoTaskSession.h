#ifndef TARNWICK_TESTS_UNIT_PROXY_TWOTASKSESSION_H
#define TARNWICK_TESTS_UNIT_PROXY_TWOTASKSESSION_H

#include "TwoTaskRig.h"

#include <gtest/gtest.h>

// The rig past the stop that left the two-task snapshot, the driver's record cleared; the driver is not
// asked again until a stop.
class TwoTaskSession : public TwoTaskRig {
public:
    explicit TwoTaskSession(unsigned int logLevel = ProxyRig::kAllSeverities)
        : TwoTaskRig(kAnswersAtOnce, logLevel) {
        if (!rig.ready()) {
            return;
        }
        rig.passFirstStop();
        EXPECT_EQ("T05thread:20000a40;", rig.stop("T05"));
        driver.clearRecord();
    }
};

#endif
