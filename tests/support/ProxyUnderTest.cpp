#include "ProxyUnderTest.h"

#include "FreePort.h"
#include "TestPaths.h"

#include <gtest/gtest.h>

std::vector<std::string> ProxyUnderTest::arguments(unsigned short listenPort, unsigned short serverPort,
                                                   const std::vector<std::string>& extraArgs) {
    std::vector<std::string> args = {"--port", std::to_string(listenPort), "--server_connection",
                                     "127.0.0.1:" + std::to_string(serverPort)};
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
    return "Veltrona Tarnwick. Version 0.17.0\n"
           "Copyright (c) Veltrona. All rights reserved.\n"
           "\n"
           "Connecting to GDB server 127.0.0.1 on port " +
           std::to_string(serverPeer->port()) +
           " ... Connected\n"
           "Listen for GDB connection on port: " +
           std::to_string(gdbPort) + " ... Connected\n";
}
