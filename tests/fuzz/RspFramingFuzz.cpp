// Frame finding on random bytes in random pieces: RspBuffer alone, and RspClient::getPacket reading the
// same pieces from a socket, with every packet found looked at, forwarded and answered as the proxy does.
#include "FuzzCheck.h"
#include "base/Logger.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspBuffer.h"
#include "rsp/RspClient.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

bool opensFrame(unsigned char byte) {
    return byte == '$' || byte == '%';
}

// The bytes of a frame as the protocol writes it; our own framer, not RspBuffer's.
std::string frameOf(const std::string& payload) {
    unsigned int sum = 0;
    for (unsigned char byte : payload) {
        sum += byte;
    }
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", sum & 0xff);
    return "$" + payload + "#" + digits;
}

// What a packet of the receive buffer must look like, whatever came before it.
void checkPacket(RspBuffer& buffer, int length) {
    fuzzRequire(length > 0 && length <= buffer.getLength(), "a packet lies inside the data");
    fuzzRequire(buffer.getLength() <= buffer.getCapacity(), "the data fits the buffer");
    const unsigned char* bytes = buffer.getBuffer();
    if (length > 1 || opensFrame(bytes[0])) {
        fuzzRequire(length >= 4 && opensFrame(bytes[0]) && bytes[length - 3] == '#',
                    "a frame runs from $ to #");
        fuzzRequire(std::memchr(bytes + 1, '#', static_cast<std::size_t>(length - 4)) == nullptr,
                    "the first # ends a frame");
    }
}

void feedBuffer(const std::vector<std::string>& pieces) {
    auto buffer = std::make_unique<RspBuffer>();
    for (const std::string& piece : pieces) {
        std::size_t taken = 0;
        while (taken < piece.size()) {
            if (buffer->getFreeSize() == 0) {
                // What getPacket reports as a lost connection: the endpoint would be gone.
                buffer->clear();
            }
            int count = static_cast<int>(std::min<std::size_t>(piece.size() - taken, buffer->getFreeSize()));
            std::memcpy(buffer->getFreeSpace(), piece.data() + taken, static_cast<std::size_t>(count));
            buffer->addReceived(count);
            taken += static_cast<std::size_t>(count);
            for (;;) {
                buffer->resetPacket();
                int length = buffer->parseForPacket();
                if (length == 0) {
                    break;
                }
                checkPacket(*buffer, length);
                buffer->consumePacket();
            }
        }
    }
}

// One connected endpoint and the far end of its socket.
struct Link {
    std::unique_ptr<RspClient> endpoint;
    int far = -1;

    explicit Link(const char* name) {
        int pair[2];
        fuzzRequire(socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0, "a socket pair");
        endpoint = std::make_unique<RspClient>(new ClientSocket(pair[0]), name, ROLE_GDB_CLIENT);
        far = pair[1];
    }
    ~Link() {
        endpoint.reset();
        ::close(far);
    }
    // Everything written to the far end so far.
    std::string drain() {
        std::string bytes;
        char chunk[4096];
        for (;;) {
            ssize_t got = recv(far, chunk, sizeof(chunk), MSG_DONTWAIT);
            if (got <= 0) {
                return bytes;
            }
            bytes.append(chunk, static_cast<std::size_t>(got));
        }
    }
};

void feedEndpoint(const std::vector<std::string>& pieces, FuzzedDataProvider& choices) {
    auto gdb = std::make_unique<Link>("GDB Client");
    Link server("GDB Server");
    for (const std::string& piece : pieces) {
        fuzzRequire(send(gdb->far, piece.data(), piece.size(), 0) == static_cast<ssize_t>(piece.size()),
                    "the piece goes out");
        for (;;) {
            int length = gdb->endpoint->getPacket(0);
            if (length < 0) {
                // A buffer full of bytes without a frame: the proxy would end here, as for a lost peer.
                gdb = std::make_unique<Link>("GDB Client");
                break;
            }
            if (length == 0) {
                break;
            }
            RspBuffer& received = gdb->endpoint->getReceiveBuffer();
            checkPacket(received, length);
            std::string raw(reinterpret_cast<const char*>(received.getBuffer()),
                            static_cast<std::size_t>(length));
            gdb->endpoint->peekCommand("$qSymbol::");
            gdb->endpoint->peekCommand(std::string(4096, '$'));
            std::string payload;
            bool command = gdb->endpoint->getCommand(payload, false);
            switch (choices.ConsumeIntegralInRange<int>(0, 2)) {
            case 0:
                fuzzRequire(gdb->endpoint->forwardPacket(*server.endpoint) == length, "forwarded whole");
                fuzzRequire(server.drain() == raw, "forwarded byte for byte");
                break;
            case 1:
                if (command && raw[0] == '$') {
                    fuzzRequire(gdb->endpoint->getCommand(payload, true), "taken");
                    fuzzRequire(server.endpoint->sendCommand(payload), "answered");
                    fuzzRequire(server.drain() == frameOf(payload), "answered in one whole frame");
                    break;
                }
                gdb->endpoint->getReceiveBuffer().consumePacket();
                break;
            default: {
                std::string reply;
                gdb->endpoint->getReceiveBuffer().resetPacket();
                fuzzRequire(gdb->endpoint->waitCommand(reply, 0) >= 0, "a buffered packet is a reply");
                break;
            }
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    std::freopen("/dev/null", "w", stdout);
    Logger::getInstance().setLogLevel(15);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    // Up to 64 bytes choose where the rest is cut and what is done with each packet; once they are used
    // up, the rest goes in one piece and every packet is forwarded.
    std::size_t choiceBytes = input.ConsumeIntegralInRange<std::size_t>(0, 64);
    std::vector<std::uint8_t> choiceData = input.ConsumeBytes<std::uint8_t>(choiceBytes);
    std::string stream = input.ConsumeRemainingBytesAsString();
    FuzzedDataProvider cuts(choiceData.data(), choiceData.size());
    std::vector<std::string> pieces;
    for (std::size_t offset = 0; offset < stream.size();) {
        std::size_t length = cuts.remaining_bytes() > 0 ? cuts.ConsumeIntegralInRange<std::size_t>(1, 30000)
                                                        : stream.size() - offset;
        pieces.push_back(stream.substr(offset, length));
        offset += pieces.back().size();
    }
    feedBuffer(pieces);
    FuzzedDataProvider actions(choiceData.data(), choiceData.size());
    feedEndpoint(pieces, actions);
    return 0;
}
