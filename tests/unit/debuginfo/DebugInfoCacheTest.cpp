#include "debuginfo/DebugInfoCache.h"

#include "DebugInfoTestSupport.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

// The life of the debug-info cache on real files with real modification times; the dump tool, either the
// real one or a small script that records its runs and its arguments, is run without a shell.
namespace {

const std::string kToolTimes = "SymbolTable::generateDebugInfo(), <n> ms\n";

std::string cacheLine(const std::string& cache) {
    return "SymbolTable::generateDebugInfo(), Cache: " + cache + "\n";
}

// The log of a dump tool that did not run or failed, with the command a shell would have been given.
std::string failedRun(const std::string& tool, const std::string& elf, const std::string& cache) {
    return "Failed generate debug info\nCMD: " + tool + " -wi \"" + elf + "\" > \"" + cache +
           "\", error: 1\n" + kToolTimes + cacheLine(cache);
}

class DebugInfoCacheTest : public DebugInfoTest {
protected:
    // app.elf and its cache holding cacheText, both named in the options.
    void useProgramAndCache(const std::string& cacheText) {
        writeFile(path("app.elf"), "elf");
        writeFile(path("app.elf.proxy_cache"), cacheText);
        Properties::getInstance().addProperty("--file", path("app.elf"));
        Properties::getInstance().addProperty("--debug_info_cache", path("app.elf.proxy_cache"));
    }
};

class DebugInfoCacheIntegration : public DebugInfoTest {
protected:
    // A dump tool that appends a line to "runs" and prints its arguments, each followed by '|'.
    std::string makeTool(const std::string& file, int exitCode) {
        writeFile(file, "#!/bin/sh\necho run >> \"" + path("runs") + "\"\nprintf '%s|' \"$@\"\nexit " +
                            std::to_string(exitCode) + "\n");
        EXPECT_EQ(0, chmod(file.c_str(), 0755));
        return file;
    }

    int toolRuns() const {
        std::string runs = readFile(path("runs"));
        return static_cast<int>(std::count(runs.begin(), runs.end(), '\n'));
    }

    static bool init(std::string& log) {
        bool result = false;
        log = stdoutOf([&] { result = DebugInfoCache::prepare(); });
        return result;
    }

    static std::string option(const std::string& key) {
        std::string value;
        EXPECT_TRUE(Properties::getInstance().getProperty(key, value)) << key;
        return value;
    }

    static void setOptions(const std::string& elf, const std::string& tool, const std::string& cache) {
        Properties::getInstance().clear();
        Properties::getInstance().addProperty("--file", elf);
        Properties::getInstance().addProperty("--debug_info_tool", tool);
        Properties::getInstance().addProperty("--debug_info_cache", cache);
    }

    // A stand-in ELF file at elf, with every option given.
    static void useProgram(const std::string& elf, const std::string& tool, const std::string& cache) {
        writeFile(elf, "elf");
        setOptions(elf, tool, cache);
    }

    // Starts on a copy of a fixture program at elf, built a minute ago, with only "--file" given; returns
    // the dump the real tool wrote beside the program, which must be all the log tells.
    static std::string dumpBeside(const std::string& fixture, const std::string& elf) {
        std::filesystem::copy_file(testpaths::fixturesDir() + "/" + fixture, elf);
        setTime(elf, std::time(nullptr) - 60);
        Properties::getInstance().addProperty("--file", elf);
        std::string log;
        EXPECT_TRUE(init(log));
        EXPECT_EQ(kToolTimes + cacheLine(elf + ".proxy_cache"), log);
        return readFile(elf + ".proxy_cache");
    }
};

} // namespace

TEST_F(DebugInfoCacheIntegration, DefaultsPutTheCacheBesideTheElfAndUseReadelf) {
    const std::string elf = path("b.elf");
    std::string dump = dumpBeside("shapes_freertos_full.elf", elf);
    EXPECT_EQ(elf + ".proxy_cache", option("--debug_info_cache"));
    EXPECT_EQ("arm-none-eabi-readelf", option("--debug_info_tool"));
    EXPECT_EQ(0u, dump.find("Contents of the .debug_info section:\n"));
    EXPECT_NE(std::string::npos, dump.find("): tskTaskControlBlock\n"));

    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("SymbolTable::validDebugInfo(), True\n", log);
}

TEST_F(DebugInfoCacheIntegration, GivenOptionsAreKept) {
    useProgram(path("app.elf"), makeTool(path("dump-tool"), 0), path("elsewhere.cache"));
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(path("elsewhere.cache"), option("--debug_info_cache"));
    EXPECT_EQ(path("dump-tool"), option("--debug_info_tool"));
    EXPECT_EQ("-wi|" + path("app.elf") + "|", readFile(path("elsewhere.cache")));
}

