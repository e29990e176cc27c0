#include "rtos/PortRow.h"

#include "target/PortFrames.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using W = PortRow::When;

PortRow::Evidence evidence(const std::string& architecture, bool floatingPoint, bool secureContext,
                           bool mpuSetup) {
    PortRow::Evidence facts;
    facts.architecture = architecture;
    facts.floatingPoint = floatingPoint;
    facts.secureContext = secureContext;
    facts.mpuSetup = mpuSetup;
    return facts;
}

} // namespace

TEST(PortRowTest, AnArchitectureHoldsWhenItsNameAndEveryConditionDo) {
    const PortRow::Architecture architecture{"v7E-M", W::Set, W::Any, W::Clear};
    EXPECT_TRUE(architecture.holds(evidence("v7E-M", true, false, false)));
    EXPECT_TRUE(architecture.holds(evidence("v7E-M", true, true, false)));
    EXPECT_FALSE(architecture.holds(evidence("v7E-M", false, false, false)));
    EXPECT_FALSE(architecture.holds(evidence("v7E-M", true, false, true)));
    EXPECT_FALSE(architecture.holds(evidence("v7-M", true, false, false)));
    EXPECT_FALSE(architecture.holds(evidence("", true, false, false)));
}

TEST(PortRowTest, WithoutConditionsTheNameAloneHolds) {
    const PortRow::Architecture architecture{"v6-M"};
    for (unsigned int bits = 0; bits < 8; ++bits) {
        EXPECT_TRUE(architecture.holds(evidence("v6-M", (bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0)));
    }
    EXPECT_FALSE(architecture.holds(evidence("v6S-M", false, false, false)));
}

TEST(PortRowTest, APortRunsOnEachOfItsArchitecturesWhateverTheirConditions) {
    const PortFrames frames{nullptr, {}, nullptr};
    const PortRow row{"P", frames, {"P", ""}, {{"v7-M", W::Clear}, {"v7E-M", W::Set}}};
    EXPECT_TRUE(row.runsOn("v7-M"));
    EXPECT_TRUE(row.runsOn("v7E-M"));
    EXPECT_FALSE(row.runsOn("v6-M"));
    EXPECT_FALSE(row.runsOn(""));
}
