#include "debuginfo/DumpParser.h"

#include "DebugInfoTestSupport.h"
#include "TestPaths.h"

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

using namespace dumptext;

const std::string kTimeLine = "SymbolTable::resolveDataStructures(), <n> ms\n";
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

    // Resolves names from the cache, and the layouts of those that resolved.
    static Outcome resolve(const std::vector<std::string>& names) {
        SymbolTable& table = SymbolTable::getInstance();
        Outcome outcome;
        outcome.log = stdoutOf([&] { outcome.result = table.resolveDataStructures(names); });
        outcome.layouts = layoutText(names);
        return outcome;
    }
};

// One dump, the names asked for, and what must come of it: the result, the layouts that resolved, and
// the log before the time line.
struct DumpCase {
    const char* name;
    std::string dump;
    std::vector<std::string> wanted;
    bool complete;
    std::string layouts;
    std::string log;
};

void PrintTo(const DumpCase& dumpCase, std::ostream* out) {
    *out << dumpCase.name;
}

const std::string kListWithIndex = structure("xLIST", "20") + member("pxIndex", "4");

const std::vector<DumpCase> kDumpCases = {
    {"SampleWithAnotherNameStillWantedGoesOn",
     firstLines(kSample.size()) + structure("TX_SEMAPHORE_STRUCT", "28") + member("tx_semaphore_count", "8") +
         kEndOfChildren,
     {"TX_SEMAPHORE_STRUCT", "TX_MUTEX_STRUCT"},
     true,
     "TX_MUTEX_STRUCT: 52\ntx_mutex_id:0\ntx_mutex_name:4\n\nTX_SEMAPHORE_STRUCT: "
     "28\ntx_semaphore_count:8\n\n",
     ""},
    {"EmptyNamesListIsTrueWithAnEmptyMap", firstLines(kSample.size()), {}, true, "", ""},
    {"EmptyCacheFileGivesNothingButTheTimeLine", "", {"TX_MUTEX_STRUCT"}, false, "", ""},
    {"FirstOfTwoCompleteDefinitionsIsKept",
     kListWithIndex + kEndOfChildren + structure("xLIST", "24") + member("pxIndex", "8") + kEndOfChildren,
     {"xLIST"},
     true,
     "xLIST: 20\npxIndex:4\n\n",
     ""},
    {"DeclarationThenDefinition",
     structureHead() + nameAttribute("tskTaskControlBlock") + "    <35>   DW_AT_declaration : 1\n" +
         " <1><40>: Abbrev Number: 5 (DW_TAG_pointer_type)\n" + "    <41>   DW_AT_byte_size   : 4\n" +
         structure("tskTaskControlBlock", "84") + member("pxTopOfStack", "0") + member("pcTaskName", "52") +
         kEndOfChildren,
     {"tskTaskControlBlock"},
     true,
     "tskTaskControlBlock: 84\npcTaskName:52\npxTopOfStack:0\n\n",
     ""},
    {"HexadecimalSizeIsAParseError",
     structure("xLIST", "0x10") + member("pxIndex", "4") + kEndOfChildren,
     {"xLIST"},
     false,
     "",
     "Data structure parse error (DW_AT_byte_size): xLIST\n"},
    {"SizeWithoutALeadingDigitIsAParseError",
     structure("xLIST", "(data1) 20") + member("pxIndex", "4") + kEndOfChildren,
     {"xLIST"},
     false,
     "",
     "Data structure parse error (DW_AT_byte_size): xLIST\n"},
    {"NestedUnionEndsTheMemberList",
     structure("QueueDefinition", "80") + member("pcHead", "0") + member("pcWriteTo", "4") +
         " <2><50>: Abbrev Number: 9 (DW_TAG_union_type)\n" + "    <51>   DW_AT_byte_size   : 8\n" +
         " <3><52>: Abbrev Number: 4 (DW_TAG_member)\n" + nameAttribute("xQueue") + kEndOfChildren +
         member("uxLength", "60") + kEndOfChildren,
     {"QueueDefinition"},
     true,
     "QueueDefinition: 80\npcHead:0\npcWriteTo:4\n\n",
     ""},
    {"NestedTypeNeitherEndsNorJoinsTheStructure",
     structure("QueueDefinition", "80") + member("pcHead", "0") +
         " <2><50>: Abbrev Number: 9 (DW_TAG_union_type)\n" + nameAttribute("QueuePointers") +
         "    <51>   DW_AT_byte_size   : 8\n" + " <3><52>: Abbrev Number: 4 (DW_TAG_member)\n" +
         nameAttribute("xQueue") + " <3><5e>: Abbrev Number: 0\n" + member("uxLength", "60") + kEndOfChildren,
     {"QueueDefinition"},
     true,
     "QueueDefinition: 80\npcHead:0\nuxLength:60\n\n",
     ""},
    {"UnwantedStructuresAreNotKept",
     kListWithIndex + kEndOfChildren + structure("xLIST_ITEM", "20") + member("pvOwner", "12") +
         kEndOfChildren,
     {"xLIST_ITEM"},
     true,
     "xLIST_ITEM: 20\npvOwner:12\n\n",
     ""},
    {"ClangDwarf5IndexedNamesAndNestedAnonymousTypes",
     // The dump tool's text of member_forms.c built by Clang with -gdwarf-5, declaration coordinates left
     // out: names through the string offsets table, the anonymous types nested in the structure. The GCC
     // builds are read by the real tool in SymbolTableDumpTest.
     DebugInfoTest::readFile(testpaths::sourceDir() +
                             "/tests/fixtures/debuginfo/member_forms_clang_dwarf5.txt"),
     {"io"},
     true,
     kMemberFormsLayout,
     ""},
    {"AnonymousMemberWhoseTypeIsUnknownIsReportedAndIncomplete",
     kListWithIndex + memberHead() + "    <3f>   DW_AT_type        : <0x99>\n" + locationAttribute("8") +
         kEndOfChildren,
     {"xLIST"},
     false,
     "xLIST: 20\npxIndex:4\n\n",
     "Data structure member error: xLIST.(anonymous)\n"},
    {"BitOffsetBeyondItsStorageUnitIsReportedByName",
     kListWithIndex + memberHead() + nameAttribute("ucFlags") +
         "    <3f>   DW_AT_byte_size   : 1\n    <40>   DW_AT_bit_size    : 3\n"
         "    <41>   DW_AT_bit_offset  : 7\n" +
         locationAttribute("8") + kEndOfChildren,
     {"xLIST"},
     false,
     "xLIST: 20\npxIndex:4\n\n",
     "Data structure member error: xLIST.ucFlags\n"},
    {"MemberWithoutANameOrTypeIsReported",
     structure("xLIST", "20") + memberHead() + locationAttribute("0") + member("pxIndex", "4") +
         kEndOfChildren,
     {"xLIST"},
     false,
     "xLIST: 20\npxIndex:4\n\n",
     "Data structure member error: xLIST.(anonymous)\n"},
    {"StructureMemberWithoutLocationIsReportedByName",
     structure("tmrTimerControl", "44") + member("pvTimerID", "28") + memberHead() +
         nameAttribute("ucStatus") + "    <3f>   DW_AT_bit_size    : 3\n" + kEndOfChildren,
     {"tmrTimerControl"},
     false,
     "tmrTimerControl: 44\npvTimerID:28\n\n",
     "Data structure member error: tmrTimerControl.ucStatus\n"},
    {"MemberlessStructureEndsAtTheNextEntryOfItsDepth",
     structure("xMINI_LIST_ITEM", "12") + kListWithIndex + kEndOfChildren,
     {"xLIST", "xMINI_LIST_ITEM"},
     true,
     "xLIST: 20\npxIndex:4\n\nxMINI_LIST_ITEM: 12\n\n",
     ""},
    {"DeclarationWithoutSizeIsPassedOver",
     structureHead() + nameAttribute("xLIST") + member("uxNumberOfItems", "0") + kEndOfChildren,
     {"xLIST"},
     false,
     "",
     ""},
    {"NamesPrintedInPlaceAndAttributesInAnyOrder",
     structureHead() + sizeAttribute("8") + "    <27>   DW_AT_name        : QP\n" + memberHead() +
         locationAttribute("4") + "    <ae>   DW_AT_name        : u\n" + member("pcTail", "0") +
         kEndOfChildren,
     {"QP"},
     true,
     "QP: 8\npcTail:0\nu:4\n\n",
     ""},
};

