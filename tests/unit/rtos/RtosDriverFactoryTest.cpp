#include "rtos/RtosDriverFactory.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace {

// Each test writes its database files into a folder of its own, removed afterwards.
class RtosDriverFactoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = ::testing::TempDir() + "rtosdbXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        folder = pattern;
        Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR);
    }

    void TearDown() override {
        std::filesystem::remove_all(folder);
        Logger::getInstance().setLogLevel(0);
    }

    std::string writeDatabase(const std::string& content) {
        std::string path = folder + "/drivers.csv";
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    // Reads content as a database and returns what was logged.
    std::string read(const std::string& content, bool& result) {
        std::string path = writeDatabase(content);
        ::testing::internal::CaptureStdout();
        result = factory.readDatabase(path);
        return ::testing::internal::GetCapturedStdout();
    }

    void expectRow(std::size_t index, const std::string& name, const std::string& id,
                   const std::string& library, const std::string& match) {
        ASSERT_LT(index, factory.getDrivers().size());
        const RtosDriverInfo& row = factory.getDrivers()[index];
        EXPECT_EQ(name, row.getName());
        EXPECT_EQ(id, row.getId());
        EXPECT_EQ(library, row.getLibraryPath());
        EXPECT_EQ(match, row.getMatchSymbol());
        EXPECT_EQ("", row.getDescription());
    }

    std::string folder;
    RtosDriverFactory factory;
};

const char* const kCorruptLine = "Corrupt driver database: drivers/drivers.csv\n";

} // namespace

TEST_F(RtosDriverFactoryTest, CommentsOnly) {
    bool result = false;
    EXPECT_EQ("", read("# name, id, library path, match structure\n#FreeRTOS, freertos, , x\n", result));
    EXPECT_TRUE(result);
    EXPECT_TRUE(factory.getDrivers().empty());
}

TEST_F(RtosDriverFactoryTest, IndentedCommentAndBlankLinesAreSkipped) {
    bool result = false;
    EXPECT_EQ("", read("   # an indented comment, with, commas, enough\n\n    \nA, a, , sa\n", result));
    EXPECT_TRUE(result);
    ASSERT_EQ(1u, factory.getDrivers().size());
    expectRow(0, "A", "a", "", "sa");
}

TEST_F(RtosDriverFactoryTest, RowsInFileOrderWithBlanksTrimmed) {
    bool result = false;
    EXPECT_EQ(
        "",
        read("  FreeRTOS ,  freertos,lib/free.so ,  tskTaskControlBlock  \nThreadX,threadx,,TX_THREAD_STRUCT",
             result));
    EXPECT_TRUE(result);
    ASSERT_EQ(2u, factory.getDrivers().size());
    expectRow(0, "FreeRTOS", "freertos", "lib/free.so", "tskTaskControlBlock");
    expectRow(1, "ThreadX", "threadx", "", "TX_THREAD_STRUCT");
}

TEST_F(RtosDriverFactoryTest, FifthFieldIsIgnored) {
    bool result = false;
    EXPECT_EQ("", read("FreeRTOS, freertos, , tskTaskControlBlock, extra\n", result));
    EXPECT_TRUE(result);
    ASSERT_EQ(1u, factory.getDrivers().size());
    expectRow(0, "FreeRTOS", "freertos", "", "tskTaskControlBlock");
}

TEST_F(RtosDriverFactoryTest, LineWithoutCommaIsCorrupt) {
    bool result = true;
    EXPECT_EQ(kCorruptLine, read("FreeRTOS freertos lib tskTaskControlBlock\n", result));
    EXPECT_FALSE(result);
    EXPECT_TRUE(factory.getDrivers().empty());
}

TEST_F(RtosDriverFactoryTest, RowOfThreeFieldsIsCorrupt) {
    bool result = true;
    EXPECT_EQ(kCorruptLine, read("FreeRTOS, freertos, lib\n", result));
    EXPECT_FALSE(result);
}

TEST_F(RtosDriverFactoryTest, CorruptThirdLineKeepsTwoRowsAndStops) {
    bool result = true;
    EXPECT_EQ(kCorruptLine, read("A, a, , sa\nB, b, , sb\nC, c\nD, d, , sd\n", result));
    EXPECT_FALSE(result);
    ASSERT_EQ(2u, factory.getDrivers().size());
    expectRow(0, "A", "a", "", "sa");
    expectRow(1, "B", "b", "", "sb");
}

TEST_F(RtosDriverFactoryTest, IdInCapitalsLoadsButMakesNoDriver) {
    bool result = false;
    EXPECT_EQ("", read("FreeRTOS, FREERTOS, , tskTaskControlBlock\n", result));
    EXPECT_TRUE(result);
    ASSERT_EQ(1u, factory.getDrivers().size());
    expectRow(0, "FreeRTOS", "FREERTOS", "", "tskTaskControlBlock");
    EXPECT_EQ(nullptr, factory.create(factory.getDrivers()[0]));
    EXPECT_EQ(nullptr, factory.create(std::string("FREERTOS")));
}

