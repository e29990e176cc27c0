#include "rsp/RspBuffer.h"

#include <cstdint>
#include <cstring>

namespace {

const char kCommandStart = '$';
const char kNotificationStart = '%';
const char kChecksumMark = '#';
const char kInterrupt = 0x03;
const int kChecksumDigits = 2;
// Start byte, '#' and the two digits around a payload.
const int kFrameOverhead = 4;

bool opensPacket(unsigned char byte) {
    return byte == '-' || byte == '+' || byte == kCommandStart || byte == kInterrupt ||
           byte == kNotificationStart;
}

bool isOneBytePacket(unsigned char byte) {
    return byte == kInterrupt || byte == '+' || byte == '-';
}

// The sum of size bytes modulo 256, eight at a time: each 16-bit lane of the accumulator collects the
// bytes of one position, and the lanes are folded before they can overflow into each other.
unsigned char sumBytes(const unsigned char* data, int size) {
    const std::uint64_t kEvenBytes = 0x00ff00ff00ff00ffULL;
    // Two bytes of at most 255 per lane and word: 128 words stay below 65536.
    const int kWordsPerFold = 128;
    unsigned int total = 0;
    int words = size / 8;
    while (words > 0) {
        const int batch = words < kWordsPerFold ? words : kWordsPerFold;
        std::uint64_t lanes = 0;
        for (int i = 0; i < batch; ++i, data += 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, data, sizeof(word));
            lanes += (word & kEvenBytes) + ((word >> 8) & kEvenBytes);
        }
        words -= batch;
        total += static_cast<unsigned int>((lanes & 0xffff) + ((lanes >> 16) & 0xffff) +
                                           ((lanes >> 32) & 0xffff) + (lanes >> 48));
    }
    for (int i = 0; i < size % 8; ++i) {
        total += data[i];
    }
    return static_cast<unsigned char>(total);
}

} // namespace

RspBuffer::RspBuffer()
    : buffer{}, length(0), capacity(kCapacity), packetLength(0), checksum(0), scanEnd(1), scanSum(0),
      skipped(0) {}

void RspBuffer::clear() {
    length = 0;
    packetLength = 0;
    checksum = 0;
    forgetScan();
}

void RspBuffer::forgetScan() {
    scanEnd = 1;
    scanSum = 0;
}

void RspBuffer::append(const char* data, int size, bool withChecksum) {
    std::memcpy(buffer + length, data, static_cast<std::size_t>(size));
    if (withChecksum) {
        for (int i = 0; i < size; ++i) {
            checksum = static_cast<unsigned char>(checksum + static_cast<unsigned char>(data[i]));
        }
    }
    length += size;
    packetLength += size;
}

bool RspBuffer::createPacket(const std::string& payload, RSPpacketType type) {
    if (getFreeSize() < kFrameOverhead ||
        payload.size() > static_cast<std::size_t>(getFreeSize() - kFrameOverhead)) {
        return false;
    }
    startPacket(type);
    append(payload.data(), static_cast<int>(payload.size()), true);
    return endPacket();
}

bool RspBuffer::startPacket(RSPpacketType type) {
    if (getFreeSize() < 1) {
        return false;
    }
    // The checksum belongs to this frame, not to one left in front of it by a failed send.
    checksum = 0;
    const char start = type == RSP_PACKET_NOTIFICATION ? kNotificationStart : kCommandStart;
    append(&start, 1, false);
    return true;
}

bool RspBuffer::endPacket() {
    if (getFreeSize() < 1 + kChecksumDigits) {
        return false;
    }
    append(&kChecksumMark, 1, false);
    return addChecksum();
}

bool RspBuffer::addWoChecksum(const std::string& data) {
    if (data.size() > static_cast<std::size_t>(getFreeSize())) {
        return false;
    }
    append(data.data(), static_cast<int>(data.size()), false);
    return true;
}

bool RspBuffer::addWChecksum(const std::string& data) {
    if (data.size() > static_cast<std::size_t>(getFreeSize())) {
        return false;
    }
    append(data.data(), static_cast<int>(data.size()), true);
    return true;
}

bool RspBuffer::addChecksum() {
    if (getFreeSize() < kChecksumDigits) {
        return false;
    }
    static const char kHexDigits[] = "0123456789abcdef";
    const char digits[kChecksumDigits] = {kHexDigits[checksum >> 4], kHexDigits[checksum & 0x0f]};
    append(digits, kChecksumDigits, false);
    return true;
}

int RspBuffer::addPartWChecksum(const char* data, int size) {
    int fitting = size < getFreeSize() ? size : getFreeSize();
    if (fitting <= 0) {
        return 0;
    }
    append(data, fitting, true);
    return fitting;
}

void RspBuffer::dropSent() {
    length = 0;
    packetLength = 0;
    forgetScan();
}

int RspBuffer::parseForPacket() {
    if (length == 0) {
        return 0;
    }
    int start = 0;
    while (start < length && !opensPacket(buffer[start])) {
        ++start;
    }
    if (start < length && isOneBytePacket(buffer[start])) {
        // The byte handed on is the first of the buffer, not the one found: rubbish in front of an
        // acknowledgement comes out as a one-byte packet of its own.
        packetLength = 1;
        return packetLength;
    }
    if (start > 0) {
        std::memmove(buffer, buffer + start, static_cast<std::size_t>(length - start));
        length -= start;
        buffer[length] = 0;
        skipped += start;
        forgetScan();
    }
    if (length == 0) {
        return 0;
    }
    const void* mark =
        std::memchr(buffer + scanEnd, kChecksumMark, static_cast<std::size_t>(length - scanEnd));
    int end = mark == nullptr ? length : static_cast<int>(static_cast<const unsigned char*>(mark) - buffer);
    scanSum = static_cast<unsigned char>(scanSum + sumBytes(buffer + scanEnd, end - scanEnd));
    scanEnd = end;
    if (mark == nullptr || end + kChecksumDigits >= length) {
        return 0;
    }
    checksum = scanSum;
    packetLength = end + 1 + kChecksumDigits;
    return packetLength;
}

void RspBuffer::consumePacket() {
    if (packetLength > 0) {
        forgetScan();
    }
    if (packetLength > 0 && packetLength < length) {
        std::memmove(buffer, buffer + packetLength, static_cast<std::size_t>(length - packetLength));
        length -= packetLength;
        buffer[length] = 0;
    } else if (packetLength > 0 && packetLength == length) {
        length = 0;
        buffer[0] = 0;
    }
    packetLength = 0;
}

void RspBuffer::dropFront(int count) {
    if (count <= 0) {
        return;
    }
    packetLength = count < length ? count : length;
    consumePacket();
}

int RspBuffer::takeSkipped() {
    const int count = skipped;
    skipped = 0;
    return count;
}

void RspBuffer::resetPacket() {
    packetLength = 0;
    checksum = 0;
}

void RspBuffer::addReceived(int count) {
    if (count <= 0 || count > getFreeSize()) {
        return;
    }
    length += count;
    buffer[length] = 0;
}
