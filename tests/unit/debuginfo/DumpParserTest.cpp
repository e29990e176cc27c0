#include "debuginfo/DumpParser.h"

#include "DebugInfoTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <thread>
#include <unistd.h>

// The parser is driven the way the proxy drives it: through SymbolTable::resolveDataStructures over a
// cache file. Dumps are written in the dump tool's text shape; positions are made up.
namespace {

const std::string kTimeLine = "SymbolTable::resolveDataStructures(), 0 ms\n";
const std::string kEndOfChildren = " <2><4e>: Abbrev Number: 0\n";

std::string structureHead() {
    return " <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)\n";
}

std::string nameAttribute(const std::string& name) {
    return "    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): " + name + "\n";
}

std::string sizeAttribute(const std::string& text) {
    return "    <34>   DW_AT_byte_size   : " + text + "\n";
}

std::string memberHead() {
    return " <2><3a>: Abbrev Number: 4 (DW_TAG_member)\n";
}

std::string locationAttribute(const std::string& text) {
    return "    <43>   DW_AT_data_member_location: " + text + "\n";
}

std::string structure(const std::string& name, const std::string& size) {
    return structureHead() + nameAttribute(name) + sizeAttribute(size) + "    <35>   DW_AT_decl_file   : 2\n";
}

std::string member(const std::string& name, const std::string& offset) {
    return memberHead() + nameAttribute(name) + "    <3f>   DW_AT_type        : <0x25>\n" +
           locationAttribute(offset);
}

// The sample of the dump text with made-up values, one line per element.
const std::vector<std::string> kSample = {
    " <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)",
    "    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): TX_MUTEX_STRUCT",
    "    <34>   DW_AT_byte_size   : 52",
    "    <35>   DW_AT_decl_file   : 2",
    "    <36>   DW_AT_sibling     : <0x9c>",
    " <2><3a>: Abbrev Number: 4 (DW_TAG_member)",
    "    <3b>   DW_AT_name        : (indirect string, offset: 0x1c1): tx_mutex_id",
    "    <3f>   DW_AT_type        : <0x25>",
    "    <43>   DW_AT_data_member_location: 0",
    " <2><44>: Abbrev Number: 4 (DW_TAG_member)",
    "    <45>   DW_AT_name        : (indirect string, offset: 0x2f0): tx_mutex_name",
    "    <4d>   DW_AT_data_member_location: 4",
    " <2><4e>: Abbrev Number: 0",
};

std::string firstLines(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += kSample[i] + "\n";
    }
    return text;
}

class DumpParserTest : public DebugInfoTest {
protected:
    struct Outcome {
        bool result = false;
        std::string log;
        std::string layouts;
    };

    // Resolves names from the cache; the layouts are printStructInfo's text of the resulting map.
    static Outcome resolve(const std::vector<std::string>& names) {
        SymbolTable& table = SymbolTable::getInstance();
        Outcome outcome;
        outcome.log = stdoutOf([&] { outcome.result = table.resolveDataStructures(names); });
        outcome.layouts = stdoutOf([&] { table.printStructInfo(); });
        return outcome;
    }
};

} // namespace

