#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMSERVER_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMSERVER_H

#include "target_sim/SimConfig.h"
#include "target_sim/SimTarget.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace targetsim {

// Listens on 127.0.0.1 and serves one GDB connection at a time from a SimTarget.
//
//     targetsim::SimTarget target;
//     target.loadMemory(0x20000000, snapshot);
//     targetsim::SimServer server(target, config);
//     server.start(error);                 // listening, served on a thread
//     connect to 127.0.0.1:server.getPort() ... target.getStats().memoryReads ...
//     server.stop();                       // or let the destructor do it
class SimServer {
public:
    SimServer(SimTarget& newTarget, const SimConfig& newConfig);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Binds and listens; false with a reason in error.
    bool listen(std::string& error);
    // The bound port, known after listen.
    std::uint16_t getPort() const { return port; }
    // Accepts and serves connections until stop(), or after the first one with config.once.
    void serve();
    // listen() and serve() on a thread of its own.
    bool start(std::string& error);
    // Ends serve() within a tenth of a second, also in the middle of a session, and joins the thread.
    void stop();
    unsigned getConnections() const { return connections; }

private:
    SimTarget& target;
    SimConfig config;
    int listener = -1;
    std::uint16_t port = 0;
    std::atomic<bool> stopRequested{false};
    std::atomic<unsigned> connections{0};
    std::thread worker;
};

} // namespace targetsim

#endif
