#include "BlackHolePort.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

BlackHolePort::BlackHolePort() {
    listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    // A backlog of 0 still takes one connection; the one made here fills the queue for good.
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener, 0) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ADD_FAILURE() << "cannot set up a black hole";
        return;
    }
    listenPort = ntohs(address.sin_port);
    filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(filler, reinterpret_cast<sockaddr*>(&address), size) != 0) {
        ADD_FAILURE() << "cannot fill the black hole's queue";
    }
}

BlackHolePort::~BlackHolePort() {
    if (filler >= 0) {
        close(filler);
    }
    if (listener >= 0) {
        close(listener);
    }
}
