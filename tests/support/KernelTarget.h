#ifndef TARNWICK_TESTS_SUPPORT_KERNELTARGET_H
#define TARNWICK_TESTS_SUPPORT_KERNELTARGET_H

#include "rsp/RspClient.h"
#include "target_sim/SimServer.h"
#include "target_sim/SimTarget.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// One of our kernel-shaped fixture programs as a driver meets it after a symbol negotiation: served by an
// in-process target simulator over a real socket, its debug-info cache made by the real readelf, and the
// program's symbols at hand for the SymbolTable.
//
//     KernelTarget kernel("freertos_cm3.elf");
//     ASSERT_TRUE(kernel.ok());
//     kernel.addSymbols(names);                // what GDB would answer for these names
//     kernel.resolveStructures(structures);
//     driver.getThreads(kernel.server(), list);
//     EXPECT_EQ(expectedReads, kernel.memoryReads());
class KernelTarget {
public:
    // Loads <fixtures>/<program> and resets Properties and SymbolTable; fails the test if anything cannot
    // be set up, and ok() then stays false.
    explicit KernelTarget(const std::string& program, targetsim::Profile profile = targetsim::Profile::M);
    ~KernelTarget();
    KernelTarget(const KernelTarget&) = delete;
    KernelTarget& operator=(const KernelTarget&) = delete;

    bool ok() const { return ready; }
    // Stores each name the program defines in the SymbolTable, with its address as GDB sends it.
    void addSymbols(const std::vector<std::string>& names);
    bool resolveStructures(const std::vector<std::string>& names);
    // The address of a symbol of the program; 0 if it has none of that name.
    std::uint32_t symbolAddress(const std::string& name) const;

    // The proxy's "GDB Server" endpoint, connected to the simulator in no-acknowledgement mode.
    RspClient& server() { return *endpoint; }
    targetsim::SimTarget& target() { return simTarget; }
    // m packets served since the last reset.
    unsigned memoryReads() const;
    void resetReads();

private:
    bool setUp(const std::string& elf);
    bool readSymbols(const std::string& elf);
    bool connect();

    std::string scratch;
    std::map<std::string, std::uint32_t> symbols;
    targetsim::SimTarget simTarget;
    std::unique_ptr<targetsim::SimServer> simServer;
    std::unique_ptr<RspClient> endpoint;
    bool ready = false;
};

#endif
