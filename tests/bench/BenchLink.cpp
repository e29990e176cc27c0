#include "BenchLink.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

// Long enough for a walk of 500 tasks at a millisecond per read.
const int kReceiveTimeoutSeconds = 30;
const int kRetryMs = 20;

unsigned char checksum(const std::string& payload) {
    unsigned int sum = 0;
    for (char byte : payload) {
        sum += static_cast<unsigned char>(byte);
    }
    return static_cast<unsigned char>(sum);
}

} // namespace

BenchLink::~BenchLink() {
    close();
}

bool BenchLink::connect(unsigned short port, int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        close();
        socket = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (socket >= 0 && ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            close();
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs));
    }
    int one = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    timeval timeout{};
    timeout.tv_sec = kReceiveTimeoutSeconds;
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    start = end = 0;
    return true;
}

void BenchLink::close() {
    if (socket >= 0) {
        ::close(socket);
        socket = -1;
    }
}

bool BenchLink::send(const std::string& payload) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", checksum(payload));
    frame.assign(1, '$');
    frame += payload;
    frame += '#';
    frame.append(digits, 2);
    return sendRaw(frame);
}

bool BenchLink::sendRaw(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t sent = ::send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(sent);
    }
    return true;
}

bool BenchLink::fill() {
    if (start > 0) {
        std::memmove(buffer.data(), buffer.data() + start, end - start);
        end -= start;
        start = 0;
    }
    if (end == buffer.size()) {
        buffer.resize(buffer.size() * 2);
    }
    ssize_t got = ::recv(socket, buffer.data() + end, buffer.size() - end, 0);
    if (got <= 0) {
        return false;
    }
    end += static_cast<std::size_t>(got);
    return true;
}

bool BenchLink::receive(std::string& payload) {
    for (;;) {
        while (start < end && buffer[start] != '$') {
            ++start;
        }
        if (start < end) {
            const char* first = buffer.data() + start;
            const void* hash = std::memchr(first, '#', end - start);
            if (hash != nullptr) {
                std::size_t hashAt = static_cast<std::size_t>(static_cast<const char*>(hash) - buffer.data());
                if (hashAt + 2 < end) {
                    payload.assign(first + 1, hashAt - start - 1);
                    start = hashAt + 3;
                    return !ackMode || sendRaw("+");
                }
            }
        }
        if (!fill()) {
            return false;
        }
    }
}

bool BenchLink::exchange(const std::string& request, std::string& reply) {
    return send(request) && receive(reply);
}

bool BenchLink::startNoAckMode() {
    std::string reply;
    bool acknowledging = ackMode;
    ackMode = true;
    bool started = exchange("QStartNoAckMode", reply) && reply == "OK";
    ackMode = acknowledging && !started;
    return started;
}
