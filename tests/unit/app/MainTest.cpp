#include "FakeRspPeer.h"
#include "FreePort.h"
#include "ProcessRunner.h"
#include "ProxyUnderTest.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
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
    "\n"
    "Note. Various RTOS drivers might provide additional properties for customization. Please consult "
    "respective RTOS driver documentation for details. \n";

struct Finished {
    int status;
    std::string output;
};

Finished runToEnd(const std::vector<std::string>& args) {
    ProcessRunner process(testpaths::tarnwickBinary(), args);
    EXPECT_TRUE(process.waitExit()) << "still running; output:\n" << process.output();
    return {process.exitStatus(), process.output()};
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
                     "true\n");
    ProcessRunner process(testpaths::tarnwickBinary(), {"-f", options.path});
    ASSERT_TRUE(server->waitConnected(5000)) << process.output();
    auto gdb = FakeRspPeer::connect(port);
    ASSERT_TRUE(gdb);
    ASSERT_TRUE(gdb->sendPacket("c"));
    EXPECT_EQ("$c#63", server->nextRaw());
    gdb->close();
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(0, process.exitStatus());
    EXPECT_EQ(kBanner + "Connecting to GDB server 127.0.0.1\r on port " + std::to_string(server->port()) +
                  " ... Connected\n"
                  "Listen for GDB connection on port: " +
                  std::to_string(port) +
                  " ... Connected\n"
                  "Lost connection to GDB Client\n"
                  "Proxy stopped.\n",
              process.output());
}

TEST(MainIntegration, LogLevelEightPrintsOnlyDebugLines) {
    auto server = FakeRspPeer::listen();
    unsigned short port = freeTcpPort();
    ProcessRunner process(testpaths::tarnwickBinary(),
                          ProxyUnderTest::arguments(port, server->port(), {"--loglevel", "8"}));
    ASSERT_TRUE(server->waitConnected(5000));
    auto gdb = FakeRspPeer::connect(port);
    ASSERT_TRUE(gdb);
    ASSERT_TRUE(gdb->sendPacket("c"));
    EXPECT_EQ("$c#63", server->nextRaw());
    gdb->close();
    ASSERT_TRUE(process.waitExit());
    EXPECT_EQ(0, process.exitStatus());
    // The connect's own trace, and neither the progress lines nor "Proxy stopped.".
    std::string output = process.output();
    EXPECT_TRUE(output == kBanner + "Connection is open\n" || output == kBanner + "Connected\n") << output;
}

TEST(MainIntegration, ALoneArgumentWithoutDashGoesToTheArgumentList) {
    // The value without a key is dropped, so the proxy starts on its default ports.
    ProcessRunner process(testpaths::tarnwickBinary(), {"abc"});
    ASSERT_TRUE(process.waitForOutput(" ... "));
    std::string output = process.output();
    EXPECT_EQ(std::string::npos, output.find("Unsupported argument"));
    EXPECT_TRUE(output == kBanner + "Connecting to GDB server 127.0.0.1 on port 61234 ... " ||
                output == kBanner + "Failed listen for incoming connections on port: 60000\n")
        << output;
}

TEST(MainIntegration, ALoneAliasSetsItsOption) {
    unsigned short port = freeTcpPort();
    ProcessRunner process(testpaths::tarnwickBinary(), {"PROXY_PORT=" + std::to_string(port)});
    ASSERT_TRUE(process.waitForOutput("Connecting to GDB server 127.0.0.1 on port 61234 ... "));
    // The port is listening before the server is reached, so GDB's connection waits in the backlog.
    auto gdb = FakeRspPeer::connect(port, 1000);
    EXPECT_TRUE(gdb) << "not listening on the aliased port";
    EXPECT_EQ(std::string::npos, process.output().find("Unsupported argument"));
}

} // namespace
