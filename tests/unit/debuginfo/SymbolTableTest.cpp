#include "debuginfo/SymbolTable.h"

#include "DebugInfoTestSupport.h"

#include <gtest/gtest.h>

namespace {

// The list layout of a small kernel build, in the dump tool's text shape.
const char* const kListDump =
    " <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)\n"
    "    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): xLIST\n"
    "    <34>   DW_AT_byte_size   : 20\n"
    " <2><3a>: Abbrev Number: 4 (DW_TAG_member)\n"
    "    <3b>   DW_AT_name        : (indirect string, offset: 0x1c1): uxNumberOfItems\n"
    "    <43>   DW_AT_data_member_location: 0\n"
    " <2><44>: Abbrev Number: 4 (DW_TAG_member)\n"
    "    <45>   DW_AT_name        : (indirect string, offset: 0x2f0): xListEnd\n"
    "    <4d>   DW_AT_data_member_location: 8\n"
    " <2><4e>: Abbrev Number: 0\n";

class SymbolTableTest : public DebugInfoTest {};

} // namespace

TEST_F(SymbolTableTest, IsASingleton) {
    EXPECT_EQ(&SymbolTable::getInstance(), &SymbolTable::getInstance());
}

TEST_F(SymbolTableTest, InitiatedOnceASymbolIsKnown) {
    SymbolTable& table = SymbolTable::getInstance();
    EXPECT_FALSE(table.isInitiated());
    table.addSymbol(Symbol("xSchedulerRunning", "20000100"));
    EXPECT_TRUE(table.isInitiated());
}

TEST_F(SymbolTableTest, SecondAddOfANameKeepsTheFirstAddress) {
    SymbolTable& table = SymbolTable::getInstance();
    table.addSymbol(Symbol("pxCurrentTCB", "20000a40"));
    std::string log = stdoutOf([&] { table.addSymbol(Symbol("pxCurrentTCB", "20000b00")); });
    EXPECT_EQ("", log);
    Symbol out;
    ASSERT_TRUE(table.lookupSymbol("pxCurrentTCB", out));
    EXPECT_EQ("20000a40", out.getAddress());
    EXPECT_EQ(0x20000a40u, out.getAddress32());
}

TEST_F(SymbolTableTest, LookupOfAnUnknownNameLeavesOutAsItWas) {
    SymbolTable& table = SymbolTable::getInstance();
    table.addSymbol(Symbol("pxCurrentTCB", "20000a40"));
    Symbol out("before", "12");
    EXPECT_FALSE(table.lookupSymbol("pxcurrenttcb", out));
    EXPECT_FALSE(table.lookupSymbol("pxCurrentTC", out));
    EXPECT_EQ("before", out.getName());
    EXPECT_EQ("12", out.getAddress());
    EXPECT_EQ(0x12u, out.getAddress32());
}

TEST_F(SymbolTableTest, LookupStructHandsOutACopy) {
    useCache(kListDump);
    SymbolTable& table = SymbolTable::getInstance();
    ASSERT_TRUE(table.resolveDataStructures({"xLIST"}));
    StructInfo out;
    ASSERT_TRUE(table.lookupStruct("xLIST", out));
    EXPECT_EQ("xLIST", out.getName());
    EXPECT_EQ(20u, out.getSize());
    out.getMembers().clear();
    StructInfo again;
    ASSERT_TRUE(table.lookupStruct("xLIST", again));
    EXPECT_EQ(2u, again.getMembers().size());
}

TEST_F(SymbolTableTest, LookupStructOfAnUnknownNameLeavesOutAlone) {
    useCache(kListDump);
    SymbolTable& table = SymbolTable::getInstance();
    ASSERT_TRUE(table.resolveDataStructures({"xLIST"}));
    StructInfo out("before", 3);
    EXPECT_FALSE(table.lookupStruct("xlist", out));
    EXPECT_EQ("before", out.getName());
    EXPECT_EQ(3u, out.getSize());
}

