#ifndef TARNWICK_RSP_SERVERSOCKET_H
#define TARNWICK_RSP_SERVERSOCKET_H

#include <string>

class ClientSocket;
struct addrinfo;

// The listening socket on which GDB is awaited. Fails by throwing a plain C string:
// "SOCKET_ERR", "BIND_ERR", "LISTEN_ERR", "ACCEPT_ERR".
class ServerSocket {
public:
    // The address GDB is awaited on unless told otherwise: only this machine may drive the target.
    static const char* const kLoopbackAddress;

    // Creates, binds to the address, an IPv4 or IPv6 address or a host name ("0.0.0.0" for every IPv4
    // interface, "::" for every interface), and listens with a backlog of 1; throws on failure,
    // "BIND_ERR" also for an address that cannot be resolved.
    explicit ServerSocket(unsigned short newPort, const std::string& address = kLoopbackAddress);
    virtual ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    // The next connection, owned by the caller; null once stop() has been called; throws if accept fails.
    ClientSocket* WaitConnection();
    void stop() { stopped = true; }
    // The port actually bound, which differs from the one asked for only when that was 0.
    unsigned short getPort() const;
    // The address actually bound, in numeric form; empty if it cannot be told.
    std::string getAddress() const;
    // True if address resolves to at least one address to listen on.
    static bool resolves(const std::string& address);

private:
    // The addresses to listen on at address and port, to be freed with freeaddrinfo; null if none.
    static addrinfo* resolve(const std::string& address, unsigned short port);
    void cleanup();

    unsigned short port;
    int socket;
    volatile bool stopped;
};

#endif
