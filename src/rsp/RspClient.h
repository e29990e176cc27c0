#ifndef TARNWICK_RSP_RSPCLIENT_H
#define TARNWICK_RSP_RSPCLIENT_H

#include "rsp/RspBuffer.h"

#include <string>
#include <vector>

class AckMode;
class ClientSocket;
class StopMemoryCache;

enum RspClientRole { ROLE_GDB_CLIENT = 0, ROLE_GDB_SERVER = 1 };

// One endpoint of the proxy: its socket, a name for the log, a role and a buffer each way. It checks no
// checksums. While the session's AckMode says the peers acknowledge, it keeps that protocol for its own
// exchanges: it acknowledges each frame it takes and does not forward, and takes the peer's '+' for each
// frame it writes itself; acknowledgements of forwarded frames pass through as they are. Some 40 KB:
// allocate it on the heap.
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

    // The session's mode, shared with the other endpoint; null (the start) never acknowledges.
    void setAckMode(AckMode* mode) { ackMode = mode; }
    // Whether a whole packet waits in the receive buffer already, so that no socket wait is needed.
    bool holdsPacket();
    // Acknowledges the frame taken from this peer if nothing written since has done it.
    bool settleAck();

    // Reads until a whole packet stands in the receive buffer: its length, 0 on time-out, -1 if the
    // connection is lost (or the buffer is full without a frame in it).
    int getPacket(unsigned int timeoutMilliseconds);
    // getPacket without reading: the length of the whole packet at the start of the received bytes (stray
    // bytes in front of a frame skipped and counted in the debug log), or 0.
    int takePacket();
    // One read of whatever the socket holds, as much as the receive buffer takes: the result of
    // ClientSocket::read.
    int receive();
    // Whether the received bytes start with a frame's start byte ('$' or '%'), whole or not.
    bool holdsFrameStart();
    enum class Passage { PASSED, LOST, WRITE_FAILED };
    // Whether a request of GDB's went to this (server) endpoint and its reply is still to come.
    bool awaitsForwardedReply() const { return forwardedRequestOpen; }
    // Writes the frame that starts the received bytes through to's socket as its bytes come, reading until
    // its end has passed; the bytes behind it stay. For a frame nobody needs to see whole.
    Passage passFrame(RspClient& to);
    // Writes the received packet raw through to's socket and consumes it: bytes written, -1 if short.
    int forwardPacket(RspClient& to);
    // One raw write; the result of ClientSocket::write.
    int sendPacket(unsigned char* data, unsigned int length);
    // Writes the buffer's frame; clears the buffer only if all of it went out.
    bool sendPacket(RspBuffer& buffer);
    // A '$' frame: a command towards the server, a reply towards GDB.
    bool sendCommand(const std::string& payload);
    bool sendNotification(const std::string& payload);
    // A request of GDB's, rewritten: sent like sendCommand, its reply then comes to the loop like that of
    // a forwarded request.
    bool relayCommand(const std::string& payload);
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
    // A frame consumed is acknowledged at once where the session acknowledges.
    bool getCommand(std::string& command, bool consume);

    // Tarnwick's reads go through cache while one is set; null (the start) reads every value from the
    // server. The cache is not owned.
    void setMemoryCache(StopMemoryCache* cache) { memoryCache = cache; }
    // Whether a cache is set, so that what is read now may be fetched ahead and read later without cost.
    bool keepsStopMemory() const { return memoryCache != nullptr; }
    // The server's PacketSize (payload bytes); 0 while it has not said.
    void setPacketSize(unsigned int bytes) { packetSize = bytes; }
    // The most data bytes one "m" asks for: what the packet size allows and the receive buffer holds.
    unsigned int getReadPiece() const;
    // Reads a whole structure into the cache in as few exchanges as the packet size allows, so that the
    // reads of its members that follow need none. Without a cache, or if the server refuses or answers
    // short, nothing is kept and each member is read on its own.
    void prefetchMemory(unsigned int address, unsigned int length);

    // Target memory through the GDB server, served by the cache where it holds the bytes; otherwise "m"
    // exchanges of at most getReadPiece() bytes each, at most 1000 ms each, no retry. True only if every
    // reply held exactly the length asked: one of another length answers another request.
    bool readMemory(const std::string& addressHex, unsigned int length, std::vector<unsigned char>& data);
    bool readMemory(unsigned int address, unsigned int length, std::vector<unsigned char>& data);
    // The 32-bit word at address; value is written only on success.
    bool readMemory(unsigned int address, unsigned int& value);
    // Writes the bytes valueHex (two hexadecimal digits a byte) at address with one "M"; true on the server's
    // "OK". The stop's cache is cleared first.
    bool writeMemory(unsigned int address, const std::string& valueHex);
    // A whole annex of the target description, read in pieces (qXfer:features:read); false if the server
    // refuses a piece, does not answer or sends an empty 'm' piece.
    bool readFeatures(const std::string& annex, std::string& text);

private:
    enum class AckReply { ACK, NAK, NONE };

    // One "m" exchange.
    bool exchangeRead(const std::string& addressHex, unsigned int length, std::vector<unsigned char>& data);
    // The exchanges for [address, address + length), in pieces; the cache is not consulted. addressHex
    // is address as the caller wrote it, used as it is by a read in one piece.
    bool readFromServer(unsigned int address, const std::string& addressHex, unsigned int length,
                        std::vector<unsigned char>& data);
    bool readAt(unsigned int address, const std::string& addressHex, unsigned int length,
                std::vector<unsigned char>& data);

    bool acknowledging() const;
    bool writeFrame(const std::string& payload, RSPpacketType type);
    // Waits for the peer's acknowledgement of the frame just written. A frame in its place counts as one.
    AckReply awaitAck();
    // Bytes from the server that no request asked for (a reply that came after its time-out) are read
    // and dropped, so that they cannot pass for the reply to the request about to go out.
    void dropUnrequested();
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
    AckMode* ackMode = nullptr;
    StopMemoryCache* memoryCache = nullptr;
    unsigned int packetSize = 0;
    // A frame has been received from this peer and neither forwarded nor acknowledged.
    bool ackOwed = false;
    // A request from GDB has been forwarded to this (server) endpoint and its reply is still to come: what
    // the server sends now is asked for, a stop reply of a running target among it.
    bool forwardedRequestOpen = false;
};

#endif
