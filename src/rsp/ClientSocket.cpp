#include "rsp/ClientSocket.h"

#include "base/Logger.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/select.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

const unsigned int kAttemptSeconds = 2;
const int kRetryPauseMilliseconds = 2000;
const char* const kBlanks = " \t\r\n";

// FD_SET on a descriptor beyond the fixed set size would write past the set.
bool fitsSelect(int descriptor) {
    return descriptor >= 0 && descriptor < FD_SETSIZE;
}

// RSP is a conversation of small writes, and a '+' and a frame often leave back to back. With Nagle's
// algorithm the second write waits for the peer's acknowledgement of the first, which a peer with delayed
// acknowledgements sends only after some 40 ms. A descriptor that is no TCP socket keeps its settings.
void sendSmallWritesAtOnce(int descriptor) {
    int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

void logConnect(const char* format) {
    Logger::getInstance().log(Logger::LOG_DEBUG, "connect", "%s", format);
}

} // namespace

ClientSocket::ClientSocket(std::string newHost, unsigned short newPort)
    : socket(-1), host(std::move(newHost)), port(newPort) {}

ClientSocket::ClientSocket(int newSocket) : socket(newSocket), port(0) {
    sendSmallWritesAtOnce(socket);
}

ClientSocket::~ClientSocket() {
    closeSocket();
}

void ClientSocket::closeSocket() {
    if (socket >= 0) {
        ::close(socket);
        socket = -1;
    }
}

int ClientSocket::connect(unsigned int timeoutSeconds) {
    closeSocket();
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    // Up to the first blank, as an address always was read: an options file written on another system
    // leaves a carriage return behind the host.
    std::string name = host.substr(0, host.find_first_of(kBlanks));
    addrinfo* found = nullptr;
    if (getaddrinfo(name.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        logConnect("Failed resolving host\n");
        return CONNECT_FAILED;
    }
    // A name may stand for several addresses ("localhost": ::1 and 127.0.0.1), and a server often listens
    // on one of them only.
    int result = CONNECT_FAILED;
    for (addrinfo* candidate = found; candidate != nullptr && result != CONNECT_OK;
         candidate = candidate->ai_next) {
        result = connectTo(*candidate, timeoutSeconds);
    }
    freeaddrinfo(found);
    return result;
}

int ClientSocket::connectTo(const addrinfo& address, unsigned int timeoutSeconds) {
    socket = ::socket(address.ai_family, address.ai_socktype, address.ai_protocol);
    if (socket < 0) {
        logConnect("Failed creating socket\n");
        return CONNECT_FAILED;
    }

    int result = CONNECT_OK;
    int flags = fcntl(socket, F_GETFL, 0);
    if (flags < 0) {
        logConnect("Error getting socket flags\n");
        result = CONNECT_FAILED;
    } else if (fcntl(socket, F_SETFL, flags | O_NONBLOCK) < 0) {
        logConnect("Error set non-blocking socket\n");
        result = CONNECT_FAILED;
    }

    if (result == CONNECT_OK) {
        if (::connect(socket, address.ai_addr, address.ai_addrlen) == 0) {
            logConnect("Connected\n");
        } else if (errno == EINPROGRESS) {
            result = waitConnected(timeoutSeconds);
        } else {
            logConnect("Connection undef error, connect: != EINPROGRESS\n");
            result = CONNECT_FAILED;
        }
    }

    if (result == CONNECT_OK && fcntl(socket, F_SETFL, flags) < 0) {
        logConnect("Error restore socket\n");
        result = CONNECT_FAILED;
    }
    if (result == CONNECT_OK) {
        sendSmallWritesAtOnce(socket);
    }
    if (result != CONNECT_OK) {
        closeSocket();
    }
    return result;
}

int ClientSocket::waitConnected(unsigned int timeoutSeconds) {
    if (!fitsSelect(socket)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "connect", "Connection undef error, select: %d\n", -1);
        return CONNECT_FAILED;
    }
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(socket, &writable);
    timeval timeout{};
    timeout.tv_sec = static_cast<time_t>(timeoutSeconds);
    int selected = select(socket + 1, nullptr, &writable, nullptr, timeoutSeconds == 0 ? nullptr : &timeout);
    if (selected < 0) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "connect", "Connection undef error, select: %d\n",
                                  selected);
        return CONNECT_FAILED;
    }
    if (selected == 0) {
        logConnect("Connection timeout\n");
        return CONNECT_TIMEOUT;
    }
    if (!FD_ISSET(socket, &writable)) {
        logConnect("Connection undef error, FD_ISSET: 0\n");
        return CONNECT_FAILED;
    }
    int error = 0;
    socklen_t size = sizeof(error);
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        logConnect("Connection undef error, getSockOpt: ret != 0\n");
        return CONNECT_FAILED;
    }
    if (error != 0) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "connect", "Connection undef error, SO_ERROR: %d\n",
                                  error);
        return CONNECT_FAILED;
    }
    logConnect("Connection is open\n");
    return CONNECT_OK;
}

bool ClientSocket::tryConnect(unsigned int timeoutSeconds) {
    // The budget is counted in attempts, not read from a clock.
    unsigned int elapsed = 0;
    for (;;) {
        int result = connect(kAttemptSeconds);
        if (result == CONNECT_OK) {
            return true;
        }
        if (result == CONNECT_FAILED) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kRetryPauseMilliseconds));
        }
        elapsed += kAttemptSeconds;
        if (elapsed >= timeoutSeconds) {
            return false;
        }
    }
}

int ClientSocket::read(char* data, int length) {
    return static_cast<int>(recv(socket, data, static_cast<size_t>(length), 0));
}

int ClientSocket::write(unsigned char* data, int length) {
    // A peer that has gone away must give an error result here, not a SIGPIPE that ends the process.
    return static_cast<int>(send(socket, data, static_cast<size_t>(length), MSG_NOSIGNAL));
}

int ClientSocket::waitData(unsigned int timeoutMicroseconds) {
    if (!fitsSelect(socket)) {
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socket, &readable);
    timeval timeout{};
    timeout.tv_sec = static_cast<time_t>(timeoutMicroseconds / 1000000);
    timeout.tv_usec = static_cast<suseconds_t>(timeoutMicroseconds % 1000000);
    return select(socket + 1, &readable, nullptr, nullptr, &timeout);
}

int ClientSocket::waitData(std::vector<ClientSocket*>& sockets, ClientSocket*& ready,
                           unsigned int timeoutMilliseconds) {
    // poll, not select: the kernel looks at these descriptors alone, not at a whole set of FD_SETSIZE.
    std::vector<pollfd> watched(sockets.size());
    for (std::size_t i = 0; i < sockets.size(); ++i) {
        watched[i].fd = sockets[i]->socket;
        watched[i].events = POLLIN;
    }
    const int timeout = timeoutMilliseconds == kWaitForever
                            ? -1
                            : static_cast<int>(std::min<unsigned int>(timeoutMilliseconds, INT_MAX));
    int selected = poll(watched.data(), static_cast<nfds_t>(watched.size()), timeout);
    if (selected < 0) {
        return WAIT_ERROR;
    }
    if (selected == 0) {
        return WAIT_TIMEOUT;
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
        if ((watched[i].revents & POLLNVAL) != 0) {
            return WAIT_ERROR;
        }
        // A closed or failed connection is readable too: the read that follows tells which.
        if ((watched[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            ready = sockets[i];
            return WAIT_READY;
        }
    }
    return WAIT_ERROR;
}
