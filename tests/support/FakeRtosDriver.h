#ifndef TARNWICK_TESTS_SUPPORT_FAKERTOSDRIVER_H
#define TARNWICK_TESTS_SUPPORT_FAKERTOSDRIVER_H

#include "rtos/IRtosDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/RtosInfo.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// A kernel driver whose answers the test writes down, standing where FreeRTOS or ThreadX would.
//
// The script (the public fields) is set before the proxy runs, or while it waits for a packet; the record
// of calls may be read at any time. A call that has reads scripted for it first reads those words
// through the server endpoint, one "m" exchange each, as a real driver does, and fails if one fails.
//
//     FakeRtosDriver driver("FreeRTOS");
//     driver.threads = {TargetThread(0x20000810, 0x20000700, false, "Tmr Svc")};
//     driver.reads[FakeRtosDriver::kCallCheckKernelRunning] = {0x20000104};
//     ... the proxy runs ...
//     EXPECT_EQ((std::vector<std::string>{"checkKernelRunning", "getThreads"}), driver.calls());
class FakeRtosDriver : public IRtosDriver {
public:
    // Names of the calls, as they appear in the record.
    static constexpr const char* kCallInit = "init";
    static constexpr const char* kCallInitServer = "init(server)";
    static constexpr const char* kCallGetSymbols = "getSymbols";
    static constexpr const char* kCallGetDataStructures = "getDataStructures";
    static constexpr const char* kCallGetInfo = "getInfo";
    static constexpr const char* kCallCheckKernelRunning = "checkKernelRunning";
    static constexpr const char* kCallGetThreads = "getThreads";
    static constexpr const char* kCallGetRegisters = "getRegisters";
    static constexpr const char* kCallRunCommand = "runCommand";
    static constexpr const char* kCallDispose = "dispose";

    explicit FakeRtosDriver(const std::string& name = "Fake RTOS", const std::string& id = "fake");

    bool init() override;
    RtosDriverInfo& getDriverInfo() override { return info; }
    bool init(RspClient& server) override;
    void getSymbols(std::vector<std::string>& names) override;
    void getDataStructures(std::vector<std::string>& names) override;
    RtosInfo* getInfo() override;
    bool checkKernelRunning(RspClient& server, bool& running) override;
    // Adds the scripted threads; with threadsResult false it adds them all the same, as a driver that
    // fails half-way leaves what it read.
    bool getThreads(RspClient& server, ThreadList& list) override;
    // The scripted registers of the thread's id, with their frame slots; an id without an entry gives an
    // empty list.
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& out) override;
    bool runCommand(RspClient& server, const std::vector<std::string>& commandLine,
                    KernelInfoNode& out) override;
    void dispose() override;

    // The script.
    RtosDriverInfo info;
    bool initResult = true;
    bool initServerResult = true;
    std::vector<std::string> symbols;
    std::vector<std::string> structures;
    // Null from getInfo() when unset.
    std::optional<RtosInfo> catalogue;
    bool checkResult = true;
    bool kernelRunning = true;
    bool threadsResult = true;
    std::vector<TargetThread> threads;
    bool registersResult = true;
    std::map<unsigned int, RegisterList> registers;
    bool commandResult = true;
    KernelInfoNode commandOutput;
    // Addresses of 4-byte words each call reads from the target before it answers, by call name.
    std::map<std::string, std::vector<unsigned int>> reads;

    // The record: the names of the calls in order.
    std::vector<std::string> calls() const;
    // The words of every runCommand call, in order.
    std::vector<std::vector<std::string>> commandWords() const;
    // The ids of the threads whose registers were asked for, in order.
    std::vector<unsigned int> registerRequests() const;
    // The endpoints handed to the calls that take one, in order.
    std::vector<RspClient*> endpoints() const;
    void clearRecord();

private:
    // Records the call and makes its scripted reads; false if a read failed.
    bool enter(const char* call, RspClient* server);

    mutable std::mutex lock;
    std::vector<std::string> record;
    std::vector<std::vector<std::string>> commandLines;
    std::vector<unsigned int> registerIds;
    std::vector<RspClient*> servers;
};

#endif