TEST_F(DumpParserTest, SampleLineByLine) {
    const std::string size52 = "TX_MUTEX_STRUCT: 52\n";
    const std::string idAt0 = "tx_mutex_id:0\n";
    const std::string nameAt4 = "tx_mutex_name:4\n";
    struct Row {
        std::size_t lines;
        std::string layouts;
        bool result;
    };
    const Row rows[] = {
        {1, "", false},                              // structure head, the next line is read at once
        {2, "", false},                              // name wanted; state becomes StructureAttributes
        {3, size52 + "\n", false},                   // entry TX_MUTEX_STRUCT, size 52, is added
        {4, size52 + "\n", false},                   // ignored
        {5, size52 + "\n", false},                   // ignored
        {6, size52 + "\n", false},                   // state becomes MemberAttributes
        {7, size52 + "\n", false},                   // member name is tx_mutex_id
        {8, size52 + "\n", false},                   // ignored
        {9, size52 + "\n", false},                   // member offset text is 0
        {10, size52 + idAt0 + "\n", false},          // tx_mutex_id at 0 is added; state stays
        {11, size52 + idAt0 + "\n", false},          // member name is tx_mutex_name
        {12, size52 + idAt0 + "\n", false},          // member offset text is 4
        {13, size52 + idAt0 + nameAt4 + "\n", true}, // structure done, leaves the wanted list
    };
    for (const Row& row : rows) {
        SCOPED_TRACE("after line " + std::to_string(row.lines));
        useCache(firstLines(row.lines));
        Outcome outcome = resolve({"TX_MUTEX_STRUCT"});
        EXPECT_EQ(row.result, outcome.result);
        EXPECT_EQ(row.layouts, outcome.layouts);
        EXPECT_EQ(kTimeLine, outcome.log);
    }
}

