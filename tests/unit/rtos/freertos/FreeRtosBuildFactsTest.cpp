#include "rtos/freertos/FreeRtosBuildFacts.h"

#include "KernelTarget.h"
#include "base/Properties.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct BuildCase {
    const char* program;
    bool floatingPoint;
    bool mpuSettings;
};

void PrintTo(const BuildCase& build, std::ostream* out) {
    *out << build.program;
}

class FreeRtosBuildFactsIntegration : public ::testing::TestWithParam<BuildCase> {};

} // namespace

// The facts come from the program file's attributes and its task control block, never from functions that
// an optimised build inlines: the hard-float and soft-float programs, and the one built with MPU settings.
TEST_P(FreeRtosBuildFactsIntegration, FromTheProgramFileAndTheTaskControlBlock) {
    const BuildCase& build = GetParam();
    KernelTarget kernel(build.program);
    ASSERT_TRUE(kernel.ok());
    ASSERT_TRUE(kernel.resolveStructures({"tskTaskControlBlock"}));
    FreeRtosBuildFacts facts = FreeRtosBuildFacts::ofProgram();
    EXPECT_EQ(build.floatingPoint, facts.usesFloatingPoint());
    EXPECT_EQ(build.mpuSettings, facts.keepsMpuSettings());
}

INSTANTIATE_TEST_SUITE_P(Programs, FreeRtosBuildFactsIntegration,
                         ::testing::Values(BuildCase{"freertos_snapshot.elf", true, false},
                                           BuildCase{"shapes_freertos_full.elf", false, false},
                                           BuildCase{"shapes_freertos_mpu.elf", true, true}),
                         [](const ::testing::TestParamInfo<BuildCase>& each) {
                             std::string name = each.param.program;
                             return name.substr(0, name.find('.'));
                         });

TEST(FreeRtosBuildFactsTest, WithoutAProgramFileNothingIsInUse) {
    Properties::getInstance().clear();
    FreeRtosBuildFacts facts = FreeRtosBuildFacts::ofProgram();
    EXPECT_FALSE(facts.usesFloatingPoint());
    EXPECT_FALSE(facts.keepsMpuSettings());
}