// A cache is fresh only when its modification second is later than the ELF file's; a stale one is
// written again by the tool.
TEST_F(DebugInfoCacheIntegration, OnlyACacheOfALaterSecondIsUsedWithoutRunningTheTool) {
    struct Case {
        const char* what;
        long elfTime;
        long cacheTime;
        bool fresh;
    };
    const Case cases[] = {{"the same second", 1700000000, 1700000000, false},
                          {"a second later", 1700000000, 1700000001, true},
                          {"a rebuilt program", 1700000100, 1700000000, false}};
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    const std::string tool = makeTool(path("dump-tool"), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove(path("runs"));
        useProgram(elf, tool, cache);
        writeFile(cache, "old dump");
        setTime(elf, c.elfTime);
        setTime(cache, c.cacheTime);
        std::string log;
        ASSERT_TRUE(init(log));
        if (c.fresh) {
            EXPECT_EQ("SymbolTable::validDebugInfo(), True\n", log);
            EXPECT_EQ(0, toolRuns());
            EXPECT_EQ("old dump", readFile(cache));
        } else {
            EXPECT_EQ("SymbolTable::validDebugInfo(), False\n" + kToolTimes + cacheLine(cache), log);
            EXPECT_EQ(1, toolRuns());
            EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
            EXPECT_GT(modificationTime(cache), c.elfTime);
        }
    }
}

TEST_F(DebugInfoCacheIntegration, MissingToolLeavesAnEmptyCacheThatIsValidAtTheNextStart) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    const std::string tool = path("no-such-tool");
    writeFile(elf, "elf");
    setTime(elf, std::time(nullptr) - 60);
    setOptions(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(failedRun(tool, elf, cache), log);
    ASSERT_GE(modificationTime(cache), 0) << "the shell did not create the cache";
    EXPECT_EQ("", readFile(cache));

    // The next start of the proxy.
    SymbolTable::getInstance().clear();
    setOptions(elf, tool, cache);
    ASSERT_TRUE(init(log));
    EXPECT_EQ("SymbolTable::validDebugInfo(), True\n", log);
    bool complete = true;
    log = stdoutOf([&] {
        complete = SymbolTable::getInstance().resolveDataStructures({"xLIST", "xLIST_ITEM"});
    });
    EXPECT_FALSE(complete);
    EXPECT_EQ("SymbolTable::resolveDataStructures(), <n> ms\n", log);
    StructInfo out;
    EXPECT_FALSE(SymbolTable::getInstance().lookupStruct("xLIST", out));
}

TEST_F(DebugInfoCacheIntegration, FailingToolStillGivesTrueAndLogsTheTruthValue) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    const std::string tool = makeTool(path("dump-tool"), 3);
    useProgram(elf, tool, cache);
    bool result = false;
    std::string log = stdoutOf([&] { result = DebugInfoCache::generate(); });
    EXPECT_TRUE(result);
    EXPECT_EQ(failedRun(tool, elf, cache), log);
    EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
}

TEST_F(DebugInfoCacheIntegration, MissingElfRunsTheToolWhichFails) {
    const std::string elf = path("absent.elf");
    const std::string cache = path("absent.elf.proxy_cache");
    setOptions(elf, "arm-none-eabi-readelf", cache);
    std::string log;
    EXPECT_TRUE(init(log));
    EXPECT_EQ(failedRun("arm-none-eabi-readelf", elf, cache), log);
}

