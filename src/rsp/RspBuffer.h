#ifndef TARNWICK_RSP_RSPBUFFER_H
#define TARNWICK_RSP_RSPBUFFER_H

#include <string>

enum RSPpacketType { RSP_PACKET_COMMAND = 0, RSP_PACKET_NOTIFICATION = 1 };

// A fixed block of bytes in which RSP frames are found or built. It never reads a payload: '$', '%', '#'
// and the one-byte packets are all it knows.
class RspBuffer {
public:
    static constexpr int kCapacity = 20480;

    RspBuffer();
    virtual ~RspBuffer() = default;

    // Length, packet length and checksum become 0.
    void clear();
    // Appends '$' (command) or '%' (notification), the payload unescaped, '#' and the checksum digits.
    // False, with nothing appended, if the whole frame does not fit behind what the buffer holds.
    bool createPacket(const std::string& payload, RSPpacketType type);
    // The add operations append all or nothing; false if the rest of the buffer is too small.
    bool addWoChecksum(const std::string& data);
    bool addWChecksum(const std::string& data);
    // Two lowercase hexadecimal digits of the running checksum.
    bool addChecksum();
    // The pieces of createPacket, for frames that go out in several writes: the start byte (the
    // checksum starts anew), payload bytes as many as fit (returns how many), then '#' and the digits.
    bool startPacket(RSPpacketType type);
    int addPartWChecksum(const char* data, int size);
    bool endPacket();
    // The held bytes have been written out; a frame in progress keeps its running checksum.
    void dropSent();

    int getPacketLength() const { return packetLength; }
    unsigned char* getBuffer() { return buffer; }
    int getLength() const { return length; }
    int getCapacity() const { return capacity; }
    int getFreeSize() const { return capacity - length; }
    unsigned char getChecksum() const { return checksum; }

    // Length of the frame or one-byte packet at the start of the buffer, 0 if none is complete.
    int parseForPacket();
    // Removes the packet found, keeping the bytes behind it.
    void consumePacket();
    // Removes the first count bytes, kept or not part of a packet found, keeping the bytes behind them.
    void dropFront(int count);
    // How many bytes in front of a frame's start have been skipped since the last call.
    int takeSkipped();

    // Receive side: forgets a found packet before the next search.
    void resetPacket();
    // Where received bytes go; getFreeSize() of them fit.
    unsigned char* getFreeSpace() { return buffer + length; }
    // Takes count received bytes into the data and stores a zero byte behind them.
    void addReceived(int count);

private:
    void append(const char* data, int size, bool withChecksum);
    // The bytes of the frame at the start have moved or gone: its scan begins anew.
    void forgetScan();

    // One byte more than the capacity, for the zero stored behind a full buffer.
    unsigned char buffer[kCapacity + 1];
    int length;
    const int capacity;
    int packetLength;
    unsigned char checksum;
    // How far an earlier pass has looked for the '#' of the frame at the start without finding it, and the
    // sum of the bytes from index 1 up to there: a frame larger than one read is not summed again per read.
    int scanEnd;
    unsigned char scanSum;
    int skipped;
};

#endif
