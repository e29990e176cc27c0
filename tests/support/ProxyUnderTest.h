#ifndef TARNWICK_TESTS_SUPPORT_PROXYUNDERTEST_H
#define TARNWICK_TESTS_SUPPORT_PROXYUNDERTEST_H

#include "FakeRspPeer.h"
#include "ProcessRunner.h"

#include <memory>
#include <string>
#include <vector>

// The built tarnwick between a fake GDB server and a fake GDB, both connected, the loop running.
//
//     ProxyUnderTest proxy({"--bypass", "true"});
//     ASSERT_TRUE(proxy.ready());
//     proxy.gdb().sendPacket("m0,4");
//     EXPECT_EQ("$m0,4#fd", proxy.server().nextRaw());
class ProxyUnderTest {
public:
    // Every argument list that starts the proxy goes through here; later start-up needs go in one place.
    // It names a target program, whose dump goes nowhere (a pass-through run never reads it), and the
    // first driver of the database that the build can create.
    static std::vector<std::string> arguments(unsigned short listenPort, unsigned short serverPort,
                                              const std::vector<std::string>& extraArgs);
    // The options that get the program through its start-up to the connections, ports aside.
    static std::vector<std::string> startupArguments();
    // Whether the build holds a kernel driver at all: without one the program never starts its proxy.
    static bool driverBuiltIn();
    // The line the program logs when it has loaded that driver.
    static std::string driverLine();
    // The banner and the driver line: the output of a start that has reached the connections.
    static std::string initOutput();

    explicit ProxyUnderTest(const std::vector<std::string>& extraArgs = {});

    // True when the server peer holds the proxy's connection and GDB's connection has been accepted.
    bool ready() const { return isReady; }
    FakeRspPeer& server() { return *serverPeer; }
    FakeRspPeer& gdb() { return *gdbPeer; }
    ProcessRunner& process() { return *runner; }
    unsigned short listenPort() const { return gdbPort; }
    unsigned short serverPort() const { return serverPeer->port(); }
    // The output up to and including the acceptance of GDB.
    std::string startOutput() const;

private:
    unsigned short gdbPort = 0;
    std::unique_ptr<FakeRspPeer> serverPeer;
    std::unique_ptr<FakeRspPeer> gdbPeer;
    std::unique_ptr<ProcessRunner> runner;
    bool isReady = false;
};

#endif