class DumpParserCases : public DumpParserTest, public ::testing::WithParamInterface<DumpCase> {};

} // namespace

TEST_P(DumpParserCases, ResolvesTheWantedLayoutsAndLogsEveryFault) {
    const DumpCase& dumpCase = GetParam();
    useCache(dumpCase.dump);
    Outcome outcome = resolve(dumpCase.wanted);
    EXPECT_EQ(dumpCase.complete, outcome.result);
    EXPECT_EQ(dumpCase.layouts, outcome.layouts);
    EXPECT_EQ(dumpCase.log + kTimeLine, outcome.log);
}

INSTANTIATE_TEST_SUITE_P(Dumps, DumpParserCases, ::testing::ValuesIn(kDumpCases),
                         [](const ::testing::TestParamInfo<DumpCase>& each) {
                             return std::string(each.param.name);
                         });
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

TEST_F(DumpParserTest, DumpEndingInsideTheStructureKeepsItsMembersButIsIncomplete) {
    for (std::size_t lines = 9; lines < kSample.size(); ++lines) {
        SCOPED_TRACE(lines);
        useCache(firstLines(lines));
        Outcome outcome = resolve({"TX_MUTEX_STRUCT"});
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(lines < 12 ? "TX_MUTEX_STRUCT: 52\ntx_mutex_id:0\n\n"
                             : "TX_MUTEX_STRUCT: 52\ntx_mutex_id:0\ntx_mutex_name:4\n\n",
                  outcome.layouts);
    }
    useCache(firstLines(kSample.size()));
    EXPECT_TRUE(resolve({"TX_MUTEX_STRUCT"}).result);
}
