#ifndef TARNWICK_TESTS_FUZZ_FUZZDRIVERWALK_H
#define TARNWICK_TESTS_FUZZ_FUZZDRIVERWALK_H

#include "FuzzKernel.h"
#include "rtos/IRtosDriver.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/KernelInfoNode.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class TargetThread;

// What the walk fuzzers of both kernels do with a driver over fuzzed RAM: the program served as the
// driver's symbol negotiation would leave it, every thread's frame read through the driver's port and,
// for the first few threads, through every port of the kernel, and the "state" tree rendered.
class FuzzDriverWalk {
public:
    // Threads whose frames are read through every port, besides the driver's own port for all of them.
    static constexpr std::size_t kThreadsThroughAllPorts = 4;

    // The driver's own symbols and structures make the kernel; variant is its "--rtos_variant".
    FuzzDriverWalk(IRtosDriver& newDriver, const std::string& program, const std::string& variant,
                   std::vector<std::unique_ptr<IRtosPortDriver>> newPorts);

    FuzzKernel& getKernel() { return *kernel; }
    // checkKernelRunning, getThreads and every thread's registers; prepare may give a thread what the
    // ports look for before they read.
    void walkThreads(const std::function<void(TargetThread&)>& prepare);
    // runCommand "state" and its three forms.
    void runState();
    static void render(KernelInfoNode& node);

private:
    IRtosDriver& driver;
    std::unique_ptr<FuzzKernel> kernel;
    std::vector<std::unique_ptr<IRtosPortDriver>> ports;
};

#endif
