#ifndef TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H
#define TARNWICK_RTOS_THREADX_THREADXRTOSDRIVER_H

#include "rtos/AbstractRtosDriver.h"
#include "rtos/IRtosPortDriver.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class StructInfo;

// Access to a ThreadX kernel on the target. Keeps nothing of the target between calls: every call reads
// it again.
class ThreadxRtosDriver : public AbstractRtosDriver {
public:
    // The kernel links an object before it counts it and uncounts it before it unlinks it: a core stopped
    // in between shows one more than counted. The margin allows for that on several cores at once.
    static constexpr unsigned int kCountMargin = 4;

    // The most links a ring may take whose kernel count was read as count: the count and the margin, or
    // the hard cap of ListWalkBound when the count could not be read.
    static std::uint64_t ringLimit(bool counted, unsigned int count);

    explicit ThreadxRtosDriver(const RtosDriverInfo& newInfo);
    ~ThreadxRtosDriver() override;

    // The port of "--rtos_variant", if set; false if no port has that name.
    bool init() override;
    // Without "--rtos_variant", the port of the core the target reports; false if there is none.
    bool init(RspClient& server) override;
    void getSymbols(std::vector<std::string>& symbols) override;
    void getDataStructures(std::vector<std::string>& structures) override;
    RtosInfo* getInfo() override;
    bool checkKernelRunning(RspClient& server, bool& running) override;
    // All or nothing: on false the list is empty.
    bool getActiveThread(RspClient& server, TargetThread& thread) override;
    bool getThreads(RspClient& server, ThreadList& threads) override;
    // False until a port is chosen.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    // "state" and nothing else.
    bool runCommand(RspClient& server, const std::vector<std::string>& words, KernelInfoNode& out) override;
    void dispose() override;

    // The thread on the core; 0 when none runs.
    bool findActiveThreadId(RspClient& server, unsigned int& id);
    // Bytes from address on that still hold the kernel's stack fill 0xef.
    bool getFreeStack(RspClient& server, unsigned int address, unsigned int size, unsigned int& free);
    // The name that member of object points at, read as a kernel object name (20 bytes).
    bool readObjectName(RspClient& server, StructInfo& object, const std::string& member, std::string& name);

    // One "Thread" child of out per created thread; without detail only what a GDB thread needs.
    bool readThreads(RspClient& server, bool detail, KernelInfoNode& out);
    bool infoNodeToThread(KernelInfoNode& node, TargetThread& thread);
    // One child of out per thread: its name as label, its stack use as value.
    bool collectStackUsage(KernelInfoNode& threads, KernelInfoNode& out);
    // Names of the threads on the suspension list that starts at first, at most limit of them (ringLimit
    // of the object's suspended count).
    bool resolveSuspensionList(RspClient& server, unsigned int first, std::uint64_t limit,
                               std::vector<std::string>& names);

    // One node per created object of a kind; false if the list cannot be walked to its end.
    bool collectSemaphores(RspClient& server, KernelInfoNode& out);
    bool collectMutexes(RspClient& server, KernelInfoNode& out);
    bool collectTimers(RspClient& server, KernelInfoNode& out);
    bool collectQueues(RspClient& server, KernelInfoNode& out);
    bool collectEventFlags(RspClient& server, KernelInfoNode& out);
    bool collectBlockPools(RspClient& server, KernelInfoNode& out);
    bool collectBytePools(RspClient& server, KernelInfoNode& out);

    // The port in use; null until one is chosen.
    IRtosPortDriver* getPort() const { return port.get(); }

private:
    bool readThread(RspClient& server, bool detail, unsigned int address, unsigned int activeId,
                    StructInfo& thread, KernelInfoNode& node);
    void readThreadDetail(RspClient& server, StructInfo& thread, KernelInfoNode& node);

    std::unique_ptr<IRtosPortDriver> port;
};

#endif
