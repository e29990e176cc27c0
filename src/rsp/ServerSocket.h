#ifndef TARNWICK_RSP_SERVERSOCKET_H
#define TARNWICK_RSP_SERVERSOCKET_H

class ClientSocket;

// The listening socket on which GDB is awaited. Fails by throwing a plain C string:
// "SOCKET_ERR", "BIND_ERR", "LISTEN_ERR", "ACCEPT_ERR".
class ServerSocket {
public:
    // Creates, binds to every interface and listens with a backlog of 1; throws on failure.
    explicit ServerSocket(unsigned short newPort);
    virtual ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    // The next connection, owned by the caller; null once stop() has been called; throws if accept fails.
    ClientSocket* WaitConnection();
    void stop() { stopped = true; }
    // The port actually bound, which differs from the one asked for only when that was 0.
    unsigned short getPort() const;

private:
    void cleanup();

    unsigned short port;
    int socket;
    volatile bool stopped;
};

#endif