TEST_F(RtosDriverFactoryTest, CarriageReturnStaysInTheLastField) {
    bool result = false;
    EXPECT_EQ("", read("# comment\r\nFreeRTOS, freertos, , tskTaskControlBlock\r\n", result));
    EXPECT_TRUE(result);
    ASSERT_EQ(1u, factory.getDrivers().size());
    expectRow(0, "FreeRTOS", "freertos", "", "tskTaskControlBlock\r");
}

TEST_F(RtosDriverFactoryTest, TabsStayInTheFields) {
    bool result = false;
    EXPECT_EQ("", read("\tFreeRTOS , freertos\t, \t, tskTaskControlBlock\t\n", result));
    EXPECT_TRUE(result);
    ASSERT_EQ(1u, factory.getDrivers().size());
    expectRow(0, "\tFreeRTOS", "freertos\t", "\t", "tskTaskControlBlock\t");
}

TEST_F(RtosDriverFactoryTest, MissingFile) {
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(factory.readDatabase(folder + "/absent.csv"));
    EXPECT_EQ("Failure open driver database: drivers/drivers.csv\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(factory.getDrivers().empty());
}

TEST_F(RtosDriverFactoryTest, CreateByUnknownNameIsNull) {
    bool result = false;
    read("Other, other, , s\n", result);
    ASSERT_TRUE(result);
    EXPECT_EQ(nullptr, factory.create(std::string("nosuch")));
    EXPECT_EQ(nullptr, factory.create(std::string("other")));
}

TEST_F(RtosDriverFactoryTest, InitReadsTheDatabaseBesideTheExecutable) {
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(factory.init());
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    ASSERT_EQ(2u, factory.getDrivers().size());
    expectRow(0, "FreeRTOS", "freertos", "", "tskTaskControlBlock");
    expectRow(1, "ThreadX", "threadx", "", "TX_THREAD_STRUCT");
}

namespace {

// Detection reads the debug-info cache that the real readelf makes of one of our fixture programs.
class RtosDriverFactoryDetectionIntegration : public RtosDriverFactoryTest {
protected:
    void useProgram(const std::string& program) {
        Properties& properties = Properties::getInstance();
        properties.clear();
        properties.addProperty("--file", testpaths::fixturesDir() + "/" + program);
        properties.addProperty("--debug_info_cache", folder + "/" + program + ".proxy_cache");
        properties.addProperty("--debug_info_tool", "arm-none-eabi-readelf");
        SymbolTable::getInstance().clear();
        ASSERT_TRUE(SymbolTable::getInstance().generateDebugInfo());
    }

    static bool hasStruct(const std::string& name) {
        StructInfo layout;
        return SymbolTable::getInstance().lookupStruct(name, layout);
    }
};

} // namespace

TEST_F(RtosDriverFactoryDetectionIntegration, CommentsOnlyDetectsNothing) {
    useProgram("shapes_freertos_full.elf");
    bool result = false;
    read("# nothing but a comment\n", result);
    ASSERT_TRUE(result);
    EXPECT_EQ(nullptr, factory.create());
}

TEST_F(RtosDriverFactoryDetectionIntegration, ProgramWithoutKernelMatchesNoRow) {
    useProgram("shapes_no_kernel.elf");
    bool result = false;
    read("FreeRTOS, freertos, , tskTaskControlBlock\nThreadX, threadx, , TX_THREAD_STRUCT\n", result);
    ASSERT_TRUE(result);
    EXPECT_EQ(nullptr, factory.create());
    EXPECT_FALSE(hasStruct("tskTaskControlBlock"));
    EXPECT_FALSE(hasStruct("TX_THREAD_STRUCT"));
}

TEST_F(RtosDriverFactoryDetectionIntegration, FirstMatchingRowEndsDetectionEvenWithoutDriver) {
    useProgram("shapes_both_kernels.elf");
    bool result = false;
    read("Other, other, , tskTaskControlBlock\nThreadX, threadx, , TX_THREAD_STRUCT\n", result);
    ASSERT_TRUE(result);
    EXPECT_EQ(nullptr, factory.create());
    // Each attempt rebuilds the structure map, so it shows which rows were tried.
    EXPECT_TRUE(hasStruct("tskTaskControlBlock"));
    EXPECT_FALSE(hasStruct("TX_THREAD_STRUCT"));
}

// ThreadX programs: the driver that the "threadx" row makes, by name, by row and by detection.

namespace {

const char* const kBothKernelsDatabase =
    "FreeRTOS, freertos, , tskTaskControlBlock\nThreadX, threadx, , TX_THREAD_STRUCT\n";

bool isThreadxDriver(const std::unique_ptr<IRtosDriver>& driver) {
    return dynamic_cast<ThreadxRtosDriver*>(driver.get()) != nullptr;
}

} // namespace

TEST_F(RtosDriverFactoryTest, ThreadxRowMakesTheThreadxDriver) {
    bool result = false;
    read("ThreadX kernel, threadx, lib/tx.so, TX_THREAD_STRUCT\n", result);
    ASSERT_TRUE(result);
    std::unique_ptr<IRtosDriver> driver(factory.create(factory.getDrivers()[0]));
    ASSERT_TRUE(isThreadxDriver(driver));
    EXPECT_EQ("ThreadX kernel", driver->getDriverInfo().getName());
    EXPECT_EQ("threadx", driver->getDriverInfo().getId());
    EXPECT_EQ("lib/tx.so", driver->getDriverInfo().getLibraryPath());
    EXPECT_EQ("TX_THREAD_STRUCT", driver->getDriverInfo().getMatchSymbol());

    std::unique_ptr<IRtosDriver> byName(factory.create(std::string("threadx")));
    EXPECT_TRUE(isThreadxDriver(byName));
    EXPECT_EQ(nullptr, factory.create(std::string("ThreadX")));
}

TEST_F(RtosDriverFactoryDetectionIntegration, ThreadxProgramIsDetected) {
    for (const char* program : {"threadx_state.elf", "threadx_edges.elf", "threadx_frames_ca7.elf"}) {
        SCOPED_TRACE(program);
        useProgram(program);
        bool result = false;
        factory = RtosDriverFactory();
        read(kBothKernelsDatabase, result);
        ASSERT_TRUE(result);
        std::unique_ptr<IRtosDriver> driver(factory.create());
        ASSERT_TRUE(isThreadxDriver(driver));
        EXPECT_EQ("ThreadX", driver->getDriverInfo().getName());
        // The FreeRTOS row was tried first and found nothing; the map holds what matched.
        EXPECT_TRUE(hasStruct("TX_THREAD_STRUCT"));
        EXPECT_FALSE(hasStruct("tskTaskControlBlock"));
    }
}

TEST_F(RtosDriverFactoryDetectionIntegration, ThreadxRowFirstWinsInAProgramOfBothKernels) {
    useProgram("shapes_both_kernels.elf");
    bool result = false;
    read("ThreadX, threadx, , TX_THREAD_STRUCT\nFreeRTOS, freertos, , tskTaskControlBlock\n", result);
    ASSERT_TRUE(result);
    std::unique_ptr<IRtosDriver> driver(factory.create());
    EXPECT_TRUE(isThreadxDriver(driver));
}

TEST_F(RtosDriverFactoryDetectionIntegration, ThreadxRowDoesNotMatchAProgramWithoutThreadx) {
    useProgram("shapes_freertos_full.elf");
    bool result = false;
    read("ThreadX, threadx, , TX_THREAD_STRUCT\n", result);
    ASSERT_TRUE(result);
    EXPECT_EQ(nullptr, factory.create());
}

TEST_F(RtosDriverFactoryTest, FreeRtosRowMakesTheFreeRtosDriver) {
    bool result = false;
    read("FreeRTOS, freertos, , tskTaskControlBlock\n", result);
    ASSERT_TRUE(result);
    std::unique_ptr<IRtosDriver> driver(factory.create(std::string("freertos")));
    ASSERT_NE(nullptr, dynamic_cast<FreeRtosRtosDriver*>(driver.get()));
    EXPECT_EQ("FreeRTOS", driver->getDriverInfo().getName());
    EXPECT_EQ("tskTaskControlBlock", driver->getDriverInfo().getMatchSymbol());
}

TEST_F(RtosDriverFactoryDetectionIntegration, FreeRtosProgramIsDetected) {
    useProgram("freertos_snapshot.elf");
    bool result = false;
    read("ThreadX, threadx, , TX_THREAD_STRUCT\nFreeRTOS, freertos, , tskTaskControlBlock\n", result);
    ASSERT_TRUE(result);
    std::unique_ptr<IRtosDriver> driver(factory.create());
    ASSERT_NE(nullptr, dynamic_cast<FreeRtosRtosDriver*>(driver.get()));
    EXPECT_EQ("freertos", driver->getDriverInfo().getId());
    EXPECT_TRUE(hasStruct("tskTaskControlBlock"));
    EXPECT_FALSE(hasStruct("xLIST"));
}

TEST_F(RtosDriverFactoryDetectionIntegration, FreeRtosShapesOfAnOlderKernelAreDetected) {
    useProgram("freertos_snapshot_legacy.elf");
    bool result = false;
    read("FreeRTOS, freertos, , tskTaskControlBlock\nThreadX, threadx, , TX_THREAD_STRUCT\n", result);
    ASSERT_TRUE(result);
    std::unique_ptr<IRtosDriver> driver(factory.create());
    EXPECT_NE(nullptr, dynamic_cast<FreeRtosRtosDriver*>(driver.get()));
}
