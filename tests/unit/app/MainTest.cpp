#include "FakeRspPeer.h"
#include "FreePort.h"
#include "ProcessRunner.h"
#include "ProxyUnderTest.h"
#include "TestPaths.h"
#include "TimingFigures.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string kBanner = "Veltrona Tarnwick. Version 0.17.0\n"
                            "Copyright (c) Veltrona. All rights reserved.\n"
                            "\n";

const std::string kHelp =
    "Usage:\n"
    "Tarnwick [options]\n"
    "\n"
    "Where [options]:\n"
    "-v, --version: Displays version information and exits.\n"
    "-h, --help: Displays usage information and exits.\n"
    "-f <options file>: Path to file containing options.\n"
    "--rtos: RTOS driver to use.\n"
    "--rtos_variant: RTOS port layer used by the executable.\n"
    "--port: TCP/IP port number for GDB connections.\n"
    "--server_connection: <Host:Port> Host and port number of the RSP-server (GDB-server) to connect to.\n"
    "--file: Path to the RTOS executable (ELF object).\n"
    "--gdbserver_connect_timeout: RSP-server (GDB-server) connection timeout. Default is 15s.\n"
    "--loglevel: Logging level. Value between 0-15.\n"
    "--persist: true keeps serving one GDB connection after another, until Ctrl-C. Default is false.\n"
    "--read_cache: false reads every value from the RSP-server each time it is used. Default is true.\n"
    "--lazy_walk: false walks the RTOS threads at every stop. Default is true.\n"
    "\n"
    "Note. Various RTOS drivers might provide additional properties for customization. Please consult "
    "respective RTOS driver documentation for details. \n";

const char* const kNoDriver = "no kernel driver in this build: the program cannot start its proxy";

// The arguments as lines of an options file.
std::string oneALine(const std::vector<std::string>& args) {
    std::string lines;
    for (const std::string& arg : args) {
        lines += arg + "\n";
    }
    return lines;
}

long modificationTime(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<long>(status.st_mtime) : -1;
}

struct Finished {
    int status;
    std::string output;
};

Finished runToEnd(const std::vector<std::string>& args) {
    ProcessRunner process(testpaths::tarnwickBinary(), args);
    EXPECT_TRUE(process.waitExit()) << "still running; output:\n" << process.output();
    return {process.exitStatus(), timingfigures::masked(process.output())};
}

// A file that is removed with the object.
class TempFile {
public:
    explicit TempFile(const std::string& content) {
        char pattern[] = "/tmp/tarnwick-options-XXXXXX";
        int descriptor = mkstemp(pattern);
        path = pattern;
        std::ofstream(path, std::ios::binary) << content;
        close(descriptor);
    }
    ~TempFile() { std::remove(path.c_str()); }
    std::string path;
};

// GDB connects to the started proxy at port, sends one packet that reaches the server, and leaves; the
// proxy must then end in order.
void forwardOnePacketAndLeave(ProcessRunner& process, FakeRspPeer& server, unsigned short port) {
    ASSERT_TRUE(server.waitConnected(5000)) << process.output();
    auto gdb = FakeRspPeer::connect(port);
    ASSERT_TRUE(gdb);
    ASSERT_TRUE(gdb->sendPacket("c"));
    EXPECT_EQ("$c#63", server.nextRaw());
    gdb->close();
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(0, process.exitStatus());
}

// Everything a proxy prints that reached the server by the name given, served one GDB at port (the
// listening line's further words after it) and ended.
std::string oneSessionOutput(const std::string& serverHost, unsigned short serverPort, unsigned short port,
                             const std::string& listenWords = "") {
    return ProxyUnderTest::initOutput() + "Connecting to GDB server " + serverHost + " on port " +
           std::to_string(serverPort) +
           " ... Connected\n"
           "Listen for GDB connection on port: " +
           std::to_string(port) + listenWords +
           " ... Connected\n"
           "Lost connection to GDB Client\n"
           "Proxy stopped.\n";
}

TEST(MainIntegration, VersionPrintsTheBannerOnly) {
    for (const char* option : {"--version", "-v"}) {
        SCOPED_TRACE(option);
        Finished run = runToEnd({option});
        EXPECT_EQ(0, run.status);
        EXPECT_EQ(kBanner, run.output);
    }
}

