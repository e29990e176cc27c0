#include "debuginfo/ArmAttributes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A whole section: format version, one vendor subsection, one file-scope list of attributes.
std::string section(const std::string& vendor, const std::string& attributes) {
    std::string scope = std::string(1, '\x01') + std::string(4, '\0') + attributes;
    scope[1] = static_cast<char>(scope.size());
    std::string sub = std::string(4, '\0') + vendor + std::string(1, '\0') + scope;
    sub[0] = static_cast<char>(sub.size());
    return "A" + sub;
}

std::string tag(int number, int value) {
    return std::string(1, static_cast<char>(number)) + std::string(1, static_cast<char>(value));
}

// Tag_CPU_name "cortex-m4", Tag_CPU_arch, Tag_CPU_arch_profile, Tag_FP_arch, as the compiler writes them.
std::string cortexM(int arch, int fpArch) {
    return std::string("\x05"
                       "cortex-m4",
                       10) +
           std::string(1, '\0') + tag(6, arch) + tag(7, 'M') + tag(10, fpArch);
}

} // namespace

TEST(ArmAttributesTest, ArchitecturesByTheirTags) {
    struct Row {
        int arch;
        int profile;
        const char* name;
    };
    const Row rows[] = {
        {11, 'M', "v6-M"},
        {12, 'M', "v6S-M"},
        {10, 'M', "v7-M"},
        {13, 'M', "v7E-M"},
        {16, 'M', "v8-M baseline"},
        {17, 'M', "v8-M mainline"},
        {21, 'M', "v8.1-M mainline"},
        {10, 'A', "v7-A"},
        {10, 'R', "v7-R"},
        {14, 'A', ""},
        {9, 0, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arch);
        ArmAttributes attributes;
        ASSERT_TRUE(attributes.parse(section("aeabi", tag(6, row.arch) + tag(7, row.profile))));
        EXPECT_EQ(row.name, attributes.getArchitecture());
        EXPECT_FALSE(attributes.usesFloatingPoint());
    }
}

TEST(ArmAttributesTest, TextAttributesAreSkippedAndFloatingPointSeen) {
    ArmAttributes attributes;
    ASSERT_TRUE(attributes.parse(section("aeabi", cortexM(13, 4))));
    EXPECT_EQ("v7E-M", attributes.getArchitecture());
    EXPECT_TRUE(attributes.usesFloatingPoint());
}

TEST(ArmAttributesTest, OtherVendorsAreIgnored) {
    ArmAttributes attributes;
    EXPECT_FALSE(attributes.parse(section("gnu", tag(6, 13))));
    EXPECT_EQ("", attributes.getArchitecture());
}

TEST(ArmAttributesTest, MalformedSectionsFail) {
    std::string whole = section("aeabi", cortexM(13, 4));
    const std::string broken[] = {
        "",
        "B" + whole.substr(1),
        whole.substr(0, whole.size() - 1),
        // A text attribute without its terminator.
        section("aeabi", std::string("\x05"
                                     "cortex",
                                     7)),
    };
    for (const std::string& bytes : broken) {
        ArmAttributes attributes;
        EXPECT_FALSE(attributes.parse(bytes));
        EXPECT_EQ("", attributes.getArchitecture());
    }
}
