#include "rsp/ServerSocket.h"

#include "rsp/ClientSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const long kPollMicroseconds = 100000;

} // namespace

const char* const ServerSocket::kLoopbackAddress = "127.0.0.1";

ServerSocket::ServerSocket(unsigned short newPort, const std::string& address)
    : port(newPort), socket(-1), stopped(false) {
    in_addr bound{};
    if (inet_pton(AF_INET, address.c_str(), &bound) != 1) {
        throw "BIND_ERR";
    }
    socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (socket < 0) {
        throw "SOCKET_ERR";
    }
    int reuse = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    socketAddress.sin_addr = bound;
    socketAddress.sin_port = htons(port);
    if (bind(socket, reinterpret_cast<sockaddr*>(&socketAddress), sizeof(socketAddress)) != 0) {
        cleanup();
        throw "BIND_ERR";
    }
    if (listen(socket, 1) != 0) {
        cleanup();
        throw "LISTEN_ERR";
    }
}

ServerSocket::~ServerSocket() {
    cleanup();
}

void ServerSocket::cleanup() {
    if (socket >= 0) {
        ::close(socket);
        socket = -1;
    }
}

unsigned short ServerSocket::getPort() const {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return port;
    }
    return ntohs(address.sin_port);
}

std::string ServerSocket::getAddress() const {
    sockaddr_in bound{};
    socklen_t size = sizeof(bound);
    char text[INET_ADDRSTRLEN] = {};
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &size) != 0 ||
        inet_ntop(AF_INET, &bound.sin_addr, text, sizeof(text)) == nullptr) {
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
