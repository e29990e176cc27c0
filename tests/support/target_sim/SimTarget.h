#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMTARGET_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMTARGET_H

#include "target_sim/ElfImage.h"
#include "target_sim/MemoryMap.h"
#include "target_sim/RegisterFile.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace targetsim {

// Memory accesses that overlap [address, address + length) get reply instead of data, like a bus fault.
struct ErrorRange {
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::string reply = "E01";
};

struct SimStats {
    std::uint64_t packets = 0;
    std::uint64_t memoryReads = 0;
    std::uint64_t memoryReadBytes = 0;
};

// The simulated core: memory, registers and breakpoints. Nothing executes: a continue moves pc to the next
// breakpoint, a step moves it over one instruction. Every operation locks, so a test may change the target
// while a session serves it from another thread.
class SimTarget {
public:
    explicit SimTarget(Profile profile = Profile::M);

    // Loads the PT_LOAD segments at their run-time addresses and resets the registers from the image:
    // pc is the entry point, and on M profile sp is the first word of the vector table. False if a segment
    // cannot be mapped (wraps, or is larger than MemoryMap::kMaxRangeSize).
    bool loadElf(const ElfImage& image);
    bool mapRam(std::uint32_t address, std::uint32_t size);
    // Lays raw bytes into memory, mapping what is not mapped yet (kernel snapshots).
    bool loadMemory(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    void addErrorRange(const ErrorRange& range);
    // Serves m and M from source instead of the built-in map; source must outlive the target.
    void useMemorySource(MemorySource& source);

    bool setRegister(const std::string& name, std::uint32_t value);
    std::uint32_t getRegister(std::size_t index) const;

    // The RSP answers, payload in and payload out.
    std::string readMemory(std::uint32_t address, std::uint32_t length);
    std::string writeMemory(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    std::string readRegisters() const;
    std::string writeRegisters(const std::string& hex);
    std::string readRegister(std::uint32_t number) const;
    std::string writeRegister(std::uint32_t number, const std::string& valueHex);
    std::string targetXml() const;

    void insertBreakpoint(std::uint32_t address);
    void removeBreakpoint(std::uint32_t address);
    // Continue: pc goes to the lowest breakpoint above it, or else to the lowest of all, or stays.
    void resume();
    void step();

    void countPacket();
    SimStats getStats() const;
    void resetStats();

private:
    std::uint32_t instructionSize(std::uint32_t address) const;

    mutable std::mutex lock;
    MemoryMap memoryMap;
    MemorySource* memory;
    RegisterFile registers;
    std::vector<ErrorRange> errorRanges;
    std::set<std::uint32_t> breakpoints;
    std::atomic<std::uint64_t> packets{0};
    std::atomic<std::uint64_t> memoryReads{0};
    std::atomic<std::uint64_t> memoryReadBytes{0};
};

} // namespace targetsim

#endif
