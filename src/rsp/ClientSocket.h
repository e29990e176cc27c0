#ifndef TARNWICK_RSP_CLIENTSOCKET_H
#define TARNWICK_RSP_CLIENTSOCKET_H

#include <string>
#include <vector>

struct addrinfo;

// One connected TCP stream: dialled towards the GDB server, or accepted from GDB.
class ClientSocket {
public:
    enum ConnectResult { CONNECT_OK = 0, CONNECT_FAILED = 1, CONNECT_TIMEOUT = 2 };
    enum WaitResult { WAIT_READY = 0, WAIT_ERROR = 1, WAIT_TIMEOUT = 2 };
    // Waits for ever in the static waitData.
    static constexpr unsigned int kWaitForever = 0xFFFFFFFFu;

    // Holds the peer's host name or IPv4 or IPv6 address, resolved at each connect; no socket exists until
    // connect.
    ClientSocket(std::string newHost, unsigned short newPort);
    // Wraps an accepted descriptor, which this object then closes.
    explicit ClientSocket(int newSocket);
    virtual ~ClientSocket();
    ClientSocket(const ClientSocket&) = delete;
    ClientSocket& operator=(const ClientSocket&) = delete;

    int getSocket() const { return socket; }
    // One attempt at each address of the host until one connects: 0 connected, 1 failed (also for a host
    // that cannot be resolved), 2 timed out (0 seconds waits for ever).
    int connect(unsigned int timeoutSeconds);
    // Attempts in steps of two seconds until the budget is spent; true if connected.
    bool tryConnect(unsigned int timeoutSeconds);
    // One recv: bytes read, 0 on an orderly close, negative on error.
    int read(char* data, int length);
    // One send: bytes written or negative; partial transfers are the caller's business.
    int write(unsigned char* data, int length);
    // select for reading on this descriptor: above 0 readable, 0 timed out, below 0 error.
    int waitData(unsigned int timeoutMicroseconds);
    // 0 with ready set to the first readable (or closed) socket in vector order, 1 error (a signal among
    // them), 2 timed out.
    static int waitData(std::vector<ClientSocket*>& sockets, ClientSocket*& ready,
                        unsigned int timeoutMilliseconds);

private:
    void closeSocket();
    // One attempt at one address of the host.
    int connectTo(const addrinfo& address, unsigned int timeoutSeconds);
    // The second half of a non-blocking connect: waits until writable and reads SO_ERROR.
    int waitConnected(unsigned int timeoutSeconds);

    int socket;
    std::string host;
    unsigned short port;
};

#endif
