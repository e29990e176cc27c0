#ifndef TARNWICK_TESTS_UNIT_ROBUSTNESS_KERNELSESSION_H
#define TARNWICK_TESTS_UNIT_ROBUSTNESS_KERNELSESSION_H

#include "FakeRspPeer.h"
#include "base/NumberCodec.h"
#include "FaultyServer.h"
#include "PeeredEndpoint.h"
#include "ProgramSymbols.h"
#include "TestPaths.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Tarnwick.h"
#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverFactory.h"
#include "rtos/RtosDriverInfo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

// The proxy singleton with a real kernel driver between a fake GDB and a FaultyServer that serves one of
// our kernel-shaped fixture programs, on real loopback sockets, its loop on a thread of its own. The
// driver's layouts come from the program's dump by the real readelf, its symbols from the program through
// a symbol negotiation that the test plays as GDB. The log is captured at the given level, by default the
// program's own default (everything but debug lines).
//
//     FaultyServer target("freertos_snapshot.elf");
//     KernelSession session(target, "freertos", "ARM_CM4F");
//     session.negotiate();
//     session.passFirstStop();
//     EXPECT_EQ("T05thread:20000a40;", session.stop("T05thread:1;"));
//     EXPECT_TRUE(session.finish());
class KernelSession {
public:
    static constexpr unsigned int kDefaultLogLevel = 7;

    // The options that make every value one read of its own, read at every stop: for tests that place a
    // fault on one particular read, or count them.
    static std::vector<std::string> exactReads() { return {"--read_cache", "false", "--lazy_walk", "false"}; }

    // options: name and value in turn.
    KernelSession(FaultyServer& newTarget, const std::string& driverId, const std::string& variant,
                  const std::string& program, unsigned int logLevel = kDefaultLogLevel,
                  const std::vector<std::string>& options = {})
        : target(newTarget), symbols(testpaths::fixturesDir() + "/" + program) {
        char pattern[] = "/tmp/tarnwick_robust_XXXXXX";
        if (mkdtemp(pattern) == nullptr) {
            ADD_FAILURE() << "no scratch folder";
            return;
        }
        scratch = pattern;
        std::string elf = testpaths::fixturesDir() + "/" + program;
        Logger::getInstance().setLogLevel(0);
        Properties& properties = Properties::getInstance();
        properties.clear();
        properties.addProperty("--file", elf);
        properties.addProperty("--debug_info_cache", scratch + "/program.proxy_cache");
        properties.addProperty("--rtos_variant", variant);
        for (std::size_t i = 0; i + 1 < options.size(); i += 2) {
            properties.addProperty(options[i], options[i + 1]);
        }
        SymbolTable::getInstance().clear();
        if (!SymbolTable::getInstance().init() || !symbols.ok()) {
            ADD_FAILURE() << "cannot prepare " << elf;
            return;
        }
        RtosDriverFactory factory;
        factory.readDatabase(testpaths::sourceDir() + "/drivers/drivers.csv");
        driver.reset(factory.create(driverId));
        if (!driver) {
            ADD_FAILURE() << "no driver " << driverId;
            return;
        }
        Tarnwick& tarnwick = Tarnwick::getInstance();
        tarnwick.RspProxy::init();
        if (!tarnwick.loadDriver(driver.get())) {
            ADD_FAILURE() << "the driver does not start";
            return;
        }
        gdbSide = PeeredEndpoint::make("GDB Client", ROLE_GDB_CLIENT);
        serverSide = PeeredEndpoint::make("GDB Server", ROLE_GDB_SERVER);
        if (!gdbSide.endpoint || !serverSide.endpoint) {
            return;
        }
        serverSide.peer->serve(target.handler());
        testing::internal::CaptureStdout();
        capturing = true;
        Logger::getInstance().setLogLevel(logLevel);
        loop = std::async(std::launch::async, [this] {
            return Tarnwick::getInstance().doProxyWork(gdbSide.endpoint.get(), serverSide.endpoint.get());
        });
    }

    ~KernelSession() {
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
        if (!scratch.empty()) {
            std::filesystem::remove_all(scratch);
        }
    }

    KernelSession(const KernelSession&) = delete;
    KernelSession& operator=(const KernelSession&) = delete;

    bool ready() const { return loop.valid(); }
    FakeRspPeer& gdb() { return *gdbSide.peer; }
    FakeRspPeer& server() { return *serverSide.peer; }

    // The program's address of a symbol; fails the test if there is none.
    std::uint32_t address(const std::string& symbol) const { return symbols.address(symbol); }
    // Where a member lies in the object at base, by the program's own layout.
    static std::uint32_t member(const std::string& structure, std::uint32_t base, const std::string& name) {
        StructInfo layout;
        MemberInfo info;
        EXPECT_TRUE(SymbolTable::resolveDataStructure(structure, base, layout) && layout.lookup(name, info))
            << structure << "." << name;
        return info.getAddress();
    }

    // GDB's side of "qSymbol::": every name the proxy asks for is answered from the program, until the
    // proxy closes with "OK". Afterwards the layouts are resolved.
    void negotiate() { symbols.negotiate(gdb()); }
    const ProgramSymbols& program() const { return symbols; }

    // A server stop reply and what GDB gets in its place.
    std::string stop(const std::string& stopReply) {
        server().sendPacket(stopReply);
        return gdb().nextPayload();
    }
    // The first stop never asks the driver.
    void passFirstStop() { EXPECT_EQ("T05thread:1;", stop("S05")); }
    // GDB's request and the proxy's reply.
    std::string ask(const std::string& request) {
        gdb().sendPacket(request);
        return gdb().nextPayload();
    }
    // "monitor" followed by the words, as GDB sends it; the decoded reply.
    std::string monitor(const std::string& words) {
        std::string reply = ask("qRcmd," + NumberCodec::encodeHex(words));
        return NumberCodec::decodeHex(reply, static_cast<unsigned int>(reply.size()));
    }

    // Ends the session the way GDB leaving does, unless the loop has ended already, and returns the loop's
    // result. The log is complete afterwards.
    bool finish() {
        if (loop.valid()) {
            if (loop.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
                gdb().close();
            }
            result = loop.get();
        }
        if (capturing) {
            captured = testing::internal::GetCapturedStdout();
            capturing = false;
        }
        return result;
    }
    // Waits for the loop to end by itself; false if it still runs.
    bool ended(int timeoutMs = FakeRspPeer::kDefaultTimeoutMs) {
        return loop.valid() &&
               loop.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
    }
    const std::string& log() const { return captured; }

private:
    FaultyServer& target;
    ProgramSymbols symbols;
    std::string scratch;
    std::unique_ptr<IRtosDriver> driver;
    PeeredEndpoint gdbSide;
    PeeredEndpoint serverSide;
    std::future<bool> loop;
    bool capturing = false;
    bool result = false;
    std::string captured;
};

#endif
