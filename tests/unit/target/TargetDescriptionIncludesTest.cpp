#include "target/TargetDescriptionIncludes.h"

#include "SourceFile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Annexes = std::vector<std::string>;

TEST(TargetDescriptionIncludes, QemusDocumentNamesThreeAnnexesInOrder) {
    EXPECT_EQ(
        Annexes({"arm-m-profile.xml", "arm-vfp.xml", "system-registers.xml"}),
        TargetDescriptionIncludes::find(testfiles::readSourceFile("tests/fixtures/targetxml/xinclude.xml")));
}

TEST(TargetDescriptionIncludes, QuotesOfBothKindsAndOtherAttributes) {
    EXPECT_EQ(Annexes({"a.xml", "b.xml"}),
              TargetDescriptionIncludes::find("<target><xi:include href='a.xml'/>"
                                              "<xi:include xmlns:xi=\"x\" href=\"b.xml\" /></target>"));
}

TEST(TargetDescriptionIncludes, NothingWithoutAWholeInclude) {
    EXPECT_TRUE(TargetDescriptionIncludes::find("<target><feature name=\"x\"/></target>").empty());
    EXPECT_TRUE(TargetDescriptionIncludes::find("<xi:include href=\"a.xml\"").empty());
    EXPECT_TRUE(TargetDescriptionIncludes::find("<xi:include/><feature href=\"a.xml\"/>").empty());
    EXPECT_TRUE(TargetDescriptionIncludes::find("<xi:include href=a.xml/>").empty());
    EXPECT_TRUE(TargetDescriptionIncludes::find("<xi:include href=\"a.xml/>").empty());
}

} // namespace
