#include "RspFrame.h"

#include <cstdio>

namespace rspframe {

std::string checksumHex(const std::string& payload) {
    unsigned int sum = 0;
    for (unsigned char byte : payload) {
        sum += byte;
    }
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", sum & 0xffu);
    return digits;
}

std::string frame(const std::string& payload, char start) {
    return std::string(1, start) + payload + "#" + checksumHex(payload);
}

void Unframer::finishJunk() {
    if (junk.empty()) {
        return;
    }
    Message message;
    message.kind = Message::Junk;
    message.raw = junk;
    message.payload = junk;
    done.push_back(message);
    junk.clear();
}

void Unframer::feed(const char* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const char byte = data[i];
        if (!partial.empty()) {
            partial += byte;
            std::size_t mark = partial.find('#');
            if (mark != std::string::npos && partial.size() == mark + 3) {
                Message message;
                message.kind = partial[0] == '$' ? Message::Packet : Message::Notification;
                message.raw = partial;
                message.payload = partial.substr(1, mark - 1);
                message.checksumOk = partial.substr(mark + 1) == checksumHex(message.payload);
                done.push_back(message);
                partial.clear();
            }
            continue;
        }
        if (byte == '$' || byte == '%') {
            finishJunk();
            partial = byte;
            continue;
        }
        if (byte == '+' || byte == '-' || byte == '\x03') {
            finishJunk();
            Message message;
            message.kind = byte == '+' ? Message::Ack : byte == '-' ? Message::Nack : Message::Interrupt;
            message.raw = std::string(1, byte);
            message.payload = message.raw;
            done.push_back(message);
            continue;
        }
        junk += byte;
    }
}

std::vector<Message> Unframer::take() {
    finishJunk();
    std::vector<Message> taken;
    taken.swap(done);
    return taken;
}

} // namespace rspframe
