#include "FreePort.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

unsigned short freeTcpPort() {
    int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t size = sizeof(address);
    if (probe < 0 || bind(probe, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ADD_FAILURE() << "no free port";
    }
    close(probe);
    return ntohs(address.sin_port);
}
