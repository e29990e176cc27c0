#include "rsp/ServerSocket.h"

#include "rsp/ClientSocket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const long kPollMicroseconds = 100000;

} // namespace

const char* const ServerSocket::kLoopbackAddress = "127.0.0.1";

ServerSocket::ServerSocket(unsigned short newPort, const std::string& address)
    : port(newPort), socket(-1), stopped(false) {
    addrinfo* found = resolve(address, port);
    if (found == nullptr) {
        throw "BIND_ERR";
    }
    // A name may stand for several addresses ("localhost": ::1 and 127.0.0.1); the first that binds wins.
    const char* failure = "BIND_ERR";
    for (addrinfo* candidate = found; candidate != nullptr && socket < 0; candidate = candidate->ai_next) {
        socket = ::socket(candidate->ai_family, candidate->ai_socktype, candidate->ai_protocol);
        if (socket < 0) {
            failure = "SOCKET_ERR";
            continue;
        }
        int reuse = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
        if (bind(socket, candidate->ai_addr, candidate->ai_addrlen) != 0) {
            failure = "BIND_ERR";
            cleanup();
        }
    }
    freeaddrinfo(found);
    if (socket < 0) {
        throw failure;
    }
    if (listen(socket, 1) != 0) {
        cleanup();
        throw "LISTEN_ERR";
    }
}

ServerSocket::~ServerSocket() {
    cleanup();
}

addrinfo* ServerSocket::resolve(const std::string& address, unsigned short port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (address.empty() || getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        return nullptr;
    }
    return found;
}

bool ServerSocket::resolves(const std::string& address) {
    addrinfo* found = resolve(address, 0);
    if (found == nullptr) {
        return false;
    }
    freeaddrinfo(found);
    return true;
}

void ServerSocket::cleanup() {
    if (socket >= 0) {
        ::close(socket);
        socket = -1;
    }
}

unsigned short ServerSocket::getPort() const {
    sockaddr_storage bound{};
    socklen_t size = sizeof(bound);
    char service[NI_MAXSERV] = {};
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &size) != 0 ||
        getnameinfo(reinterpret_cast<sockaddr*>(&bound), size, nullptr, 0, service, sizeof(service),
                    NI_NUMERICSERV) != 0) {
        return port;
    }
    return static_cast<unsigned short>(std::stoul(service));
}

std::string ServerSocket::getAddress() const {
    sockaddr_storage bound{};
    socklen_t size = sizeof(bound);
    char text[NI_MAXHOST] = {};
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &size) != 0 ||
        getnameinfo(reinterpret_cast<sockaddr*>(&bound), size, text, sizeof(text), nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return "";
    }
    return text;
}

ClientSocket* ServerSocket::WaitConnection() {
    // Short waits, so that a stop request is seen within a tenth of a second.
    while (!stopped) {
        if (socket >= FD_SETSIZE) {
            throw "ACCEPT_ERR";
        }
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval timeout{};
        timeout.tv_usec = kPollMicroseconds;
        if (select(socket + 1, &readable, nullptr, nullptr, &timeout) > 0) {
            break;
        }
    }
    if (stopped) {
        return nullptr;
    }
    int accepted = accept(socket, nullptr, nullptr);
    if (accepted == -1) {
        throw "ACCEPT_ERR";
    }
    return new ClientSocket(accepted);
}