TEST_F(SymbolTableTest, ResolveDataStructureBindsEveryMemberToTheInstance) {
    useCache(kListDump);
    SymbolTable& table = SymbolTable::getInstance();
    ASSERT_TRUE(table.resolveDataStructures({"xLIST"}));
    StructInfo list;
    ASSERT_TRUE(SymbolTable::resolveDataStructure("xLIST", 0x20000400, list));
    MemberInfo member;
    ASSERT_TRUE(list.lookup("uxNumberOfItems", member));
    EXPECT_EQ(0x20000400u, member.getAddress());
    ASSERT_TRUE(list.lookup("xListEnd", member));
    EXPECT_EQ(0x20000408u, member.getAddress());
    StructInfo tableCopy;
    ASSERT_TRUE(table.lookupStruct("xLIST", tableCopy));
    EXPECT_EQ(0u, tableCopy.getMembers().at("xListEnd").getAddress());
}

TEST_F(SymbolTableTest, ResolveDataStructureOfAnUnknownNameFails) {
    useCache(kListDump);
    ASSERT_TRUE(SymbolTable::getInstance().resolveDataStructures({"xLIST"}));
    StructInfo out("before", 1);
    EXPECT_FALSE(SymbolTable::resolveDataStructure("xLIST_ITEM", 0x1000, out));
    EXPECT_EQ("before", out.getName());
}

TEST_F(SymbolTableTest, EachResolveReplacesTheWholeMap) {
    useCache(kListDump);
    SymbolTable& table = SymbolTable::getInstance();
    ASSERT_TRUE(table.resolveDataStructures({"xLIST"}));
    EXPECT_FALSE(table.resolveDataStructures({"xLIST_ITEM"}));
    StructInfo out;
    EXPECT_FALSE(table.lookupStruct("xLIST", out));
}

TEST_F(SymbolTableTest, ResolvesEveryNamedStructureWithItsMembers) {
    useCache(std::string(kListDump) +
             " <1><60>: Abbrev Number: 3 (DW_TAG_structure_type)\n"
             "    <61>   DW_AT_name        : (indirect string, offset: 0x10): "
             "xMINI_LIST_ITEM\n"
             "    <65>   DW_AT_byte_size   : 12\n"
             " <2><66>: Abbrev Number: 4 (DW_TAG_member)\n"
             "    <67>   DW_AT_name        : (indirect string, offset: 0x20): pxNext\n"
             "    <6b>   DW_AT_data_member_location: 4\n"
             " <2><6c>: Abbrev Number: 0\n");
    SymbolTable& table = SymbolTable::getInstance();
    ASSERT_TRUE(table.resolveDataStructures({"xMINI_LIST_ITEM", "xLIST"}));
    StructInfo list;
    ASSERT_TRUE(table.lookupStruct("xLIST", list));
    EXPECT_EQ(20u, list.getSize());
    ASSERT_EQ(2u, list.getMembers().size());
    EXPECT_EQ(0u, list.getMembers().at("uxNumberOfItems").getOffset());
    EXPECT_EQ(8u, list.getMembers().at("xListEnd").getOffset());
    StructInfo item;
    ASSERT_TRUE(table.lookupStruct("xMINI_LIST_ITEM", item));
    EXPECT_EQ(12u, item.getSize());
    ASSERT_EQ(1u, item.getMembers().size());
    EXPECT_EQ(4u, item.getMembers().at("pxNext").getOffset());
}

TEST_F(SymbolTableTest, InitWithoutFileFailsAndSetsNothing) {
    bool result = true;
    EXPECT_EQ("Missing property: --file\n", stdoutOf([&] { result = SymbolTable::getInstance().init(); }));
    EXPECT_FALSE(result);
    std::string value;
    EXPECT_FALSE(Properties::getInstance().getProperty("--debug_info_cache", value));
    EXPECT_FALSE(Properties::getInstance().getProperty("--debug_info_tool", value));
}