TEST_F(DebugInfoCacheIntegration, PathsWithBlanksArePassedWhole) {
    std::filesystem::create_directory(path("with blank"));
    const std::string elf = path("with blank/my app.elf");
    const std::string cache = path("with blank/my app.elf.proxy_cache");
    useProgram(elf, makeTool(path("dump-tool"), 0), cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(kToolTimes + cacheLine(cache), log);
    EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
}

TEST_F(DebugInfoCacheIntegration, RealToolOnPathsWithBlanks) {
    std::filesystem::create_directory(path("with blank"));
    const std::string elf = path("with blank/app.elf");
    EXPECT_NE(std::string::npos, dumpBeside("shapes_threadx_cm.elf", elf).find("): TX_THREAD_STRUCT\n"));
}

TEST_F(DebugInfoCacheIntegration, ToolPathWithABlankIsNotFound) {
    std::filesystem::create_directory(path("tool dir"));
    const std::string tool = makeTool(path("tool dir/dump-tool"), 0);
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    useProgram(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(failedRun(tool, elf, cache), log);
    EXPECT_EQ(0, toolRuns());
    EXPECT_EQ("", readFile(cache));
}

// Each name holds something a shell would act on; a shell that saw it would create the file "marker" in
// the working folder, which is the scratch folder here.
class ShellFreeDump : public DebugInfoCacheIntegration {
protected:
    void SetUp() override {
        DebugInfoCacheIntegration::SetUp();
        previous = std::filesystem::current_path();
        std::filesystem::current_path(path(""));
    }
    void TearDown() override {
        std::filesystem::current_path(previous);
        DebugInfoCacheIntegration::TearDown();
    }
    bool markerMade() const { return std::filesystem::exists(path("marker")); }

    std::filesystem::path previous;
};

TEST_F(ShellFreeDump, PathsThatAShellWouldRunAreOnlyNames) {
    const std::string names[] = {
        "q\"uote'd;touch marker;.elf",
        "$(touch marker).elf",
        "`touch marker`.elf",
        "a$HOME b & touch marker | x.elf",
    };
    const std::string tool = makeTool(path("dump-tool"), 0);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        SymbolTable::getInstance().clear();
        const std::string elf = path(name);
        const std::string cache = elf + "; touch marker #.proxy_cache";
        useProgram(elf, tool, cache);
        std::string log;
        ASSERT_TRUE(init(log));
        EXPECT_EQ(kToolTimes + cacheLine(cache), log);
        EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
        EXPECT_FALSE(markerMade());
    }
}

TEST_F(ShellFreeDump, RealToolOnAPathThatAShellWouldRun) {
    std::filesystem::create_directory(path("$(touch marker)"));
    const std::string elf = path("$(touch marker)/`touch marker`;'\".elf");
    EXPECT_NE(std::string::npos,
              dumpBeside("shapes_freertos_full.elf", elf).find("): tskTaskControlBlock\n"));
    EXPECT_FALSE(markerMade());
}

TEST_F(DebugInfoCacheIntegration, ToolWordsAfterItsNameAreItsArguments) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    useProgram(elf, "  " + makeTool(path("dump-tool"), 0) + "  --extra  ", cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("--extra|-wi|" + elf + "|", readFile(cache));
}

TEST_F(DebugInfoCacheIntegration, ACacheThatCannotBeWrittenRunsNoTool) {
    const std::string elf = path("app.elf");
    const std::string cache = path("no-such-dir/app.elf.proxy_cache");
    const std::string tool = makeTool(path("dump-tool"), 0);
    useProgram(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(failedRun(tool, elf, cache), log);
    EXPECT_EQ(0, toolRuns());
}

TEST_F(DebugInfoCacheTest, GenerateNamesTheFirstMissingOption) {
    struct Case {
        std::vector<std::pair<std::string, std::string>> options;
        std::string log;
    };
    const Case cases[] = {
        {{{"--debug_info_tool", "t"}, {"--debug_info_cache", "c"}},
         "Missing property: --file\n" + kToolTimes + cacheLine("")},
        {{{"--file", "f"}}, "Missing property: --debug_info_tool\n" + kToolTimes + cacheLine("")},
        {{{"--file", "f"}, {"--debug_info_tool", "t"}},
         "Missing property: --debug_info_cache\n" + kToolTimes + cacheLine("")},
    };
    for (const Case& c : cases) {
        Properties::getInstance().clear();
        for (const auto& option : c.options) {
            Properties::getInstance().addProperty(option.first, option.second);
        }
        bool result = true;
        EXPECT_EQ(c.log, stdoutOf([&] { result = DebugInfoCache::generate(); }));
        EXPECT_FALSE(result);
    }
}

TEST_F(DebugInfoCacheTest, StaleWithoutOptionsOrFilesAndSilent) {
    Properties& properties = Properties::getInstance();
    writeFile(path("app.elf"), "elf");
    writeFile(path("app.elf.proxy_cache"), "dump");
    bool result = true;
    EXPECT_EQ("", stdoutOf([&] { result = DebugInfoCache::isFresh(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--file", path("app.elf"));
    EXPECT_EQ("", stdoutOf([&] { result = DebugInfoCache::isFresh(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--debug_info_cache", path("missing.proxy_cache"));
    EXPECT_EQ("", stdoutOf([&] { result = DebugInfoCache::isFresh(); }));
    EXPECT_FALSE(result);
    properties.addProperty("--debug_info_cache", path("app.elf.proxy_cache"));
    properties.addProperty("--file", path("missing.elf"));
    EXPECT_EQ("", stdoutOf([&] { result = DebugInfoCache::isFresh(); }));
    EXPECT_FALSE(result);
}

TEST_F(DebugInfoCacheTest, FreshnessComparesWholeSeconds) {
    useProgramAndCache("dump");
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
                  stdoutOf([&] { result = DebugInfoCache::isFresh(); }));
        EXPECT_EQ(c.valid, result);
    }
}

TEST_F(DebugInfoCacheTest, FreshnessLooksAtNoContent) {
    useProgramAndCache("");
    setTime(path("app.elf"), 1600000000);
    EXPECT_TRUE(DebugInfoCache::isFresh());
}
