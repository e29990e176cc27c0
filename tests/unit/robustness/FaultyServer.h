#ifndef TARNWICK_TESTS_UNIT_ROBUSTNESS_FAULTYSERVER_H
#define TARNWICK_TESTS_UNIT_ROBUSTNESS_FAULTYSERVER_H

#include "FakeRspPeer.h"
#include "TestPaths.h"
#include "target_sim/ElfImage.h"
#include "target_sim/SimConfig.h"
#include "target_sim/SimSession.h"
#include "target_sim/SimTarget.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// A GDB server that serves one of our fixture programs with the target simulator's answers, and misbehaves
// on the memory reads a test names: an error, a short reply, a reply after the proxy's time limit, no reply
// at all, a frame larger than the proxy's buffer, or the end of the connection. It answers from the thread
// of the fake peer that plays the server:
//
//     FaultyServer target("freertos_snapshot.elf");
//     target.inject({address, 4, FaultyServer::Fault::Late});
//     serverPeer.serve(target.handler());
class FaultyServer {
public:
    enum class Fault { Error, Short, Late, Silent, Oversize, Close };
    struct Rule {
        std::uint32_t address = 0;
        std::uint32_t length = 0;
        Fault fault = Fault::Error;
        // How many of the matching reads get the fault; 0: all of them.
        unsigned times = 1;
    };

    // Past the proxy's limit of 1000 ms for a reply, by a margin that a loaded machine's scheduling delays
    // do not use up (400 ms did, now and then, at a load of 15 on two cores).
    static constexpr int kLateMs = 2000;
    // More than the 20,480 bytes of the proxy's receive buffer.
    static constexpr std::size_t kOversize = 30000;

    // The RAM and flash of the part are readable as on the chip, not only what the program fills.
    explicit FaultyServer(const std::string& program) : session(-1, target, config, stopping) {
        targetsim::ElfImage image;
        std::string error;
        EXPECT_TRUE(image.load(testpaths::fixturesDir() + "/" + program, error)) << error;
        EXPECT_TRUE(target.loadElf(image));
        target.mapRam(0x00000000, 0x100000);
        target.mapRam(0x20000000, 0x40000);
    }

    targetsim::SimTarget& sim() { return target; }

    void inject(const Rule& rule) {
        std::lock_guard<std::mutex> guard(lock);
        rules.push_back(rule);
    }

    // From now on only so many more memory reads are answered; later ones get "E01", as from a server
    // whose probe has lost the target.
    void answerOnly(unsigned answered) {
        std::lock_guard<std::mutex> guard(lock);
        readBudget = answered;
    }

    // Lays a little-endian word into the target's memory, as the kernel would have written it.
    void writeWord(std::uint32_t address, std::uint32_t value) {
        std::vector<std::uint8_t> bytes;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        EXPECT_TRUE(target.loadMemory(address, bytes));
    }
    void writeBytes(std::uint32_t address, const std::string& text) {
        EXPECT_TRUE(target.loadMemory(address, std::vector<std::uint8_t>(text.begin(), text.end())));
    }

    // The Close fault cannot end the connection from the peer's own thread; it asks the test to, and the
    // test waits for that request and closes the server peer.
    bool waitCloseRequest(int timeoutMs = FakeRspPeer::kDefaultTimeoutMs) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                                [this] { return closeRequested; });
    }

    // Memory reads asked for, faulty ones included.
    unsigned memoryReads() const { return reads; }
    // Memory reads that got a fault.
    unsigned faultsGiven() const { return faults; }

    FakeRspPeer::Handler handler() {
        return [this](const std::string& request) -> std::optional<std::string> { return answer(request); };
    }

    // The reply the simulator gives to a payload, as a fault-free server would.
    std::string plainAnswer(const std::string& request) {
        std::lock_guard<std::mutex> guard(sessionLock);
        return session.answer(request).reply;
    }

private:
    std::optional<std::string> answer(const std::string& request) {
        std::uint32_t address = 0;
        std::uint32_t length = 0;
        if (!parseRead(request, address, length)) {
            return plainAnswer(request);
        }
        ++reads;
        Rule rule;
        if (!takeRule(address, length, rule)) {
            std::lock_guard<std::mutex> guard(lock);
            if (readBudget == 0) {
                return std::string("E01");
            }
            --readBudget;
        } else {
            ++faults;
            return faulty(rule.fault, request);
        }
        return plainAnswer(request);
    }

    std::optional<std::string> faulty(Fault fault, const std::string& request) {
        switch (fault) {
        case Fault::Error:
            return std::string("E01");
        case Fault::Short: {
            std::string full = plainAnswer(request);
            return full.substr(0, full.size() / 2 / 2 * 2);
        }
        case Fault::Late:
            std::this_thread::sleep_for(std::chrono::milliseconds(kLateMs));
            return plainAnswer(request);
        case Fault::Silent:
            return std::nullopt;
        case Fault::Oversize:
            return std::string(kOversize, 'a');
        case Fault::Close: {
            std::lock_guard<std::mutex> guard(lock);
            closeRequested = true;
            changed.notify_all();
            return std::nullopt;
        }
        }
        return std::nullopt;
    }

    static bool parseRead(const std::string& request, std::uint32_t& address, std::uint32_t& length) {
        if (request.empty() || request[0] != 'm') {
            return false;
        }
        unsigned int first = 0;
        unsigned int second = 0;
        char end = 0;
        if (std::sscanf(request.c_str() + 1, "%x,%x%c", &first, &second, &end) != 2) {
            return false;
        }
        address = first;
        length = second;
        return true;
    }

    bool takeRule(std::uint32_t address, std::uint32_t length, Rule& taken) {
        std::lock_guard<std::mutex> guard(lock);
        for (Rule& rule : rules) {
            std::uint64_t end = static_cast<std::uint64_t>(rule.address) + rule.length;
            bool overlaps = address<end&& static_cast<std::uint64_t>(address) + length> rule.address;
            if (overlaps && rule.times != kSpent) {
                taken = rule;
                rule.times = rule.times == 1 ? kSpent : (rule.times == 0 ? 0 : rule.times - 1);
                return true;
            }
        }
        return false;
    }

    static constexpr unsigned kSpent = ~0u;

    targetsim::SimTarget target;
    targetsim::SimConfig config;
    std::atomic<bool> stopping{false};
    std::mutex sessionLock;
    targetsim::SimSession session;
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Rule> rules;
    unsigned readBudget = ~0u;
    bool closeRequested = false;
    std::atomic<unsigned> reads{0};
    std::atomic<unsigned> faults{0};
};

#endif
