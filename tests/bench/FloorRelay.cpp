// The least a relay between GDB and a server can do: one poll on both sockets, one read, the bytes written on
// unchanged. Started in tarnwick's place (it takes the same "--server_connection 127.0.0.1:PORT --port PORT"
// first and ignores the rest), it shows what the extra hop alone costs on this machine, the floor under any
// pass-through figure of tarnwick's.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool writeAll(int socket, const char* bytes, ssize_t length) {
    while (length > 0) {
        ssize_t written = ::send(socket, bytes, static_cast<size_t>(length), MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        bytes += written;
        length -= written;
    }
    return true;
}

int acceptOne(int port) {
    int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = loopback(port);
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 1) != 0) {
        return -1;
    }
    int peer = ::accept(listener, nullptr, nullptr);
    ::close(listener);
    return peer;
}

int connectTo(int port) {
    int peer = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(port);
    return ::connect(peer, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? peer : -1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5 || std::strchr(argv[2], ':') == nullptr) {
        return 2;
    }
    int gdb = acceptOne(std::atoi(argv[4]));
    int server = connectTo(std::atoi(std::strchr(argv[2], ':') + 1));
    if (gdb < 0 || server < 0) {
        return 1;
    }
    int on = 1;
    ::setsockopt(gdb, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    static char buffer[65536];
    pollfd sockets[2] = {{gdb, POLLIN, 0}, {server, POLLIN, 0}};
    for (;;) {
        if (::poll(sockets, 2, -1) < 0) {
            return 1;
        }
        for (int side = 0; side < 2; ++side) {
            if (sockets[side].revents == 0) {
                continue;
            }
            ssize_t received = ::recv(sockets[side].fd, buffer, sizeof buffer, 0);
            if (received <= 0) {
                return 0;
            }
            if (!writeAll(sockets[1 - side].fd, buffer, received)) {
                return 1;
            }
        }
    }
}
