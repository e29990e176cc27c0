#include "debuginfo/SymbolTable.h"

#include "DebugInfoTestSupport.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

// The life of the debug-info cache on real files with real modification times; the dump tool, either the
// real one or a small script that records its runs and its arguments, is run without a shell.
namespace {

const std::string kToolTimes = "SymbolTable::generateDebugInfo(), <n> ms\n";

class SymbolTableCacheIntegration : public DebugInfoTest {
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

    static std::string cacheLine(const std::string& cache) {
        return "SymbolTable::generateDebugInfo(), Cache: " + cache + "\n";
    }

    static bool init(std::string& log) {
        bool result = false;
        log = stdoutOf([&] { result = SymbolTable::getInstance().init(); });
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
};

} // namespace

TEST_F(SymbolTableCacheIntegration, DefaultsPutTheCacheBesideTheElfAndUseReadelf) {
    const std::string elf = path("b.elf");
    std::filesystem::copy_file(testpaths::fixturesDir() + "/shapes_freertos_full.elf", elf);
    setTime(elf, std::time(nullptr) - 60);
    Properties::getInstance().addProperty("--file", elf);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(elf + ".proxy_cache", option("--debug_info_cache"));
    EXPECT_EQ("arm-none-eabi-readelf", option("--debug_info_tool"));
    EXPECT_EQ(kToolTimes + cacheLine(elf + ".proxy_cache"), log);
    std::string dump = readFile(elf + ".proxy_cache");
    EXPECT_EQ(0u, dump.find("Contents of the .debug_info section:\n"));
    EXPECT_NE(std::string::npos, dump.find("): tskTaskControlBlock\n"));

    ASSERT_TRUE(init(log));
    EXPECT_EQ("SymbolTable::validDebugInfo(), True\n", log);
}

TEST_F(SymbolTableCacheIntegration, GivenOptionsAreKept) {
    writeFile(path("app.elf"), "elf");
    setOptions(path("app.elf"), makeTool(path("dump-tool"), 0), path("elsewhere.cache"));
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(path("elsewhere.cache"), option("--debug_info_cache"));
    EXPECT_EQ(path("dump-tool"), option("--debug_info_tool"));
    EXPECT_EQ("-wi|" + path("app.elf") + "|", readFile(path("elsewhere.cache")));
}

TEST_F(SymbolTableCacheIntegration, CacheOfTheSameSecondIsStaleAndTheToolRunsAgain) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    writeFile(elf, "elf");
    writeFile(cache, "old dump");
    setTime(elf, 1700000000);
    setTime(cache, 1700000000);
    setOptions(elf, makeTool(path("dump-tool"), 0), cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("SymbolTable::validDebugInfo(), False\n" + kToolTimes + cacheLine(cache), log);
    EXPECT_EQ(1, toolRuns());
    EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
}

TEST_F(SymbolTableCacheIntegration, NewerCacheIsUsedWithoutRunningTheTool) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    writeFile(elf, "elf");
    writeFile(cache, "old dump");
    setTime(elf, 1700000000);
    setTime(cache, 1700000001);
    setOptions(elf, makeTool(path("dump-tool"), 0), cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("SymbolTable::validDebugInfo(), True\n", log);
    EXPECT_EQ(0, toolRuns());
    EXPECT_EQ("old dump", readFile(cache));
}

TEST_F(SymbolTableCacheIntegration, RebuiltElfMakesTheCacheStale) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    writeFile(elf, "elf");
    writeFile(cache, "old dump");
    setTime(cache, 1700000000);
    setTime(elf, 1700000100);
    setOptions(elf, makeTool(path("dump-tool"), 0), cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(1, toolRuns());
    EXPECT_GT(modificationTime(cache), 1700000100);
}

TEST_F(SymbolTableCacheIntegration, MissingToolLeavesAnEmptyCacheThatIsValidAtTheNextStart) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    const std::string tool = path("no-such-tool");
    writeFile(elf, "elf");
    setTime(elf, std::time(nullptr) - 60);
    setOptions(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    const std::string command = tool + " -wi \"" + elf + "\" > \"" + cache + "\"";
    EXPECT_EQ("Failed generate debug info\n"
              "CMD: " +
                  command + ", error: 1\n" + kToolTimes + cacheLine(cache),
              log);
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

TEST_F(SymbolTableCacheIntegration, FailingToolStillGivesTrueAndLogsTheTruthValue) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    const std::string tool = makeTool(path("dump-tool"), 3);
    writeFile(elf, "elf");
    setOptions(elf, tool, cache);
    bool result = false;
    std::string log = stdoutOf([&] { result = SymbolTable::getInstance().generateDebugInfo(); });
    EXPECT_TRUE(result);
    EXPECT_EQ("Failed generate debug info\n"
              "CMD: " +
                  tool + " -wi \"" + elf + "\" > \"" + cache + "\", error: 1\n" + kToolTimes +
                  cacheLine(cache),
              log);
    EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
}

TEST_F(SymbolTableCacheIntegration, MissingElfRunsTheToolWhichFails) {
    const std::string elf = path("absent.elf");
    const std::string cache = path("absent.elf.proxy_cache");
    setOptions(elf, "arm-none-eabi-readelf", cache);
    std::string log;
    EXPECT_TRUE(init(log));
    EXPECT_EQ("Failed generate debug info\n"
              "CMD: arm-none-eabi-readelf -wi \"" +
                  elf + "\" > \"" + cache + "\", error: 1\n" + kToolTimes + cacheLine(cache),
              log);
}

TEST_F(SymbolTableCacheIntegration, PathsWithBlanksArePassedWhole) {
    std::filesystem::create_directory(path("with blank"));
    const std::string elf = path("with blank/my app.elf");
    const std::string cache = path("with blank/my app.elf.proxy_cache");
    writeFile(elf, "elf");
    setOptions(elf, makeTool(path("dump-tool"), 0), cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(kToolTimes + cacheLine(cache), log);
    EXPECT_EQ("-wi|" + elf + "|", readFile(cache));
}

TEST_F(SymbolTableCacheIntegration, RealToolOnPathsWithBlanks) {
    std::filesystem::create_directory(path("with blank"));
    const std::string elf = path("with blank/app.elf");
    std::filesystem::copy_file(testpaths::fixturesDir() + "/shapes_threadx_cm.elf", elf);
    Properties::getInstance().addProperty("--file", elf);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(kToolTimes + cacheLine(elf + ".proxy_cache"), log);
    EXPECT_NE(std::string::npos, readFile(elf + ".proxy_cache").find("): TX_THREAD_STRUCT\n"));
}

TEST_F(SymbolTableCacheIntegration, ToolPathWithABlankIsNotFound) {
    std::filesystem::create_directory(path("tool dir"));
    const std::string tool = makeTool(path("tool dir/dump-tool"), 0);
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    writeFile(elf, "elf");
    setOptions(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("Failed generate debug info\n"
              "CMD: " +
                  tool + " -wi \"" + elf + "\" > \"" + cache + "\", error: 1\n" + kToolTimes +
                  cacheLine(cache),
              log);
    EXPECT_EQ(0, toolRuns());
    EXPECT_EQ("", readFile(cache));
}

// Each name holds something a shell would act on; a shell that saw it would create the file "marker" in
// the working folder, which is the scratch folder here.
class ShellFreeDump : public SymbolTableCacheIntegration {
protected:
    void SetUp() override {
        SymbolTableCacheIntegration::SetUp();
        previous = std::filesystem::current_path();
        std::filesystem::current_path(path(""));
    }
    void TearDown() override {
        std::filesystem::current_path(previous);
        SymbolTableCacheIntegration::TearDown();
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
        writeFile(elf, "elf");
        setOptions(elf, tool, cache);
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
    std::filesystem::copy_file(testpaths::fixturesDir() + "/shapes_freertos_full.elf", elf);
    setTime(elf, std::time(nullptr) - 60);
    Properties::getInstance().addProperty("--file", elf);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ(kToolTimes + cacheLine(elf + ".proxy_cache"), log);
    EXPECT_NE(std::string::npos, readFile(elf + ".proxy_cache").find("): tskTaskControlBlock\n"));
    EXPECT_FALSE(markerMade());
}

TEST_F(SymbolTableCacheIntegration, ToolWordsAfterItsNameAreItsArguments) {
    const std::string elf = path("app.elf");
    const std::string cache = path("app.elf.proxy_cache");
    writeFile(elf, "elf");
    setOptions(elf, "  " + makeTool(path("dump-tool"), 0) + "  --extra  ", cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("--extra|-wi|" + elf + "|", readFile(cache));
}

TEST_F(SymbolTableCacheIntegration, ACacheThatCannotBeWrittenRunsNoTool) {
    const std::string elf = path("app.elf");
    const std::string cache = path("no-such-dir/app.elf.proxy_cache");
    const std::string tool = makeTool(path("dump-tool"), 0);
    writeFile(elf, "elf");
    setOptions(elf, tool, cache);
    std::string log;
    ASSERT_TRUE(init(log));
    EXPECT_EQ("Failed generate debug info\n"
              "CMD: " +
                  tool + " -wi \"" + elf + "\" > \"" + cache + "\", error: 1\n" + kToolTimes +
                  cacheLine(cache),
              log);
    EXPECT_EQ(0, toolRuns());
}
