#include "ProxyRig.h"

#include "FakeRtosDriver.h"
#include "TimingFigures.h"
#include "base/Logger.h"
#include "base/NumberCodec.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Tarnwick.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

ProxyRig::ProxyRig(const std::vector<std::string>& options) {
    Logger::getInstance().setLogLevel(0);
    Properties& properties = Properties::getInstance();
    properties.clear();
    std::vector<std::string> args = options;
    properties.init(args);
    SymbolTable::getInstance().clear();
}

ProxyRig::ProxyRig(FakeRtosDriver& driver, unsigned int logLevel, const std::vector<std::string>& options)
    : ProxyRig(options) {
    load(driver);
    driver.clearRecord();
    run(logLevel);
}

ProxyRig::~ProxyRig() {
    finish();
    if (testing::Test::HasFailure()) {
        // Failures reported while standard output was captured are in the log, and only there.
        std::cerr << "Log of the session:\n" << captured;
    }
    Logger::getInstance().setLogLevel(0);
    // The driver dies with the test; the proxy must not keep it.
    Tarnwick::getInstance().loadDriver(nullptr);
    Properties::getInstance().clear();
    SymbolTable::getInstance().clear();
}

bool ProxyRig::load(IRtosDriver& driver) {
    Tarnwick& tarnwick = Tarnwick::getInstance();
    tarnwick.RspProxy::init();
    return tarnwick.loadDriver(&driver);
}

void ProxyRig::run(unsigned int logLevel, FakeRspPeer::Handler serverHandler) {
    gdbSide = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
    serverSide = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
    if (!gdbSide.endpoint || !serverSide.endpoint) {
        return;
    }
    if (serverHandler) {
        serverSide.peer->serve(serverHandler);
    }
    testing::internal::CaptureStdout();
    capturing = true;
    Logger::getInstance().setLogLevel(logLevel);
    loop = std::async(std::launch::async, [this] {
        return Tarnwick::getInstance().doProxyWork(gdbEndpoint(), serverEndpoint());
    });
}

bool ProxyRig::finish() {
    if (loop.valid()) {
        if (loop.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
            gdb().close();
        }
        result = loop.get();
    }
    if (capturing) {
        captured = timingfigures::masked(testing::internal::GetCapturedStdout());
        capturing = false;
    }
    return result;
}

bool ProxyRig::ended(int timeoutMs) {
    return loop.valid() && loop.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
}

std::string ProxyRig::stop(const std::string& stopReply) {
    server().sendPacket(stopReply);
    return gdb().nextPayload();
}

void ProxyRig::passFirstStop() {
    EXPECT_EQ("T05thread:1;", stop("S05"));
}

std::string ProxyRig::ask(const std::string& request) {
    gdb().sendPacket(request);
    return gdb().nextPayload();
}

std::string ProxyRig::monitor(const std::string& words) {
    std::string reply = ask("qRcmd," + NumberCodec::encodeHex(words));
    return NumberCodec::decodeHex(reply, static_cast<unsigned int>(reply.size()));
}
