#ifndef TARNWICK_TESTS_BENCH_BENCHLINK_H
#define TARNWICK_TESTS_BENCH_BENCHLINK_H

#include <string>
#include <vector>

// The benchmarks' stand-in for GDB: a blocking TCP connection that sends one RSP frame per write, with
// TCP_NODELAY as GDB sets it, and takes the next frame's payload as the reply. In acknowledgement mode it
// also acknowledges every frame it receives, with a write of its own, as GDB does.
class BenchLink {
public:
    BenchLink() = default;
    ~BenchLink();
    BenchLink(const BenchLink&) = delete;
    BenchLink& operator=(const BenchLink&) = delete;

    // Tries until timeoutMs has passed: the peer may not listen yet.
    bool connect(unsigned short port, int timeoutMs);
    void close();
    bool send(const std::string& payload);
    bool sendRaw(const std::string& bytes);
    // The payload of the next frame; '+' and '-' in front of it are skipped. False on close or time-out.
    bool receive(std::string& payload);
    bool exchange(const std::string& request, std::string& reply);
    // QStartNoAckMode, as GDB starts it: the OK still gets a '+'.
    bool startNoAckMode();
    void setAcknowledging(bool acknowledging) { ackMode = acknowledging; }

private:
    bool fill();

    int socket = -1;
    bool ackMode = false;
    std::string frame;
    std::vector<char> buffer = std::vector<char>(1 << 16);
    std::size_t start = 0;
    std::size_t end = 0;
};

#endif
