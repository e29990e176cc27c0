#ifndef TARNWICK_TESTS_FUZZ_FUZZKERNEL_H
#define TARNWICK_TESTS_FUZZ_FUZZKERNEL_H

#include "FuzzMemory.h"
#include "rsp/RspClient.h"
#include "target_sim/SimConfig.h"
#include "target_sim/SimTarget.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// One of our kernel-shaped fixture programs as a driver meets it after a symbol negotiation, with its RAM
// replaced by the fuzz input: layouts from the program's real debug information (the real readelf),
// symbols from its symbol table (the real nm), memory served by the target simulator over a socket pair,
// in process, so that each walk is a series of real RSP exchanges on the "GDB Server" endpoint.
//
//     static FuzzKernel kernel("freertos_snapshot.elf", symbols, structures);
//     kernel.serve(data, size);
//     driver.getThreads(kernel.server(), threads);
class FuzzKernel {
public:
    static constexpr std::uint32_t kRamBase = 0x20000000;
    // Reads one input may cost, and bytes one reply may carry (its text must fit the 20,480-byte buffer).
    static constexpr unsigned kReadBudget = 4000;
    static constexpr std::uint32_t kLongestReply = 4096;

    // Ends the process with a message if the program cannot be set up: the fuzzer cannot run without it.
    FuzzKernel(const std::string& program, const std::vector<std::string>& symbols,
               const std::vector<std::string>& structures);
    ~FuzzKernel();
    FuzzKernel(const FuzzKernel&) = delete;
    FuzzKernel& operator=(const FuzzKernel&) = delete;

    // The RAM of the next walk; a connection left unclean by the last walk is made anew.
    void serve(const std::uint8_t* data, std::size_t size);
    RspClient& server() { return *endpoint; }
    // The program's address of the symbol; 0 if it has none.
    std::uint32_t symbolAddress(const std::string& name) const;
    // Reads answered for the current input.
    unsigned reads() const { return memory.served(); }
    // The program's RAM as built: its kernel as the snapshot holds it.
    const std::vector<std::uint8_t>& builtRam() const { return ram; }

private:
    void setUp(const std::string& elf, const std::vector<std::string>& symbols,
               const std::vector<std::string>& structures);
    void readSymbols(const std::string& elf);
    void connect();
    void disconnect();
    bool clean();

    std::string scratch;
    std::map<std::string, std::uint32_t> programSymbols;
    std::vector<std::uint8_t> ram;
    FuzzMemory memory;
    targetsim::SimTarget target;
    targetsim::SimConfig config;
    std::atomic<bool> stopSession{false};
    int sessionSocket = -1;
    std::thread session;
    std::unique_ptr<RspClient> endpoint;
};

#endif