TEST(MainIntegration, HelpIsPrintedExactly) {
    for (const char* option : {"--help", "-h"}) {
        SCOPED_TRACE(option);
        Finished run = runToEnd({option});
        EXPECT_EQ(0, run.status);
        EXPECT_EQ(kBanner + kHelp, run.output);
    }
}

TEST(MainIntegration, AnyOtherLoneDashedArgumentIsUnsupportedButNotAnError) {
    for (const char* option : {"-x", "-f", "--port"}) {
        SCOPED_TRACE(option);
        Finished run = runToEnd({option});
        EXPECT_EQ(0, run.status);
        EXPECT_EQ(kBanner + "Unsupported argument: " + option + "\n" + kHelp, run.output);
    }
}

TEST(MainIntegration, AnOptionsFileThatCannotBeOpenedStopsWithErrors) {
    Finished run = runToEnd({"-f", "/nonexistent/tarnwick.options"});
    EXPECT_EQ(255, run.status);
    EXPECT_EQ(kBanner + "PropertiesManager::init(), failed open file: /nonexistent/tarnwick.options\n"
                        "Proxy stopped with errors.\n",
              run.output);
}

TEST(MainIntegration, OptionsFileGivesOneArgumentALine) {
    if (!ProxyUnderTest::driverBuiltIn()) {
        GTEST_SKIP() << kNoDriver;
    }
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    // A comment and a blank line between an option and its value are skipped; blanks and tabs around a
    // line go; NAME=VALUE stands for its option; a carriage return stays part of the line.
    TempFile options("# Options of a test run\n"
                     "\n"
                     "--port\n"
                     "   # the value follows\n"
                     "\t\n"
                     "\t" +
                     std::to_string(port) +
                     "  \n"
                     " PROXY_RSPSERVER_PORT = " +
                     std::to_string(server->port()) +
                     "\n"
                     "PROXY_RSPSERVER_HOST=127.0.0.1\r\n"
                     "--bypass\n"
                     "true\n" +
                     oneALine(ProxyUnderTest::startupArguments()));
    ProcessRunner process(testpaths::tarnwickBinary(), {"-f", options.path});
    forwardOnePacketAndLeave(process, *server, port);
    EXPECT_EQ(oneSessionOutput("127.0.0.1\r", server->port(), port), process.output());
}

TEST(MainIntegration, AListenAddressOtherThanLoopbackIsNamed) {
    if (!ProxyUnderTest::driverBuiltIn()) {
        GTEST_SKIP() << kNoDriver;
    }
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(port, server->port(), {"--listen_address", "0.0.0.0"}));
    forwardOnePacketAndLeave(process, *server, port);
    EXPECT_EQ(oneSessionOutput("127.0.0.1", server->port(), port, " (address 0.0.0.0)"), process.output());
}

TEST(MainIntegration, AServerNamedByItsHostNameIsReached) {
    if (!ProxyUnderTest::driverBuiltIn()) {
        GTEST_SKIP() << kNoDriver;
    }
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    ProcessRunner process(
        testpaths::tarnwickBinary(),
        ProxyUnderTest::arguments(port, server->port(),
                                  {"--server_connection", "localhost:" + std::to_string(server->port())}));
    forwardOnePacketAndLeave(process, *server, port);
    EXPECT_EQ(oneSessionOutput("localhost", server->port(), port), process.output());
}

TEST(MainIntegration, APortOutsideOneTo65535IsRefusedLikeOtherBadOptions) {
    struct Case {
        std::vector<std::string> extra;
        std::string error;
    };
    const Case cases[] = {
        {{"--port", "65536"}, "Invalid format: --port <portnumber 1-65535>\n"},
        {{"--port", "0"}, "Invalid format: --port <portnumber 1-65535>\n"},
        {{"--server_connection", "127.0.0.1:70000"},
         "Invalid format: --server_connection <hostname/ip:portnumber>\n"},
    };
    for (const Case& entry : cases) {
        SCOPED_TRACE(entry.extra[1]);
        Finished run = runToEnd(ProxyUnderTest::arguments(2000, 3333, entry.extra));
        EXPECT_EQ(255, run.status);
        EXPECT_EQ(kBanner + entry.error + "Failed initialize tarnwick\nFailed to initialize proxy.\n" +
                      "Proxy stopped with errors.\n",
                  run.output);
    }
}