TEST_F(SymbolTableTest, GenerateNamesTheFirstMissingOption) {
    struct Case {
        std::vector<std::pair<std::string, std::string>> options;
        std::string log;
    };
    const Case cases[] = {
        {{{"--debug_info_tool", "t"}, {"--debug_info_cache", "c"}},
         "Missing property: --file\n"
         "SymbolTable::generateDebugInfo(), <n> ms\n"
         "SymbolTable::generateDebugInfo(), Cache: \n"},
        {{{"--file", "f"}},
         "Missing property: --debug_info_tool\n"
         "SymbolTable::generateDebugInfo(), <n> ms\n"
         "SymbolTable::generateDebugInfo(), Cache: \n"},
        {{{"--file", "f"}, {"--debug_info_tool", "t"}},
         "Missing property: --debug_info_cache\n"
         "SymbolTable::generateDebugInfo(), <n> ms\n"
         "SymbolTable::generateDebugInfo(), Cache: \n"},
    };
    for (const Case& c : cases) {
        Properties::getInstance().clear();
        for (const auto& option : c.options) {
            Properties::getInstance().addProperty(option.first, option.second);
        }
        bool result = true;
        EXPECT_EQ(c.log, stdoutOf([&] { result = SymbolTable::getInstance().generateDebugInfo(); }));
        EXPECT_FALSE(result);
    }
}

TEST_F(SymbolTableTest, ValidDebugInfoIsSilentlyFalseWithoutOptionsOrFiles) {
    SymbolTable& table = SymbolTable::getInstance();
    Properties& properties = Properties::getInstance();
    writeFile(path("app.elf"), "elf");
    writeFile(path("app.elf.proxy_cache"), "dump");
    bool result = true;
    EXPECT_EQ("", stdoutOf([&] { result = table.validDebugInfo(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--file", path("app.elf"));
    EXPECT_EQ("", stdoutOf([&] { result = table.validDebugInfo(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--debug_info_cache", path("missing.proxy_cache"));
    EXPECT_EQ("", stdoutOf([&] { result = table.validDebugInfo(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--debug_info_cache", path("app.elf.proxy_cache"));
    properties.addProperty("--file", path("missing.elf"));
    EXPECT_EQ("", stdoutOf([&] { result = table.validDebugInfo(); }));
    EXPECT_FALSE(result);
}

TEST_F(SymbolTableTest, ValidDebugInfoComparesWholeSeconds) {
    SymbolTable& table = SymbolTable::getInstance();
    writeFile(path("app.elf"), "elf");
    writeFile(path("app.elf.proxy_cache"), "dump");
    Properties::getInstance().addProperty("--file", path("app.elf"));
    Properties::getInstance().addProperty("--debug_info_cache", path("app.elf.proxy_cache"));
    struct Case {
        long elf;
        long cache;
        bool valid;
    };
    const Case cases[] = {
        {1700000000, 1700000001, true}, {1700000000, 1700000000, false}, {1700000001, 1700000000, false}};
    for (const Case& c : cases) {
        setTime(path("app.elf"), c.elf);
        setTime(path("app.elf.proxy_cache"), c.cache);
        bool result = !c.valid;
        EXPECT_EQ(std::string("SymbolTable::validDebugInfo(), ") + (c.valid ? "True" : "False") + "\n",
                  stdoutOf([&] { result = table.validDebugInfo(); }));
        EXPECT_EQ(c.valid, result);
    }
}

TEST_F(SymbolTableTest, ValidDebugInfoLooksAtNoContent) {
    writeFile(path("app.elf"), "elf");
    writeFile(path("app.elf.proxy_cache"), "");
    setTime(path("app.elf"), 1600000000);
    Properties::getInstance().addProperty("--file", path("app.elf"));
    Properties::getInstance().addProperty("--debug_info_cache", path("app.elf.proxy_cache"));
    EXPECT_TRUE(SymbolTable::getInstance().validDebugInfo());
}
