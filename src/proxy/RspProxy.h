#ifndef TARNWICK_PROXY_RSPPROXY_H
#define TARNWICK_PROXY_RSPPROXY_H

#include "rsp/FrameScreen.h"

#include <atomic>
#include <memory>
#include <string>

class AckMode;
class ClientSocket;
class RspClient;
class ServerSocket;

// The generic forwarder between one GDB and one GDB server. All knowledge of what a packet means lies
// in interceptPacket.
class RspProxy {
public:
    virtual ~RspProxy() = default;

    // Reads the proxy's options; false only if "--server_connection" or "--listen_address" is malformed.
    bool init();
    // One whole proxy life: listen, connect to the server, accept GDB, forward. False if anything failed.
    // With "--persist true" the life goes on after GDB leaves: the next GDB gets a new server connection,
    // until stop(); then false only if waiting for GDB failed.
    bool run();
    // Clears the running flag and stops a wait for the next GDB, and nothing else, so that a signal handler
    // may call it.
    void stop();
    // The loop: false on a failure, true on a lost connection or a stop. Every whole packet goes through
    // handlePacket; the server's reply to a forwarded request of GDB's, if neither the hook (screenFrame)
    // nor the acknowledgement mode needs to see it, goes on as its bytes arrive.
    bool doProxyWork(RspClient* client, RspClient* server);
    // Disposes of the packet that from has just received; false ends the loop.
    bool handlePacket(RspClient& from, RspClient& to);
    // Called with a frame in from's receive buffer. True and handled false: forward it. True and handled
    // true: the hook has answered and consumed it. False: a failure that ends the loop.
    virtual bool interceptPacket(RspClient& from, RspClient& to, bool& handled) = 0;
    // Asked for a reply of the server's to a forwarded request, whole or still arriving at from, head its
    // first length bytes: PASS lets it go on as its bytes come, never seen by interceptPacket; WHOLE or
    // UNDECIDED takes it whole (or waits for more bytes to tell). The default sees every frame whole.
    virtual FrameScreen::Verdict screenFrame(RspClient& from, const unsigned char* head, int length);

    unsigned short getListenPort() const { return listenPort; }
    std::string getListenAddress() const { return listenAddress; }
    unsigned short getServerPort() const { return serverPort; }
    unsigned int getConnectTimeout() const { return connectTimeout; }
    std::string getServerHost() const { return serverHost; }
    std::string getServerName() const { return serverName; }
    bool isBypass() const { return bypass; }
    bool isPersistent() const { return persistent; }

protected:
    RspProxy() = default;
    // Between two sessions of a persistent proxy: all that the last GDB and server taught goes. A plain
    // forwarder learns nothing.
    virtual void forgetSession() {}

private:
    enum class Outcome { GOING, LOST, FAILED };

    // Disposes of the packets in from's received bytes, and passes on the frame they start if nobody needs
    // it whole; GOING when more bytes are needed.
    Outcome relay(RspClient& from, RspClient& to, const AckMode& ackMode);
    // Whether the frame starting from's received bytes may go on unseen by anyone.
    bool passesUnseen(RspClient& from, const AckMode& ackMode);
    bool readServerConnection();
    // Logs the attempt and its outcome on one line.
    bool reachServer(ClientSocket& socket) const;
    // Forwards between the two until either leaves; takes both sockets.
    bool serveSession(ClientSocket* gdbSocket, ClientSocket* serverSocket);
    // One GDB after another until stop(), each with its own server connection; serverSocket, already
    // connected, is the first one's. False only if waiting for GDB failed.
    bool servePersistently(ServerSocket& listener, std::unique_ptr<ClientSocket> serverSocket);
    bool readListenAddress();
    void logListening() const;

    unsigned short listenPort = 60000;
    std::string listenAddress = "127.0.0.1";
    unsigned short serverPort = 61234;
    unsigned int connectTimeout = 15;
    std::string serverHost = "127.0.0.1";
    std::string serverName;
    bool bypass = false;
    bool persistent = false;
    // Written by the signal handler.
    std::atomic<bool> running{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<ServerSocket*> waitingListener{nullptr};
};

#endif
