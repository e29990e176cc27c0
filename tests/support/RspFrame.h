#ifndef TARNWICK_TESTS_SUPPORT_RSPFRAME_H
#define TARNWICK_TESTS_SUPPORT_RSPFRAME_H

#include <string>
#include <vector>

// The tests' own RSP framing, written apart from the product's RspBuffer so that each checks the other.
namespace rspframe {

// Two lowercase hexadecimal digits of the byte sum of payload.
std::string checksumHex(const std::string& payload);
// "$payload#cc" (or with '%' for a notification); the payload goes as it is, unescaped.
std::string frame(const std::string& payload, char start = '$');

// One unit of the byte stream: a frame, an acknowledgement, a break, or bytes that are none of these.
struct Message {
    enum Kind { Packet, Notification, Ack, Nack, Interrupt, Junk };
    Kind kind = Junk;
    std::string raw;     // the bytes as received
    std::string payload; // between start byte and '#' for frames; the raw bytes otherwise
    bool checksumOk = false;
};

// Cuts a byte stream into messages; bytes that do not complete a frame stay pending.
class Unframer {
public:
    void feed(const char* data, std::size_t size);
    void feed(const std::string& data) { feed(data.data(), data.size()); }
    // The messages completed so far, oldest first, removed from the unframer.
    std::vector<Message> take();
    // Bytes of an incomplete frame still waiting for the rest.
    const std::string& pending() const { return partial; }

private:
    void finishJunk();

    std::vector<Message> done;
    std::string partial; // an open frame, from its start byte
    std::string junk;    // bytes outside any frame
};

} // namespace rspframe

#endif
