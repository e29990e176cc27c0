#ifndef TARNWICK_TESTS_UNIT_ROBUSTNESS_KERNELSESSION_H
#define TARNWICK_TESTS_UNIT_ROBUSTNESS_KERNELSESSION_H

#include "FaultyServer.h"
#include "ProgramSymbols.h"
#include "ProxyRig.h"
#include "TestPaths.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverFactory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// The proxy rig with a real kernel driver and a FaultyServer that serves one of our kernel-shaped fixture
// programs. The driver's layouts come from the program's dump by the real readelf, its symbols from the
// program through a symbol negotiation that the test plays as GDB. The log is captured at the given level,
// by default the program's own default (everything but debug lines).
//
//     FaultyServer target("freertos_snapshot.elf");
//     KernelSession session(target, "freertos", "ARM_CM4F", "freertos_snapshot.elf");
//     session.negotiate();
//     session.passFirstStop();
//     EXPECT_EQ("T05thread:20000a40;", session.stop("T05thread:1;"));
//     EXPECT_TRUE(session.finish());
class KernelSession : public ProxyRig {
public:
    static constexpr unsigned int kDefaultLogLevel = 7;

    // The options that make every value one read of its own, read at every stop: for tests that place a
    // fault on one particular read, or count them.
    static std::vector<std::string> exactReads() { return {"--read_cache", "false", "--lazy_walk", "false"}; }

    // options: name and value in turn.
    KernelSession(FaultyServer& target, const std::string& driverId, const std::string& variant,
                  const std::string& program, unsigned int logLevel = kDefaultLogLevel,
                  const std::vector<std::string>& options = {})
        : ProxyRig(options), symbols(testpaths::fixturesDir() + "/" + program) {
        if (prepare(driverId, variant, program)) {
            run(logLevel, target.handler());
        }
    }

    ~KernelSession() override {
        finish();
        if (!scratch.empty()) {
            std::filesystem::remove_all(scratch);
        }
    }

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
    // Ready, the symbols negotiated and the first stop passed: the next stop walks the kernel. False if the
    // session did not start.
    bool startAtKernel() {
        if (!ready()) {
            return false;
        }
        negotiate();
        passFirstStop();
        return true;
    }
    const ProgramSymbols& program() const { return symbols; }

private:
    // The program's dump in a scratch folder, the driver made by the factory and loaded.
    bool prepare(const std::string& driverId, const std::string& variant, const std::string& program) {
        char pattern[] = "/tmp/tarnwick_robust_XXXXXX";
        if (mkdtemp(pattern) == nullptr) {
            ADD_FAILURE() << "no scratch folder";
            return false;
        }
        scratch = pattern;
        std::string elf = testpaths::fixturesDir() + "/" + program;
        Properties& properties = Properties::getInstance();
        properties.addProperty("--file", elf);
        properties.addProperty("--debug_info_cache", scratch + "/program.proxy_cache");
        properties.addProperty("--rtos_variant", variant);
        if (!SymbolTable::getInstance().init() || !symbols.ok()) {
            ADD_FAILURE() << "cannot prepare " << elf;
            return false;
        }
        RtosDriverFactory factory;
        factory.readDatabase(testpaths::sourceDir() + "/drivers/drivers.csv");
        driver.reset(factory.create(driverId));
        if (!driver) {
            ADD_FAILURE() << "no driver " << driverId;
            return false;
        }
        if (!load(*driver)) {
            ADD_FAILURE() << "the driver does not start";
            return false;
        }
        return true;
    }

    ProgramSymbols symbols;
    std::string scratch;
    std::unique_ptr<IRtosDriver> driver;
};

#endif