TEST_F(DumpParserTest, SampleWithAnotherNameStillWantedGoesOn) {
    useCache(firstLines(kSample.size()) + structure("TX_SEMAPHORE_STRUCT", "28") +
             member("tx_semaphore_count", "8") + kEndOfChildren);
    Outcome outcome = resolve({"TX_SEMAPHORE_STRUCT", "TX_MUTEX_STRUCT"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("TX_MUTEX_STRUCT: 52\ntx_mutex_id:0\ntx_mutex_name:4\n\n"
              "TX_SEMAPHORE_STRUCT: 28\ntx_semaphore_count:8\n\n",
              outcome.layouts);
}

TEST_F(DumpParserTest, StopsReadingOnceTheLastWantedStructureIsComplete) {
    // A pipe whose writer stays open: reading one line too many would block until the writer gives up.
    const std::string fifo = path("live.proxy_cache");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    Properties::getInstance().addProperty("--debug_info_cache", fifo);
    std::promise<void> parsed;
    std::future<void> parsedSignal = parsed.get_future();
    std::atomic<bool> writerClosed{false};
    std::thread writer([&] {
        int fd = open(fifo.c_str(), O_WRONLY);
        std::string text = firstLines(kSample.size()) + structureHead();
        ssize_t written = write(fd, text.data(), text.size());
        (void)written;
        parsedSignal.wait_for(std::chrono::seconds(10));
        writerClosed = true;
        close(fd);
    });
    bool result = SymbolTable::getInstance().resolveDataStructures({"TX_MUTEX_STRUCT"});
    bool closedBeforeReturn = writerClosed;
    parsed.set_value();
    writer.join();
    EXPECT_TRUE(result);
    EXPECT_FALSE(closedBeforeReturn);
}

TEST_F(DumpParserTest, EmptyNamesListIsTrueWithAnEmptyMap) {
    useCache(firstLines(kSample.size()));
    Outcome outcome = resolve({});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, EmptyCacheFileGivesNothingButTheTimeLine) {
    useCache("");
    Outcome outcome = resolve({"TX_MUTEX_STRUCT"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, MissingCacheOption) {
    Outcome outcome = resolve({"xLIST"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ("Missing required property: --debug_info_cache\n" + kTimeLine, outcome.log);
    EXPECT_TRUE(resolve({}).result);
}

TEST_F(DumpParserTest, CacheThatCannotBeOpened) {
    Properties::getInstance().addProperty("--debug_info_cache", path("absent.proxy_cache"));
    Outcome outcome = resolve({"xLIST"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ("Missing debug info cache: " + path("absent.proxy_cache") + "\n" + kTimeLine, outcome.log);
    EXPECT_TRUE(resolve({}).result);
}

TEST_F(DumpParserTest, FirstOfTwoCompleteDefinitionsIsKept) {
    useCache(structure("xLIST", "20") + member("pxIndex", "4") + kEndOfChildren + structure("xLIST", "24") +
             member("pxIndex", "8") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("xLIST: 20\npxIndex:4\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, DeclarationThenDefinition) {
    useCache(structureHead() + nameAttribute("tskTaskControlBlock") + "    <35>   DW_AT_declaration : 1\n" +
             " <1><40>: Abbrev Number: 5 (DW_TAG_pointer_type)\n" + "    <41>   DW_AT_byte_size   : 4\n" +
             structure("tskTaskControlBlock", "84") + member("pxTopOfStack", "0") +
             member("pcTaskName", "52") + kEndOfChildren);
    Outcome outcome = resolve({"tskTaskControlBlock"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("tskTaskControlBlock: 84\npcTaskName:52\npxTopOfStack:0\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, HexadecimalSizeIsAParseError) {
    useCache(structure("xLIST", "0x10") + member("pxIndex", "4") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ("Data structure parse error (DW_AT_byte_size): xLIST\n" + kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, SizeWithoutALeadingDigitAlsoReportsTheConversion) {
    useCache(structure("xLIST", "(data1) 20") + member("pxIndex", "4") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("RspUtil::toUINT32(), failure: (data1) 20\n"
              "Data structure parse error (DW_AT_byte_size): xLIST\n" +
                  kTimeLine,
              outcome.log);
}

TEST_F(DumpParserTest, MemberLocationAsABlockIsAMemberError) {
    useCache(structure("xLIST", "20") + member("uxNumberOfItems", "0") + memberHead() +
             nameAttribute("pxIndex") + locationAttribute("2 byte block: 23 4 \t(DW_OP_plus_uconst: 4)") +
             kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("xLIST: 20\nuxNumberOfItems:0\n\n", outcome.layouts);
    EXPECT_EQ("Data structure member error: xLIST\n" + kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, WantedHeadRightAfterAMemberlessWantedStructureIsMissed) {
    useCache(structure("xMINI_LIST_ITEM", "12") + structure("xLIST", "20") + member("pxIndex", "4") +
             kEndOfChildren);
    Outcome outcome = resolve({"xLIST", "xMINI_LIST_ITEM"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("xMINI_LIST_ITEM: 12\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, EndOfFileRightAfterAMembersAttributes) {
    useCache(structure("xLIST", "20") + member("uxNumberOfItems", "0") + member("pxIndex", "4"));
    Outcome outcome = resolve({"xLIST"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("xLIST: 20\nuxNumberOfItems:0\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, MemberlessStructureIsFoundButStaysWanted) {
    useCache(structure("EventGroupDef_t", "32") + " <1><60>: Abbrev Number: 7 (DW_TAG_typedef)\n");
    Outcome outcome = resolve({"EventGroupDef_t"});
    EXPECT_FALSE(outcome.result);
    StructInfo out;
    ASSERT_TRUE(SymbolTable::getInstance().lookupStruct("EventGroupDef_t", out));
    EXPECT_EQ(32u, out.getSize());
    EXPECT_TRUE(out.getMembers().empty());
}

TEST_F(DumpParserTest, SecondSizeOfAStillWantedStructure) {
    useCache(structure("EventGroupDef_t", "32") + " <1><60>: Abbrev Number: 7 (DW_TAG_typedef)\n" +
             structure("EventGroupDef_t", "36") + member("uxEventBits", "0") + kEndOfChildren);
    Outcome outcome = resolve({"EventGroupDef_t"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("EventGroupDef_t: 32\n\n", outcome.layouts);
    EXPECT_EQ("Multiple instances of data structure: EventGroupDef_t\n" + kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, MembersOfAStructureWithoutSizeHaveNoParent) {
    useCache(structureHead() + nameAttribute("xLIST") + member("uxNumberOfItems", "0") +
             member("pxIndex", "4") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ("Missing data structure parent: uxNumberOfItems\n"
              "Missing data structure parent: pxIndex\n" +
                  kTimeLine,
              outcome.log);
}

TEST_F(DumpParserTest, FirstMemberLackingANameIsAMemberError) {
    useCache(structure("xLIST", "20") + memberHead() + locationAttribute("0") + member("pxIndex", "4") +
             kEndOfChildren);
    Outcome outcome = resolve({"xLIST"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("xLIST: 20\npxIndex:4\n\n", outcome.layouts);
    EXPECT_EQ("Data structure member error: xLIST\n" + kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, DirectlyPrintedMemberNameKeepsThePreviousName) {
    useCache(structure("QueueDefinition", "80") + member("pcWriteTo", "4") + memberHead() +
             "    <ae>   DW_AT_name        : u\n" + locationAttribute("8") + member("uxLength", "60") +
             kEndOfChildren);
    Outcome outcome = resolve({"QueueDefinition"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("QueueDefinition: 80\npcWriteTo:4\nuxLength:60\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, MemberWithoutOffsetTakesThePreviousOffset) {
    useCache(structure("tmrTimerControl", "44") + member("pvTimerID", "28") + memberHead() +
             nameAttribute("ucStatus") + "    <3f>   DW_AT_bit_size    : 3\n" + kEndOfChildren);
    Outcome outcome = resolve({"tmrTimerControl"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("tmrTimerControl: 44\npvTimerID:28\nucStatus:28\n\n", outcome.layouts);
}

TEST_F(DumpParserTest, HoldersCarryOverIntoTheNextStructure) {
    useCache(structure("xLIST", "20") + member("pxIndex", "4") + kEndOfChildren +
             structure("xLIST_ITEM", "20") + memberHead() + "    <3f>   DW_AT_type        : <0x25>\n" +
             member("pvOwner", "12") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST", "xLIST_ITEM"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("xLIST: 20\npxIndex:4\n\nxLIST_ITEM: 20\npvOwner:12\npxIndex:4\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, NestedUnionEndsTheMemberList) {
    useCache(structure("QueueDefinition", "80") + member("pcHead", "0") + member("pcWriteTo", "4") +
             " <2><50>: Abbrev Number: 9 (DW_TAG_union_type)\n" + "    <51>   DW_AT_byte_size   : 8\n" +
             " <3><52>: Abbrev Number: 4 (DW_TAG_member)\n" + nameAttribute("xQueue") + kEndOfChildren +
             member("uxLength", "60") + kEndOfChildren);
    Outcome outcome = resolve({"QueueDefinition"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("QueueDefinition: 80\npcHead:0\npcWriteTo:4\n\n", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, StructureNamePrintedDirectlyIsNotTaken) {
    useCache(structureHead() + "    <27>   DW_AT_name        : QP\n" + sizeAttribute("8") +
             member("pcTail", "0") + kEndOfChildren);
    Outcome outcome = resolve({"QP"});
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ("", outcome.layouts);
    EXPECT_EQ(kTimeLine, outcome.log);
}

TEST_F(DumpParserTest, NameMustBeTheFirstAttribute) {
    useCache(structureHead() + sizeAttribute("20") + nameAttribute("xLIST") + member("pxIndex", "4") +
             kEndOfChildren);
    EXPECT_FALSE(resolve({"xLIST"}).result);
}

TEST_F(DumpParserTest, HeadNeedsExactlyThreeFields) {
    useCache(" <1><2f>: Abbrev Number: 3: (DW_TAG_structure_type)\n" + nameAttribute("xLIST") +
             sizeAttribute("20") + member("pxIndex", "4") + kEndOfChildren);
    EXPECT_FALSE(resolve({"xLIST"}).result);
}

TEST_F(DumpParserTest, UnwantedStructuresAreNotKept) {
    useCache(structure("xLIST", "20") + member("pxIndex", "4") + kEndOfChildren +
             structure("xLIST_ITEM", "20") + member("pvOwner", "12") + kEndOfChildren);
    Outcome outcome = resolve({"xLIST_ITEM"});
    EXPECT_TRUE(outcome.result);
    EXPECT_EQ("xLIST_ITEM: 20\npvOwner:12\n\n", outcome.layouts);
}
