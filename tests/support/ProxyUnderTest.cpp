#include "ProxyUnderTest.h"

#include "FreePort.h"
#include "TestPaths.h"
#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverFactory.h"

#include <gtest/gtest.h>

namespace {

// The first row of the database whose driver this build can create; false if there is none.
bool findBuiltInDriver(RtosDriverInfo& found) {
    RtosDriverFactory factory;
    if (!factory.readDatabase(testpaths::sourceDir() + "/drivers/drivers.csv")) {
        return false;
    }
    for (const RtosDriverInfo& row : factory.getDrivers()) {
        std::unique_ptr<IRtosDriver> driver(factory.create(row));
        if (driver) {
            found = row;
            return true;
        }
    }
    return false;
}

const RtosDriverInfo& builtInDriver() {
    static const RtosDriverInfo row = [] {
        RtosDriverInfo found;
        findBuiltInDriver(found);
        return found;
    }();
    return row;
}

} // namespace

std::vector<std::string> ProxyUnderTest::startupArguments() {
    const std::string driverId = builtInDriver().getId().empty() ? "freertos" : builtInDriver().getId();
    return {"--file", testpaths::fixturesDir() + "/sim_cm3.elf", "--debug_info_cache", "/dev/null", "--rtos",
            driverId};
}

bool ProxyUnderTest::driverBuiltIn() {
    return !builtInDriver().getId().empty();
}

std::string ProxyUnderTest::driverLine() {
    return "Loading RTOS driver... " + builtInDriver().getName() + "\n";
}

std::string ProxyUnderTest::initOutput() {
    return "Veltrona Tarnwick. Version 0.17.0\n"
           "Copyright (c) Veltrona. All rights reserved.\n"
           "\n" +
           driverLine();
}

std::vector<std::string> ProxyUnderTest::arguments(unsigned short listenPort, unsigned short serverPort,
                                                   const std::vector<std::string>& extraArgs) {
    std::vector<std::string> args = {"--port", std::to_string(listenPort), "--server_connection",
                                     "127.0.0.1:" + std::to_string(serverPort)};
    std::vector<std::string> startup = startupArguments();
    args.insert(args.end(), startup.begin(), startup.end());
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    return args;
}

ProxyUnderTest::ProxyUnderTest(const std::vector<std::string>& extraArgs) {
    serverPeer = FakeRspPeer::listen();
    if (!serverPeer) {
        return;
    }
    gdbPort = freeTcpPort();
    runner = std::make_unique<ProcessRunner>(testpaths::tarnwickBinary(),
                                             arguments(gdbPort, serverPeer->port(), extraArgs));
    if (!serverPeer->waitConnected(ProcessRunner::kDefaultTimeoutMs)) {
        ADD_FAILURE() << "the proxy did not connect to the server; output:\n" << runner->output();
        return;
    }
    gdbPeer = FakeRspPeer::connect(gdbPort, ProcessRunner::kDefaultTimeoutMs);
    if (!gdbPeer) {
        ADD_FAILURE() << "cannot connect to the proxy; output:\n" << runner->output();
        return;
    }
    // Two "Connected" lines: the server's, then GDB's acceptance.
    std::string accepted = "on port: " + std::to_string(gdbPort) + " ... Connected\n";
    if (!runner->waitForOutput(accepted)) {
        ADD_FAILURE() << "the proxy did not accept GDB; output:\n" << runner->output();
        return;
    }
    isReady = true;
}

std::string ProxyUnderTest::startOutput() const {
    return initOutput() + "Connecting to GDB server 127.0.0.1 on port " + std::to_string(serverPeer->port()) +
           " ... Connected\n"
           "Listen for GDB connection on port: " +
           std::to_string(gdbPort) + " ... Connected\n";
}
