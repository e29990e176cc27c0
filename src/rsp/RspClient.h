#ifndef TARNWICK_RSP_RSPCLIENT_H
#define TARNWICK_RSP_RSPCLIENT_H

#include "rsp/RspBuffer.h"

#include <string>
#include <vector>

class ClientSocket;

enum RspClientRole { ROLE_GDB_CLIENT = 0, ROLE_GDB_SERVER = 1 };

// One endpoint of the proxy: its socket, a name for the log, a role and a buffer each way. It sends no
// acknowledgements and checks no checksums. Some 40 KB: allocate it on the heap.
class RspClient {
public:
    // Takes ownership of the socket.
    RspClient(ClientSocket* newSocket, std::string newName, RspClientRole newRole);
    virtual ~RspClient();
    RspClient(const RspClient&) = delete;
    RspClient& operator=(const RspClient&) = delete;

    ClientSocket* getClientSocket() { return clientSocket; }
    std::string getName() const { return name; }
    RspClientRole getRole() const { return role; }
    // The received bytes; the packet found by getPacket stands at its start.
    RspBuffer& getReceiveBuffer() { return receiveBuffer; }

    // Reads until a whole packet stands in the receive buffer: its length, 0 on time-out, -1 if the
    // connection is lost (or the buffer is full without a frame in it).
    int getPacket(unsigned int timeoutMilliseconds);
    // Writes the received packet raw through to's socket and consumes it: bytes written, -1 if short.
    int forwardPacket(RspClient& to);
    // One raw write; the result of ClientSocket::write.
    int sendPacket(unsigned char* data, unsigned int length);
    // Writes the buffer's frame; clears the buffer only if all of it went out.
    bool sendPacket(RspBuffer& buffer);
    // A '$' frame: a command towards the server, a reply towards GDB.
    bool sendCommand(const std::string& payload);
    bool sendNotification(const std::string& payload);
    // sendCommand, then the next frame as the reply (within 1000 ms).
    bool sendWaitCommand(const std::string& command, std::string& reply);
    // True if a reply with a non-empty payload came within 1000 ms.
    bool waitCommand(std::string& reply);
    // The next frame's payload (or raw bytes if it is no '$' frame), consumed: the length of reply,
    // 0 on time-out or an empty payload, -1 if the connection is lost.
    int waitCommand(std::string& reply, unsigned int timeoutMilliseconds);
    // Whether the packet found starts with prefix, frame start byte included ("$qC"). Consumes nothing.
    bool peekCommand(std::string prefix);
    // The same for a prefix that is a C string, as the dispatch tables hold them: no string is built.
    bool peekCommand(const char* prefix);
    // The payload of the frame found, or a lone '+' or '-'; false for anything else (0x03 among it).
    bool getCommand(std::string& command, bool consume);

    // Target memory through the GDB server: one "m" exchange, at most 1000 ms, no retry, no chunking.
    // True only if the reply held exactly length bytes: one of another length answers another request.
    bool readMemory(const std::string& addressHex, unsigned int length, std::vector<unsigned char>& data);
    bool readMemory(unsigned int address, unsigned int length, std::vector<unsigned char>& data);
    // The 32-bit word at address; value is written only on success.
    bool readMemory(unsigned int address, unsigned int& value);

private:
    bool peekBytes(const char* prefix, std::size_t size);
    bool sendFrame(const std::string& payload, RSPpacketType type);
    // For frames larger than the transmit buffer: the buffer is filled and written out in turn.
    bool streamFrame(const std::string& payload, RSPpacketType type);
    bool flushTransmit();
    // The payload of a '$' (or, when allowed, '%') frame found at the start of the receive buffer.
    bool framedPayload(std::string& payload, bool allowNotification);

    ClientSocket* clientSocket;
    RspClientRole role;
    std::string name;
    RspBuffer transmitBuffer;
    RspBuffer receiveBuffer;
};

#endif
