#include "rtos/PortTable.h"

#include "target/PortFrames.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using W = PortRow::When;

const PortFrames kFirstFrames{nullptr, {}, nullptr};
const PortFrames kSecondFrames{"second", {}, nullptr};

// Two ports on one architecture told apart by the MPU set-up, a third sharing the first one's frames, a
// fourth known only by its core, and a fifth that no folder keeps.
const PortTable kTable({
    {"FIRST", kFirstFrames, {"FIRST", ""}, {{"v7-M", W::Any, W::Any, W::Clear}}},
    {"SECOND", kSecondFrames, {"SECOND", "sub"}, {{"v7-M", W::Any, W::Any, W::Set}}, nullptr, {0xc23}},
    {"THIRD", kFirstFrames, {"THIRD", ""}, {{"v7-M", W::Any, W::Any, W::Clear}}, "FIRST", {0xc24, 0xc27}},
    {"FOURTH", kSecondFrames, {"FOURTH", ""}, {}, nullptr, {0xc27}},
    {"FIFTH", kSecondFrames, {}, {{"v6-M"}}},
});

PortRow::Evidence onArchitecture(const std::string& architecture, bool mpuSetup) {
    PortRow::Evidence evidence;
    evidence.architecture = architecture;
    evidence.mpuSetup = mpuSetup;
    return evidence;
}

std::string nameOf(const PortRow* row) {
    return row != nullptr ? row->name : "none";
}

} // namespace

TEST(PortTableTest, NamesAreComparedExactly) {
    EXPECT_EQ("SECOND", nameOf(kTable.named("SECOND")));
    EXPECT_EQ(&kSecondFrames, kTable.framesOf("SECOND"));
    EXPECT_EQ(&kFirstFrames, kTable.framesOf("THIRD"));
    EXPECT_EQ(nullptr, kTable.framesOf("second"));
    for (const char* name : {"second", "SECOND ", "", "SIXTH"}) {
        EXPECT_EQ("none", nameOf(kTable.named(name))) << name;
    }
}

TEST(PortTableTest, AFolderNamesItsPortOnlyWithItsSubFolder) {
    EXPECT_EQ("FIRST", nameOf(kTable.inFolder("FIRST", "")));
    EXPECT_EQ("SECOND", nameOf(kTable.inFolder("SECOND", "sub")));
    EXPECT_EQ("none", nameOf(kTable.inFolder("SECOND", "")));
    EXPECT_EQ("none", nameOf(kTable.inFolder("FIRST", "sub")));
    EXPECT_EQ("none", nameOf(kTable.inFolder("", "")));
}

TEST(PortTableTest, TheEvidenceNamesThePortWhoseArchitectureHoldsAndNotOneSharingItsFrames) {
    EXPECT_EQ("FIRST", nameOf(kTable.ofEvidence(onArchitecture("v7-M", false))));
    EXPECT_EQ("SECOND", nameOf(kTable.ofEvidence(onArchitecture("v7-M", true))));
    EXPECT_EQ("FIFTH", nameOf(kTable.ofEvidence(onArchitecture("v6-M", true))));
    EXPECT_EQ("none", nameOf(kTable.ofEvidence(onArchitecture("v7E-M", false))));
    EXPECT_EQ("none", nameOf(kTable.ofEvidence(onArchitecture("", false))));
}

TEST(PortTableTest, ACorePartNamesTheFirstPortThatListsIt) {
    EXPECT_EQ("SECOND", nameOf(kTable.ofCorePart(0xc23)));
    EXPECT_EQ("THIRD", nameOf(kTable.ofCorePart(0xc24)));
    EXPECT_EQ("THIRD", nameOf(kTable.ofCorePart(0xc27)));
    EXPECT_EQ("none", nameOf(kTable.ofCorePart(0xc20)));
}
