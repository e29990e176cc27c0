#include "debuginfo/ArrayLength.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// A declaration without a bound (another compile unit's extern), then the definition with one.
const char* const kDump = " <1><100>: Abbrev Number: 5 (DW_TAG_array_type)\n"
                          "    <101>   DW_AT_type        : <0x90>\n"
                          " <2><105>: Abbrev Number: 6 (DW_TAG_subrange_type)\n"
                          "    <106>   DW_AT_type        : <0x30>\n"
                          " <2><10a>: Abbrev Number: 0\n"
                          " <1><10b>: Abbrev Number: 2 (DW_TAG_variable)\n"
                          "    <10c>   DW_AT_name        : (indirect string, offset: 0x85c): xQueueRegistry\n"
                          "    <110>   DW_AT_type        : <0x100>\n"
                          "    <114>   DW_AT_declaration : 1\n"
                          " <1><cd6>: Abbrev Number: 5 (DW_TAG_array_type)\n"
                          "    <cd7>   DW_AT_type        : <0x90>\n"
                          " <2><cdf>: Abbrev Number: 6 (DW_TAG_subrange_type)\n"
                          "    <ce0>   DW_AT_type        : <0x30>\n"
                          "    <ce4>   DW_AT_upper_bound : 7\n"
                          " <2><ce5>: Abbrev Number: 0\n"
                          " <1><ce6>: Abbrev Number: 2 (DW_TAG_variable)\n"
                          "    <ce7>   DW_AT_name        : (indirect string, offset: 0x85c): xQueueRegistry\n"
                          "    <ced>   DW_AT_type        : <0xcd6>\n"
                          " <1><cf7>: Abbrev Number: 2 (DW_TAG_variable)\n"
                          "    <cf8>   DW_AT_name        : xQueueRegistryCopy\n"
                          "    <cfc>   DW_AT_type        : <0xd00>\n"
                          " <1><d00>: Abbrev Number: 5 (DW_TAG_array_type)\n"
                          " <2><d05>: Abbrev Number: 7 (DW_TAG_subrange_type)\n"
                          "    <d06>   DW_AT_count       : 12\n";

} // namespace

TEST(ArrayLengthTest, UpperBoundOfTheDefinitionCounts) {
    std::istringstream dump(kDump);
    unsigned int length = 0;
    ASSERT_TRUE(ArrayLength::find(dump, "xQueueRegistry", length));
    EXPECT_EQ(8u, length);
}

TEST(ArrayLengthTest, CountCounts) {
    std::istringstream dump(kDump);
    unsigned int length = 0;
    ASSERT_TRUE(ArrayLength::find(dump, "xQueueRegistryCopy", length));
    EXPECT_EQ(12u, length);
}

TEST(ArrayLengthTest, UnknownVariableOrNoBoundLeavesTheLengthAlone) {
    std::istringstream dump(kDump);
    unsigned int length = 77;
    EXPECT_FALSE(ArrayLength::find(dump, "xQueue", length));
    EXPECT_EQ(77u, length);
    std::istringstream unbounded(std::string(kDump).substr(0, std::string(kDump).find(" <1><cd6>")));
    EXPECT_FALSE(ArrayLength::find(unbounded, "xQueueRegistry", length));
    EXPECT_EQ(77u, length);
    std::istringstream garbage("<<>>: Abbrev Number\n DW_AT_upper_bound : x\n DW_AT_type : <0x\n");
    EXPECT_FALSE(ArrayLength::find(garbage, "xQueueRegistry", length));
    EXPECT_EQ(77u, length);
}
