#include "debuginfo/SymbolTable.h"

#include "DebugInfoTestSupport.h"

#include <gtest/gtest.h>

namespace {

using namespace dumptext;

// The list layout of a small kernel build.
const std::string kListDump =
    structure("xLIST", "20") + member("uxNumberOfItems", "0") + member("xListEnd", "8") + kEndOfChildren;

class SymbolTableTest : public DebugInfoTest {
protected:
    // Fills the table with the list layout alone.
    void resolveList() {
        useCache(kListDump);
        ASSERT_TRUE(SymbolTable::getInstance().resolveDataStructures({"xLIST"}));
    }
};

} // namespace

TEST_F(SymbolTableTest, WhatOneCallerAddsEveryCallerSees) {
    SymbolTable::getInstance().addSymbol(Symbol("uxCurrentNumberOfTasks", "20000104"));
    Symbol out;
    ASSERT_TRUE(SymbolTable::getInstance().lookupSymbol("uxCurrentNumberOfTasks", out));
    EXPECT_EQ(0x20000104u, out.getAddress32());
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
    ASSERT_NO_FATAL_FAILURE(resolveList());
    SymbolTable& table = SymbolTable::getInstance();
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
    ASSERT_NO_FATAL_FAILURE(resolveList());
    SymbolTable& table = SymbolTable::getInstance();
    StructInfo out("before", 3);
    EXPECT_FALSE(table.lookupStruct("xlist", out));
    EXPECT_EQ("before", out.getName());
    EXPECT_EQ(3u, out.getSize());
}

TEST_F(SymbolTableTest, ResolveDataStructureBindsEveryMemberToTheInstance) {
    ASSERT_NO_FATAL_FAILURE(resolveList());
    SymbolTable& table = SymbolTable::getInstance();
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
    ASSERT_NO_FATAL_FAILURE(resolveList());
    StructInfo out("before", 1);
    EXPECT_FALSE(SymbolTable::resolveDataStructure("xLIST_ITEM", 0x1000, out));
    EXPECT_EQ("before", out.getName());
}

TEST_F(SymbolTableTest, EachResolveReplacesTheWholeMap) {
    ASSERT_NO_FATAL_FAILURE(resolveList());
    SymbolTable& table = SymbolTable::getInstance();
    EXPECT_FALSE(table.resolveDataStructures({"xLIST_ITEM"}));
    StructInfo out;
    EXPECT_FALSE(table.lookupStruct("xLIST", out));
}

TEST_F(SymbolTableTest, ResolvesEveryNamedStructureWithItsMembers) {
    useCache(kListDump + structure("xMINI_LIST_ITEM", "12") + member("pxNext", "4") + kEndOfChildren);
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