TEST(MainIntegration, LogLevelEightPrintsOnlyDebugLines) {
    if (!ProxyUnderTest::driverBuiltIn()) {
        GTEST_SKIP() << kNoDriver;
    }
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    std::vector<std::string> args = ProxyUnderTest::arguments(port, server->port(), {"--loglevel", "8"});
    // The dump goes to /dev/null: whether it is made again depends on that device's time stamp.
    bool fresh = modificationTime("/dev/null") > modificationTime(testpaths::fixturesDir() + "/sim_cm3.elf");
    ProcessRunner process(testpaths::tarnwickBinary(), args);
    ASSERT_NO_FATAL_FAILURE(forwardOnePacketAndLeave(process, *server, port));
    // The cache check, the connect's own trace, and neither the progress lines nor "Proxy stopped.".
    std::string cacheLines = fresh ? "SymbolTable::validDebugInfo(), True\n"
                                   : "SymbolTable::validDebugInfo(), False\n"
                                     "SymbolTable::generateDebugInfo(), <n> ms\n"
                                     "SymbolTable::generateDebugInfo(), Cache: /dev/null\n";
    std::string output = timingfigures::masked(process.output());
    EXPECT_TRUE(output == kBanner + cacheLines + "Connection is open\n" ||
                output == kBanner + cacheLines + "Connected\n")
        << output;
}

TEST(MainIntegration, NoArgumentsAtAllMissTheTargetProgram) {
    Finished run = runToEnd({});
    EXPECT_EQ(255, run.status);
    EXPECT_EQ(kBanner + "Missing property: --file\nProxy stopped with errors.\n", run.output);
}

TEST(MainIntegration, ALoneArgumentWithoutDashGoesToTheArgumentList) {
    // Not an unsupported argument: a value without a key, dropped, so that the target program is missing.
    for (const char* argument : {"abc", "PROXY_PORT=2000"}) {
        SCOPED_TRACE(argument);
        Finished run = runToEnd({argument});
        EXPECT_EQ(255, run.status);
        EXPECT_EQ(kBanner + "Missing property: --file\nProxy stopped with errors.\n", run.output);
    }
}

TEST(MainIntegration, TheDebugInfoCacheIsMadeBeforeTheProxyReadsItsOptions) {
    char pattern[] = "/tmp/tarnwick-main-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    std::string cache = std::string(pattern) + "/sim.proxy_cache";
    Finished run = runToEnd({"--file", testpaths::fixturesDir() + "/sim_cm3.elf", "--debug_info_cache", cache,
                             "--server_connection", "10.0.0.1", "--loglevel", "15"});
    EXPECT_EQ(255, run.status);
    // No cache yet, so no line of the validity check; then the dump tool runs, and only then the proxy.
    EXPECT_EQ(kBanner +
                  "SymbolTable::generateDebugInfo(), <n> ms\n"
                  "SymbolTable::generateDebugInfo(), Cache: " +
                  cache +
                  "\n"
                  "Invalid format: --server_connection <hostname/ip:portnumber>\n"
                  "Failed initialize tarnwick\n"
                  "Failed to initialize proxy.\n"
                  "Proxy stopped with errors.\n",
              run.output);
    EXPECT_GT(modificationTime(cache), 0) << "the dump was not written";
    std::remove(cache.c_str());
    rmdir(pattern);
}

TEST(MainIntegration, ADriverThatCannotBeLoadedStopsTheStart) {
    std::vector<std::string> args = {
        "--file", testpaths::fixturesDir() + "/sim_cm3.elf", "--debug_info_cache", "/dev/null", "--rtos",
        "nosuch"};
    Finished run = runToEnd(args);
    EXPECT_EQ(255, run.status);
    EXPECT_EQ(kBanner + "Loading RTOS driver... Failed to load driver\n"
                        "Failed to initialize proxy.\n"
                        "Proxy stopped with errors.\n",
              run.output);
}

TEST(MainIntegration, AProgramWithoutKernelIsNotDetected) {
    char pattern[] = "/tmp/tarnwick-main-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    std::string cache = std::string(pattern) + "/no_kernel.proxy_cache";
    Finished run =
        runToEnd({"--file", testpaths::fixturesDir() + "/shapes_no_kernel.elf", "--debug_info_cache", cache});
    EXPECT_EQ(255, run.status);
    EXPECT_EQ(kBanner + "Loading RTOS driver (Auto)... Failed to load driver\n"
                        "Failed to initialize proxy.\n"
                        "Proxy stopped with errors.\n",
              run.output);
    std::remove(cache.c_str());
    rmdir(pattern);
}

} // namespace
