#ifndef TARNWICK_TESTS_SUPPORT_THREADXTESTKERNEL_H
#define TARNWICK_TESTS_SUPPORT_THREADXTESTKERNEL_H

#include "KernelTarget.h"
#include "rtos/threadx/ThreadxRtosDriver.h"

#include <cstdint>
#include <map>
#include <string>

// One of our ThreadX-shaped fixture programs as the driver meets it after a symbol negotiation: the
// symbols the driver asks for that the program defines, and the structures it asks for, resolved from the
// program's real debug information.
//
//     ThreadxTestKernel kernel("threadx_state.elf");
//     ASSERT_TRUE(kernel.ok());
//     kernel.driver().getThreads(kernel.server(), list);
//     EXPECT_EQ(54u, kernel.reads());
class ThreadxTestKernel {
public:
    explicit ThreadxTestKernel(const std::string& program,
                               targetsim::Profile profile = targetsim::Profile::M);

    bool ok() const { return target.ok(); }
    ThreadxRtosDriver& driver() { return threadx; }
    RspClient& server() { return target.server(); }
    KernelTarget& kernel() { return target; }

    // The address of a symbol of the program; fails the test if there is none.
    std::uint32_t address(const std::string& symbol) const;
    // Where member lies in the object at object, by the program's own layout of structure as GDB reads it;
    // fails the test if the layout has no such member.
    std::uint32_t memberAddress(std::uint32_t object, const std::string& structure,
                                const std::string& member) const;
    // Lays a little-endian word into the target's memory, as the kernel would have written it.
    void writeWord(std::uint32_t address, std::uint32_t value);
    // Reads of any byte in [address, address + length) answer "E01" from now on.
    void failReads(std::uint32_t address, std::uint32_t length);

    // m packets served since the last reset.
    unsigned reads() const { return target.memoryReads(); }
    void resetReads() { target.resetReads(); }

private:
    // Member name to offset in structure, as GDB prints it with ptype/o.
    std::map<std::string, std::uint32_t> gdbLayout(const std::string& structure) const;

    KernelTarget target;
    ThreadxRtosDriver threadx;
    std::string elf;
    mutable std::map<std::string, std::map<std::string, std::uint32_t>> layouts;
};

#endif
