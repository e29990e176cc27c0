#include "debuginfo/SymbolTable.h"

#include "DebugInfoTestSupport.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

#include <filesystem>

// Real dumps: the real dump tool is run by generateDebugInfo on the kernel-shaped target programs, the
// wanted structures are parsed, and every layout is checked against GDB's own reading of the same ELF.
namespace {

const std::vector<std::string> kFreeRtosStructures = {
    "QueueDefinition", "QUEUE_REGISTRY_ITEM", "tskTaskControlBlock", "xLIST",
    "xMINI_LIST_ITEM", "xLIST_ITEM",          "tmrTimerControl",     "EventGroupDef_t"};
const std::vector<std::string> kThreadxStructures = {
    "TX_THREAD_STRUCT",         "TX_MUTEX_STRUCT", "TX_SEMAPHORE_STRUCT",         "TX_TIMER_STRUCT",
    "TX_TIMER_INTERNAL_STRUCT", "TX_QUEUE_STRUCT", "TX_EVENT_FLAGS_GROUP_STRUCT", "TX_BYTE_POOL_STRUCT",
    "TX_BLOCK_POOL_STRUCT"};

std::vector<std::string> bothKernelsStructures() {
    std::vector<std::string> all = kFreeRtosStructures;
    all.insert(all.end(), kThreadxStructures.begin(), kThreadxStructures.end());
    return all;
}

struct Layout {
    unsigned int size = 0;
    std::map<std::string, unsigned int> members;
};

std::string trim(const std::string& text) {
    std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The declared name in a member line of ptype/o: "T *name[4];", "void (*name)(args);", "} name;".
std::string declaredName(std::string declaration) {
    declaration = trim(declaration);
    declaration.pop_back();
    std::size_t pointer = declaration.find("(*");
    if (pointer != std::string::npos) {
        return declaration.substr(pointer + 2, declaration.find(')', pointer) - pointer - 2);
    }
    while (!declaration.empty() && declaration.back() == ']') {
        declaration.erase(declaration.rfind('['));
    }
    std::size_t start =
        declaration.find_last_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_");
    return declaration.substr(start + 1);
}

// Reads GDB's "ptype/o struct NAME" output: the total size and the offset of every top-level member.
std::map<std::string, Layout> gdbLayouts(const std::string& elf, const std::vector<std::string>& names) {
    std::vector<std::string> commands;
    for (const std::string& name : names) {
        commands.push_back("ptype/o struct " + name);
    }
    std::istringstream output(gdbOutput(elf, commands));
    std::map<std::string, Layout> layouts;
    Layout* current = nullptr;
    int depth = 0;
    unsigned int offset = 0;
    std::string line;
    while (std::getline(output, line)) {
        std::size_t head = line.find("type = struct ");
        if (head != std::string::npos) {
            std::string name = line.substr(head + 14);
            current = &layouts[name.substr(0, name.find(' '))];
            depth = 1;
            continue;
        }
        if (current == nullptr) {
            continue;
        }
        std::string text = trim(line);
        std::string declaration = text;
        if (text.compare(0, 2, "/*") == 0 && text.find("*/") != std::string::npos) {
            std::string comment = text.substr(2, text.find("*/") - 2);
            declaration = text.substr(text.find("*/") + 2);
            std::size_t bar = comment.find('|');
            if (depth == 1 && bar != std::string::npos) {
                offset = static_cast<unsigned int>(std::stoul(comment.substr(0, bar)));
            }
            std::size_t total = comment.find("total size (bytes):");
            if (depth == 1 && total != std::string::npos) {
                current->size = static_cast<unsigned int>(std::stoul(comment.substr(total + 19)));
            }
        }
        for (char c : declaration) {
            depth += c == '{' ? 1 : c == '}' ? -1 : 0;
        }
        declaration = trim(declaration);
        if (depth == 1 && !declaration.empty() && declaration.back() == ';') {
            current->members[declaredName(declaration)] = offset;
        }
        if (depth == 0) {
            current = nullptr;
        }
    }
    return layouts;
}

class SymbolTableDumpIntegration : public DebugInfoTest {
protected:
    // Runs the real tool through generateDebugInfo on a fixture program into a private cache.
    void generate(const std::string& program) {
        elf = testpaths::fixturesDir() + "/" + program + ".elf";
        Properties::getInstance().addProperty("--file", elf);
        Properties::getInstance().addProperty("--debug_info_tool", "arm-none-eabi-readelf");
        Properties::getInstance().addProperty("--debug_info_cache", path(program + ".proxy_cache"));
        bool result = false;
        std::string log = stdoutOf([&] { result = SymbolTable::getInstance().generateDebugInfo(); });
        ASSERT_TRUE(result);
        ASSERT_EQ("SymbolTable::generateDebugInfo(), <n> ms\n"
                  "SymbolTable::generateDebugInfo(), Cache: " +
                      path(program + ".proxy_cache") + "\n",
                  log);
    }

    bool resolve(const std::vector<std::string>& names, std::string& log) {
        bool result = false;
        log = stdoutOf([&] { result = SymbolTable::getInstance().resolveDataStructures(names); });
        return result;
    }

    // Every member matches GDB's offset, whether the dump holds its name in place or in the string table.
    void expectSameLayouts(const std::vector<std::string>& names) {
        std::map<std::string, Layout> reference = gdbLayouts(elf, names);
        for (const std::string& name : names) {
            SCOPED_TRACE(name);
            ASSERT_EQ(1u, reference.count(name)) << "gdb has no layout";
            const Layout& expected = reference.at(name);
            ASSERT_FALSE(expected.members.empty());
            StructInfo parsed;
            ASSERT_TRUE(SymbolTable::getInstance().lookupStruct(name, parsed));
            EXPECT_EQ(name, parsed.getName());
            EXPECT_EQ(expected.size, parsed.getSize());
            for (const auto& member : expected.members) {
                MemberInfo found;
                ASSERT_TRUE(parsed.lookup(member.first, found)) << member.first;
                EXPECT_EQ(member.second, found.getOffset()) << member.first;
            }
            EXPECT_EQ(expected.members.size(), parsed.getMembers().size());
        }
    }

    bool hasMember(const std::string& structure, const std::string& member) {
        StructInfo info;
        MemberInfo found;
        return SymbolTable::getInstance().lookupStruct(structure, info) && info.lookup(member, found);
    }

    std::string elf;
};

} // namespace

// The kernel-shaped programs and the kernels' own headers under the settings that add or remove members:
// every layout as GDB reads it, with just the members the configuration keeps.
namespace {

struct ConfigurationCase {
    const char* program;
    const std::vector<std::string>& structures;
    std::vector<std::pair<const char*, const char*>> present;
    std::vector<std::pair<const char*, const char*>> absent;
};

void PrintTo(const ConfigurationCase& config, std::ostream* out) {
    *out << config.program;
}

class KernelConfigurations : public SymbolTableDumpIntegration,
                             public ::testing::WithParamInterface<ConfigurationCase> {};

} // namespace

TEST_P(KernelConfigurations, EveryLayoutAsGdbReadsItWithTheConfiguredMembers) {
    const ConfigurationCase& config = GetParam();
    if (std::string(config.program).rfind("real_", 0) == 0 &&
        !std::filesystem::exists(testpaths::fixturesDir() + "/" + config.program + ".elf")) {
        GTEST_SKIP() << "the real kernels were not unpacked at configure time (scripts/kernels.sh)";
    }
    generate(config.program);
    std::string log;
    ASSERT_TRUE(resolve(config.structures, log)) << log;
    EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
    expectSameLayouts(config.structures);
    for (const auto& member : config.present) {
        EXPECT_TRUE(hasMember(member.first, member.second)) << member.first << "." << member.second;
    }
    for (const auto& member : config.absent) {
        EXPECT_FALSE(hasMember(member.first, member.second)) << member.first << "." << member.second;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Settings, KernelConfigurations,
    ::testing::Values(
        ConfigurationCase{"shapes_freertos_full",
                          kFreeRtosStructures,
                          {{"tskTaskControlBlock", "pxEndOfStack"},
                           {"tskTaskControlBlock", "ulRunTimeCounter"},
                           {"tskTaskControlBlock", "uxBasePriority"},
                           {"xLIST_ITEM", "pxContainer"},
                           {"tmrTimerControl", "ucStatus"},
                           {"QueueDefinition", "ucQueueType"},
                           {"EventGroupDef_t", "uxEventGroupNumber"}},
                          {{"xLIST_ITEM", "pvContainer"}, {"tmrTimerControl", "uxAutoReload"}}},
        ConfigurationCase{"shapes_freertos_legacy",
                          kFreeRtosStructures,
                          {{"xLIST_ITEM", "pvContainer"}, {"tmrTimerControl", "uxAutoReload"}},
                          {{"tskTaskControlBlock", "pxEndOfStack"},
                           {"tskTaskControlBlock", "ulRunTimeCounter"},
                           {"tskTaskControlBlock", "uxBasePriority"},
                           {"xLIST_ITEM", "pxContainer"},
                           {"tmrTimerControl", "ucStatus"},
                           {"QueueDefinition", "ucQueueType"}}},
        ConfigurationCase{"shapes_freertos_mpu",
                          kFreeRtosStructures,
                          {{"tskTaskControlBlock", "xMPUSettings"}, {"tmrTimerControl", "uxAutoReload"}},
                          {}},
        ConfigurationCase{"shapes_threadx_cm",
                          kThreadxStructures,
                          {{"TX_QUEUE_STRUCT", "tx_queue_send_notify"}},
                          {{"TX_THREAD_STRUCT", "tx_thread_vfp_enable"}}},
        ConfigurationCase{"shapes_threadx_perf",
                          kThreadxStructures,
                          {{"TX_THREAD_STRUCT", "tx_thread_vfp_enable"},
                           {"TX_THREAD_STRUCT", "tx_thread_performance_resume_count"}},
                          {{"TX_QUEUE_STRUCT", "tx_queue_send_notify"}}},
        ConfigurationCase{"real_freertos_minimal",
                          kFreeRtosStructures,
                          {{"tskTaskControlBlock", "pcTaskName"}, {"xLIST_ITEM", "pvContainer"}},
                          {{"xLIST_ITEM", "pxContainer"},
                           {"tskTaskControlBlock", "ulRunTimeCounter"},
                           {"tskTaskControlBlock", "uxTCBNumber"},
                           {"tskTaskControlBlock", "uxBasePriority"},
                           {"tskTaskControlBlock", "uxMutexesHeld"},
                           {"tskTaskControlBlock", "pxEndOfStack"},
                           {"QueueDefinition", "ucQueueType"},
                           {"EventGroupDef_t", "uxEventGroupNumber"}}},
        ConfigurationCase{"real_freertos_complete",
                          kFreeRtosStructures,
                          {{"tskTaskControlBlock", "ulRunTimeCounter"},
                           {"tskTaskControlBlock", "uxTCBNumber"},
                           {"tskTaskControlBlock", "uxBasePriority"},
                           {"tskTaskControlBlock", "pxEndOfStack"},
                           {"tskTaskControlBlock", "iTaskErrno"},
                           {"tskTaskControlBlock", "xTLSBlock"},
                           {"tskTaskControlBlock", "ulNotifiedValue"},
                           {"QueueDefinition", "ucQueueType"},
                           {"EventGroupDef_t", "uxEventGroupNumber"},
                           {"xLIST_ITEM", "pxContainer"}},
                          {{"xLIST_ITEM", "pvContainer"}}},
        ConfigurationCase{"real_threadx_plain",
                          kThreadxStructures,
                          {{"TX_THREAD_STRUCT", "tx_thread_entry_exit_notify"},
                           {"TX_QUEUE_STRUCT", "tx_queue_send_notify"}},
                          {{"TX_THREAD_STRUCT", "tx_thread_user_word"},
                           {"TX_THREAD_STRUCT", "tx_thread_stack_fill_value"}}},
        ConfigurationCase{"real_threadx_extended",
                          kThreadxStructures,
                          {{"TX_THREAD_STRUCT", "tx_thread_user_word"},
                           {"TX_THREAD_STRUCT", "tx_thread_stack_fill_value"},
                           {"TX_THREAD_STRUCT", "tx_thread_stack_highest_ptr"}},
                          {{"TX_THREAD_STRUCT", "tx_thread_entry_exit_notify"},
                           {"TX_QUEUE_STRUCT", "tx_queue_send_notify"},
                           {"TX_SEMAPHORE_STRUCT", "tx_semaphore_put_notify"}}}),
    [](const ::testing::TestParamInfo<ConfigurationCase>& each) { return std::string(each.param.program); });

TEST_F(SymbolTableDumpIntegration, BothKernelsInOneProgram) {
    generate("shapes_both_kernels");
    const std::vector<std::string> all = bothKernelsStructures();
    std::string log;
    ASSERT_TRUE(resolve(all, log));
    EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
    expectSameLayouts(all);
}

TEST_F(SymbolTableDumpIntegration, ProgramWithoutKernel) {
    generate("shapes_no_kernel");
    std::string log;
    EXPECT_FALSE(resolve(kFreeRtosStructures, log));
    EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
    EXPECT_FALSE(resolve(kThreadxStructures, log));
    EXPECT_EQ("", layoutText(bothKernelsStructures()));
    EXPECT_TRUE(resolve({"sample_ring"}, log));
    expectSameLayouts({"sample_ring"});
}

TEST_F(SymbolTableDumpIntegration, EveryDwarfVersionGivesTheSameLayouts) {
    std::vector<std::string> tables;
    for (const char* version : {"2", "4", "5"}) {
        SCOPED_TRACE(version);
        generate(std::string("member_forms_dwarf") + version);
        std::string log;
        ASSERT_TRUE(resolve({"io"}, log));
        EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
        tables.push_back(layoutText({"io"}));
    }
    EXPECT_EQ(dumptext::kMemberFormsLayout, tables[0]);
    EXPECT_EQ(tables[0], tables[1]);
    EXPECT_EQ(tables[0], tables[2]);
}

// The kernel's own sources built with configUSE_MINI_LIST_ITEM 0: no mini item, the same layouts as GDB's
// in every DWARF version, and one table for all three.
TEST_F(SymbolTableDumpIntegration, RealKernelWithoutTheMiniListItemInEveryDwarfVersion) {
    const std::vector<std::string> present = {"QueueDefinition", "tskTaskControlBlock", "xLIST",
                                              "xLIST_ITEM",      "tmrTimerControl",     "EventGroupDef_t"};
    std::vector<std::string> tables;
    for (const char* version : {"2", "4", "5"}) {
        SCOPED_TRACE(version);
        const std::string program = std::string("real_freertos_mini_list_0_dwarf") + version;
        if (!std::filesystem::exists(testpaths::fixturesDir() + "/" + program + ".elf")) {
            GTEST_SKIP() << "the real kernels were not unpacked at configure time (scripts/kernels.sh)";
        }
        generate(program);
        std::string log;
        EXPECT_FALSE(resolve(kFreeRtosStructures, log));
        EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
        StructInfo mini;
        EXPECT_FALSE(SymbolTable::getInstance().lookupStruct("xMINI_LIST_ITEM", mini));
        expectSameLayouts(present);
        EXPECT_TRUE(hasMember("xLIST", "xListEnd"));
        EXPECT_TRUE(hasMember("xLIST_ITEM", "pxNext"));
        tables.push_back(layoutText(present));
    }
    EXPECT_EQ(tables[0], tables[1]);
    EXPECT_EQ(tables[0], tables[2]);
}
