#include "FakeRspPeer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const int kPollMs = 20;

std::chrono::steady_clock::time_point deadlineAfter(int timeoutMs) {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
}

sockaddr_in loopback(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

} // namespace

std::unique_ptr<FakeRspPeer> FakeRspPeer::listen() {
    std::unique_ptr<FakeRspPeer> peer(new FakeRspPeer());
    peer->listenSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof(address);
    if (peer->listenSocket < 0 ||
        bind(peer->listenSocket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(peer->listenSocket, 1) != 0 ||
        getsockname(peer->listenSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ADD_FAILURE() << "FakeRspPeer cannot listen: errno " << errno;
        return nullptr;
    }
    peer->listenPort = ntohs(address.sin_port);
    peer->start();
    return peer;
}

std::unique_ptr<FakeRspPeer> FakeRspPeer::connect(unsigned short port, int timeoutMs) {
    auto deadline = deadlineAfter(timeoutMs);
    for (;;) {
        int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = loopback(port);
        if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
            std::unique_ptr<FakeRspPeer> peer(new FakeRspPeer());
            peer->socket = descriptor;
            peer->connected = true;
            peer->start();
            return peer;
        }
        ::close(descriptor);
        if (std::chrono::steady_clock::now() >= deadline) {
            return nullptr;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
    }
}

FakeRspPeer::~FakeRspPeer() {
    close();
}

void FakeRspPeer::start() {
    worker = std::thread([this] { work(); });
}

bool FakeRspPeer::acceptConnection() {
    pollfd listener{listenSocket, POLLIN, 0};
    while (!stopping) {
        if (poll(&listener, 1, kPollMs) > 0) {
            int descriptor = accept4(listenSocket, nullptr, nullptr, SOCK_CLOEXEC);
            if (descriptor < 0) {
                continue;
            }
            std::lock_guard<std::mutex> guard(lock);
            socket = descriptor;
            connected = true;
            changed.notify_all();
            return true;
        }
    }
    return false;
}

void FakeRspPeer::work() {
    if (socket < 0 && !acceptConnection()) {
        return;
    }
    char chunk[4096];
    pollfd connection{socket, POLLIN, 0};
    while (!stopping) {
        if (poll(&connection, 1, kPollMs) <= 0) {
            continue;
        }
        ssize_t count = recv(socket, chunk, sizeof(chunk), 0);
        if (count <= 0) {
            std::lock_guard<std::mutex> guard(lock);
            peerClosed = true;
            changed.notify_all();
            return;
        }
        std::vector<rspframe::Message> messages;
        {
            std::lock_guard<std::mutex> guard(lock);
            receivedStream.append(chunk, static_cast<std::size_t>(count));
            unframer.feed(chunk, static_cast<std::size_t>(count));
            messages = unframer.take();
            for (const rspframe::Message& message : messages) {
                received.push_back(message.raw);
            }
            changed.notify_all();
        }
        for (const rspframe::Message& message : messages) {
            deliver(message);
        }
    }
}

void FakeRspPeer::deliver(const rspframe::Message& message) {
    std::unique_lock<std::mutex> guard(lock);
    if (!serving || message.kind != rspframe::Message::Packet) {
        inbox.push_back(message);
        changed.notify_all();
        return;
    }
    std::optional<std::string> reply;
    auto overridden = overrides.find(message.payload);
    if (overridden != overrides.end()) {
        reply = overridden->second;
        overrides.erase(overridden);
    } else {
        Handler answer = handler;
        guard.unlock();
        reply = answer(message.payload);
        guard.lock();
    }
    bool acknowledgeFirst = acknowledging;
    guard.unlock();
    if (acknowledgeFirst) {
        writeAll("+");
    }
    if (reply) {
        writeAll(rspframe::frame(*reply));
    }
}

bool FakeRspPeer::waitConnected(int timeoutMs) {
    std::unique_lock<std::mutex> guard(lock);
    return changed.wait_until(guard, deadlineAfter(timeoutMs), [this] { return connected; });
}

bool FakeRspPeer::sendRaw(const std::string& bytes) {
    if (!waitConnected()) {
        ADD_FAILURE() << "FakeRspPeer has no connection to send on";
        return false;
    }
    return writeAll(bytes);
}

bool FakeRspPeer::writeAll(const std::string& bytes) {
    std::lock_guard<std::mutex> writing(writeLock);
    {
        std::lock_guard<std::mutex> guard(lock);
        sent.push_back(bytes);
    }
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t count = send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<rspframe::Message> FakeRspPeer::waitMessage(int timeoutMs) {
    std::unique_lock<std::mutex> guard(lock);
    if (!changed.wait_until(guard, deadlineAfter(timeoutMs), [this] { return !inbox.empty(); })) {
        return std::nullopt;
    }
    rspframe::Message message = inbox.front();
    inbox.pop_front();
    return message;
}

std::string FakeRspPeer::nextRaw(int timeoutMs) {
    std::optional<rspframe::Message> message = waitMessage(timeoutMs);
    if (!message) {
        ADD_FAILURE() << "no message within " << timeoutMs << " ms";
        return "<timeout>";
    }
    return message->raw;
}

std::string FakeRspPeer::nextPayload(int timeoutMs) {
    std::optional<rspframe::Message> message = waitMessage(timeoutMs);
    if (!message) {
        ADD_FAILURE() << "no packet within " << timeoutMs << " ms";
        return "<timeout>";
    }
    EXPECT_EQ(rspframe::Message::Packet, message->kind) << "not a '$' frame: " << message->raw;
    EXPECT_TRUE(message->checksumOk) << "bad checksum: " << message->raw;
    return message->payload;
}

bool FakeRspPeer::quietFor(int milliseconds) {
    std::unique_lock<std::mutex> guard(lock);
    return !changed.wait_until(guard, deadlineAfter(milliseconds), [this] { return !inbox.empty(); });
}

void FakeRspPeer::serve(Handler newHandler) {
    std::lock_guard<std::mutex> guard(lock);
    handler = std::move(newHandler);
    serving = true;
}

void FakeRspPeer::overrideReply(const std::string& request, std::optional<std::string> reply) {
    std::lock_guard<std::mutex> guard(lock);
    overrides.emplace(request, std::move(reply));
}

void FakeRspPeer::acknowledge(bool enabled) {
    std::lock_guard<std::mutex> guard(lock);
    acknowledging = enabled;
}

FakeRspPeer::Handler FakeRspPeer::failOnUnexpected() {
    return [](const std::string& request) -> std::optional<std::string> {
        ADD_FAILURE() << "unexpected packet: " << request;
        return std::nullopt;
    };
}

FakeRspPeer::Handler FakeRspPeer::replies(std::map<std::string, std::string> table) {
    return [table](const std::string& request) -> std::optional<std::string> {
        auto entry = table.find(request);
        if (entry == table.end()) {
            ADD_FAILURE() << "unexpected packet: " << request;
            return std::nullopt;
        }
        return entry->second;
    };
}

std::vector<std::string> FakeRspPeer::receivedLog() const {
    std::lock_guard<std::mutex> guard(lock);
    return received;
}

std::string FakeRspPeer::receivedBytes() const {
    std::lock_guard<std::mutex> guard(lock);
    return receivedStream;
}

std::vector<std::string> FakeRspPeer::sentLog() const {
    std::lock_guard<std::mutex> guard(lock);
    return sent;
}

bool FakeRspPeer::waitReceivedBytes(std::size_t count, int timeoutMs) {
    std::unique_lock<std::mutex> guard(lock);
    return changed.wait_until(guard, deadlineAfter(timeoutMs),
                              [this, count] { return receivedStream.size() >= count; });
}

void FakeRspPeer::close() {
    stopping = true;
    if (worker.joinable()) {
        worker.join();
    }
    if (socket >= 0) {
        shutdown(socket, SHUT_RDWR);
        ::close(socket);
        socket = -1;
    }
    if (listenSocket >= 0) {
        ::close(listenSocket);
        listenSocket = -1;
    }
}

bool FakeRspPeer::waitClosed(int timeoutMs) {
    std::unique_lock<std::mutex> guard(lock);
    return changed.wait_until(guard, deadlineAfter(timeoutMs), [this] { return peerClosed; });
}
