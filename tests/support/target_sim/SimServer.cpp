#include "target_sim/SimServer.h"

#include "target_sim/SimSession.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace targetsim {

namespace {
const int kPollMs = 100;

void printStats(const SimStats& stats) {
    std::printf("target_sim: packets %llu, m packets %llu, m bytes %llu\n",
                static_cast<unsigned long long>(stats.packets),
                static_cast<unsigned long long>(stats.memoryReads),
                static_cast<unsigned long long>(stats.memoryReadBytes));
    std::fflush(stdout);
}
} // namespace

SimServer::SimServer(SimTarget& newTarget, const SimConfig& newConfig)
    : target(newTarget), config(newConfig) {}

SimServer::~SimServer() {
    stop();
    if (listener >= 0)
        ::close(listener);
}

bool SimServer::listen(std::string& error) {
    listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    int one = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(config.port);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener, 1) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        error = "port " + std::to_string(config.port) + ": " + std::strerror(errno);
        ::close(listener);
        listener = -1;
        return false;
    }
    port = ntohs(address.sin_port);
    return true;
}

void SimServer::serve() {
    while (!stopRequested) {
        pollfd entry{listener, POLLIN, 0};
        if (::poll(&entry, 1, kPollMs) <= 0)
            continue;
        int peer = ::accept(listener, nullptr, nullptr);
        if (peer < 0)
            continue;
        int one = 1;
        ::setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        connections++;
        SimSession session(peer, target, config, stopRequested);
        session.run();
        ::close(peer);
        if (config.printStats)
            printStats(target.getStats());
        if (config.once)
            return;
    }
}

bool SimServer::start(std::string& error) {
    if (!listen(error))
        return false;
    worker = std::thread([this] { serve(); });
    return true;
}

void SimServer::stop() {
    stopRequested = true;
    if (worker.joinable())
        worker.join();
}

} // namespace targetsim
