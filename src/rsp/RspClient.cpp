#include "rsp/RspClient.h"
#include "base/NumberCodec.h"

#include "base/Logger.h"
#include "rsp/AckMode.h"
#include "rsp/ClientSocket.h"
#include "rsp/FramePassage.h"
#include "rsp/RspUtil.h"
#include "rsp/StopMemoryCache.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

const unsigned int kReplyTimeoutMilliseconds = 1000;
// Small enough for any server's packet size.
const unsigned int kFeaturesPiece = 0x400;
// Start byte, '#' and two checksum digits.
const int kFrameOverhead = 4;
const int kChecksumDigits = 2;
const unsigned char kInterrupt = 0x03;
// Data bytes per "m" while the server has not named its packet size.
const unsigned int kDefaultReadPiece = 4096;
// No structure or stack of a target is larger. A larger length comes from corrupt kernel data (a stack size
// of four billion), and reading it piece by piece would keep a probe busy for minutes.
const unsigned int kLargestRead = 1024 * 1024;
// Each data byte is two hexadecimal digits of the reply.
const unsigned int kHexDigitsPerByte = 2;

unsigned int toMicroseconds(unsigned int milliseconds) {
    if (milliseconds > UINT_MAX / 1000) {
        return UINT_MAX;
    }
    return milliseconds * 1000;
}

} // namespace

RspClient::RspClient(ClientSocket* newSocket, std::string newName, RspClientRole newRole)
    : clientSocket(newSocket), role(newRole), name(std::move(newName)) {
    transmitBuffer.clear();
    receiveBuffer.clear();
}

RspClient::~RspClient() {
    delete clientSocket;
}

bool RspClient::acknowledging() const {
    return ackMode != nullptr && ackMode->isOn();
}

bool RspClient::holdsPacket() {
    receiveBuffer.resetPacket();
    return receiveBuffer.parseForPacket() > 0;
}

int RspClient::takePacket() {
    receiveBuffer.resetPacket();
    int found = receiveBuffer.parseForPacket();
    const int skipped = receiveBuffer.takeSkipped();
    if (skipped > 0) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "getPacket", "Skipped %d stray bytes from %s\n", skipped,
                                  name.c_str());
    }
    if (found > 0) {
        const unsigned char* packet = receiveBuffer.getBuffer();
        if (ackMode != nullptr) {
            ackMode->observe(role, packet, found);
        }
        if (packet[0] == '$') {
            forwardedRequestOpen = false;
            ackOwed = acknowledging();
        }
    }
    return found;
}

bool RspClient::holdsFrameStart() {
    const unsigned char first = receiveBuffer.getBuffer()[0];
    return receiveBuffer.getLength() > 0 && (first == '$' || first == '%');
}

int RspClient::receive() {
    // A full buffer asks for 0 bytes and gets 0: to the caller that is a lost connection.
    int received = clientSocket->read(reinterpret_cast<char*>(receiveBuffer.getFreeSpace()),
                                      receiveBuffer.getFreeSize());
    if (received > 0) {
        receiveBuffer.addReceived(received);
    }
    return received;
}

int RspClient::getPacket(unsigned int timeoutMilliseconds) {
    for (;;) {
        int found = takePacket();
        if (found > 0) {
            return found;
        }
        int waited = clientSocket->waitData(toMicroseconds(timeoutMilliseconds));
        if (waited == 0) {
            return 0;
        }
        if (waited < 0) {
            Logger::getInstance().log(Logger::LOG_DEBUG, "getPacket",
                                      "Error while waiting for client to send data, exiting...\n");
            return -1;
        }
        if (receive() < 1) {
            return -1;
        }
    }
}

RspClient::Passage RspClient::passFrame(RspClient& to) {
    const bool command = receiveBuffer.getBuffer()[0] == '$';
    FramePassage passage;
    for (;;) {
        const int part = passage.take(receiveBuffer.getBuffer(), receiveBuffer.getLength());
        if (part > 0 && to.sendPacket(receiveBuffer.getBuffer(), static_cast<unsigned int>(part)) != part) {
            return Passage::WRITE_FAILED;
        }
        receiveBuffer.dropFront(part);
        if (!passage.isOpen()) {
            break;
        }
        if (receive() < 1) {
            return Passage::LOST;
        }
    }
    // As for a whole frame forwarded: the other peer acknowledges it, and its '+' passes through.
    ackOwed = false;
    if (command && role == ROLE_GDB_SERVER) {
        forwardedRequestOpen = false;
    }
    if (command && role == ROLE_GDB_CLIENT) {
        to.forwardedRequestOpen = true;
    }
    return Passage::PASSED;
}

int RspClient::forwardPacket(RspClient& to) {
    int frameLength = receiveBuffer.getPacketLength();
    bool request = role == ROLE_GDB_CLIENT && receiveBuffer.getBuffer()[0] == '$';
    int written = to.sendPacket(receiveBuffer.getBuffer(), static_cast<unsigned int>(frameLength));
    receiveBuffer.consumePacket();
    // The other peer acknowledges it, and its '+' passes through.
    ackOwed = false;
    if (request) {
        to.forwardedRequestOpen = true;
    }
    return written < frameLength ? -1 : written;
}

bool RspClient::settleAck() {
    if (!ackOwed) {
        return true;
    }
    ackOwed = false;
    unsigned char ack = '+';
    return sendPacket(&ack, 1) == 1;
}

RspClient::AckReply RspClient::awaitAck() {
    for (;;) {
        if (getPacket(kReplyTimeoutMilliseconds) <= 0) {
            Logger::getInstance().log(Logger::LOG_DEBUG, "awaitAck", "No acknowledgement from %s\n",
                                      name.c_str());
            return AckReply::NONE;
        }
        const unsigned char first = receiveBuffer.getBuffer()[0];
        if (receiveBuffer.getPacketLength() > 1 || first == kInterrupt) {
            // The peer went on without one; what it sent stays for whoever reads next.
            return AckReply::ACK;
        }
        receiveBuffer.consumePacket();
        if (first == '+' || first == '-') {
            return first == '+' ? AckReply::ACK : AckReply::NAK;
        }
    }
}

void RspClient::dropUnrequested() {
    if (role != ROLE_GDB_SERVER || forwardedRequestOpen) {
        return;
    }
    int dropped = 0;
    for (;;) {
        dropped += receiveBuffer.getLength();
        receiveBuffer.clear();
        if (clientSocket->waitData(0) <= 0) {
            break;
        }
        // A closed connection shows at the read that follows.
        int received = clientSocket->read(reinterpret_cast<char*>(receiveBuffer.getFreeSpace()),
                                          receiveBuffer.getFreeSize());
        if (received < 1) {
            break;
        }
        receiveBuffer.addReceived(received);
    }
    if (dropped > 0) {
        Logger::getInstance().log(Logger::LOG_WARNING, "dropUnrequested",
                                  "Dropped %d bytes that %s sent unasked\n", dropped, name.c_str());
    }
}

int RspClient::sendPacket(unsigned char* data, unsigned int length) {
    return clientSocket->write(data, static_cast<int>(length));
}

bool RspClient::sendPacket(RspBuffer& buffer) {
    int frameLength = buffer.getPacketLength();
    if (sendPacket(buffer.getBuffer(), static_cast<unsigned int>(frameLength)) != frameLength) {
        return false;
    }
    buffer.clear();
    return true;
}

bool RspClient::sendFrame(const std::string& payload, RSPpacketType type) {
    dropUnrequested();
    if (!settleAck() || !writeFrame(payload, type)) {
        return false;
    }
    if (type == RSP_PACKET_NOTIFICATION || !acknowledging()) {
        return true;
    }
    AckReply answer = awaitAck();
    if (answer == AckReply::NAK) {
        // Once: a peer that refuses the same frame twice will not take it a third time.
        Logger::getInstance().log(Logger::LOG_DEBUG, "sendFrame", "%s asked for the frame again\n",
                                  name.c_str());
        answer = writeFrame(payload, type) ? awaitAck() : AckReply::NONE;
    }
    return answer == AckReply::ACK;
}

bool RspClient::writeFrame(const std::string& payload, RSPpacketType type) {
    if (transmitBuffer.createPacket(payload, type)) {
        return sendPacket(transmitBuffer);
    }
    return streamFrame(payload, type);
}

bool RspClient::streamFrame(const std::string& payload, RSPpacketType type) {
    const int frameEnd = 1 + kChecksumDigits;
    bool sent = (transmitBuffer.getFreeSize() > 0 || flushTransmit()) && transmitBuffer.startPacket(type);
    const char* data = payload.data();
    std::size_t left = payload.size();
    while (sent && left > 0) {
        if (transmitBuffer.getFreeSize() == 0 && !flushTransmit()) {
            sent = false;
            break;
        }
        int piece = static_cast<int>(std::min<std::size_t>(left, static_cast<std::size_t>(INT_MAX)));
        int added = transmitBuffer.addPartWChecksum(data, piece);
        data += added;
        left -= static_cast<std::size_t>(added);
    }
    sent = sent && (transmitBuffer.getFreeSize() >= frameEnd || flushTransmit()) &&
           transmitBuffer.endPacket() && sendPacket(transmitBuffer);
    if (!sent) {
        // Part of the frame may be out already; what is left could never complete it.
        transmitBuffer.clear();
    }
    return sent;
}

bool RspClient::flushTransmit() {
    int held = transmitBuffer.getPacketLength();
    if (sendPacket(transmitBuffer.getBuffer(), static_cast<unsigned int>(held)) != held) {
        return false;
    }
    transmitBuffer.dropSent();
    return true;
}

bool RspClient::sendCommand(const std::string& payload) {
    if (sendFrame(payload, RSP_PACKET_COMMAND)) {
        return true;
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, "sendCommand", "failed sending command\n");
    return false;
}

bool RspClient::relayCommand(const std::string& payload) {
    forwardedRequestOpen = sendCommand(payload);
    return forwardedRequestOpen;
}

bool RspClient::sendNotification(const std::string& payload) {
    if (sendFrame(payload, RSP_PACKET_NOTIFICATION)) {
        return true;
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, "sendNotification", "failed sending command\n");
    return false;
}

bool RspClient::sendWaitCommand(const std::string& command, std::string& reply) {
    return sendCommand(command) && waitCommand(reply);
}

bool RspClient::waitCommand(std::string& reply) {
    return waitCommand(reply, kReplyTimeoutMilliseconds) > 0;
}

int RspClient::waitCommand(std::string& reply, unsigned int timeoutMilliseconds) {
    int found = getPacket(timeoutMilliseconds);
    // A second '+' for the request, or one that came late, is no reply.
    while (found == 1 && acknowledging() && receiveBuffer.getBuffer()[0] == '+') {
        receiveBuffer.consumePacket();
        found = getPacket(timeoutMilliseconds);
    }
    if (found <= 0) {
        return found;
    }
    if (!framedPayload(reply, false)) {
        const unsigned char* frame = receiveBuffer.getBuffer();
        reply.assign(frame, frame + receiveBuffer.getPacketLength());
    }
    receiveBuffer.consumePacket();
    if (!settleAck()) {
        return -1;
    }
    return static_cast<int>(reply.size());
}

bool RspClient::peekCommand(std::string prefix) {
    return peekBytes(prefix.data(), prefix.size());
}

bool RspClient::peekCommand(const char* prefix) {
    // Byte by byte: most prefixes of a dispatch table differ from the packet in its second byte.
    const unsigned char* held = receiveBuffer.getBuffer();
    const int length = receiveBuffer.getLength();
    if (receiveBuffer.getPacketLength() <= 0) {
        return false;
    }
    for (int i = 0; prefix[i] != '\0'; ++i) {
        if (i >= length || held[i] != static_cast<unsigned char>(prefix[i])) {
            return false;
        }
    }
    return true;
}

bool RspClient::peekBytes(const char* prefix, std::size_t size) {
    if (receiveBuffer.getPacketLength() <= 0 || size > static_cast<std::size_t>(receiveBuffer.getLength())) {
        return false;
    }
    return std::memcmp(receiveBuffer.getBuffer(), prefix, size) == 0;
}

bool RspClient::getCommand(std::string& command, bool consume) {
    const unsigned char* frame = receiveBuffer.getBuffer();
    bool found = framedPayload(command, true);
    if (!found && receiveBuffer.getPacketLength() == 1 && (frame[0] == '+' || frame[0] == '-')) {
        command.assign(1, static_cast<char>(frame[0]));
        found = true;
    }
    if (found && consume) {
        receiveBuffer.consumePacket();
        // Acknowledged as soon as it is claimed, not when its answer is ready: the answer may need many
        // reads of a slow server, and a peer that waits longer than its time-out for the '+' sends the
        // frame again, which would be answered twice. A '+' that cannot be written fails the answer next.
        settleAck();
    }
    return found;
}

bool RspClient::framedPayload(std::string& payload, bool allowNotification) {
    const unsigned char* frame = receiveBuffer.getBuffer();
    int frameLength = receiveBuffer.getPacketLength();
    // The length test comes first, so that nothing is read in front of a one-byte packet.
    if (frameLength < kFrameOverhead || frame[frameLength - 1 - kChecksumDigits] != '#') {
        return false;
    }
    if (frame[0] != '$' && !(allowNotification && frame[0] == '%')) {
        return false;
    }
    payload.assign(frame + 1, frame + frameLength - 1 - kChecksumDigits);
    return true;
}

bool RspClient::exchangeRead(const std::string& addressHex, unsigned int length,
                             std::vector<unsigned char>& data) {
    std::string reply;
    if (!sendWaitCommand(RspUtil::createCommand_m(addressHex, length), reply)) {
        return false;
    }
    if (!RspUtil::parseReply_m(reply, data)) {
        return false;
    }
    // A reply of another length belongs to another request (a late one) or to no request at all.
    return data.size() == length;
}

unsigned int RspClient::getReadPiece() const {
    if (packetSize < kHexDigitsPerByte) {
        return kDefaultReadPiece;
    }
    // A reply must also fit the receive buffer, whatever the server would send.
    const unsigned int bufferPiece =
        static_cast<unsigned int>(RspBuffer::kCapacity - kFrameOverhead) / kHexDigitsPerByte;
    return std::min(packetSize / kHexDigitsPerByte, bufferPiece);
}

bool RspClient::readFromServer(unsigned int address, const std::string& addressHex, unsigned int length,
                               std::vector<unsigned char>& data) {
    const unsigned int piece = getReadPiece();
    if (length <= piece) {
        return exchangeRead(addressHex, length, data);
    }
    if (length > kLargestRead) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "readMemory",
                                  "%u bytes at 0x%08x: more than any target holds\n", length, address);
        return false;
    }
    data.clear();
    data.reserve(length);
    std::vector<unsigned char> part;
    for (unsigned int done = 0; done < length; done += part.size()) {
        const unsigned int size = std::min(piece, length - done);
        if (!exchangeRead(NumberCodec::toString(address + done, 16), size, part)) {
            return false;
        }
        data.insert(data.end(), part.begin(), part.end());
    }
    return true;
}

void RspClient::prefetchMemory(unsigned int address, unsigned int length) {
    if (memoryCache == nullptr || length == 0 || memoryCache->covers(address, length)) {
        return;
    }
    std::vector<unsigned char> data;
    if (readFromServer(address, NumberCodec::toString(address, 16), length, data)) {
        memoryCache->store(address, data);
        return;
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, "prefetchMemory", "%u bytes at 0x%08x read one by one\n",
                              length, address);
}

bool RspClient::readMemory(const std::string& addressHex, unsigned int length,
                           std::vector<unsigned char>& data) {
    char* end = nullptr;
    const unsigned long long address = std::strtoull(addressHex.c_str(), &end, 16);
    if (addressHex.empty() || *end != '\0' || address > UINT_MAX) {
        return exchangeRead(addressHex, length, data);
    }
    return readAt(static_cast<unsigned int>(address), addressHex, length, data);
}

bool RspClient::readMemory(unsigned int address, unsigned int length, std::vector<unsigned char>& data) {
    return readAt(address, NumberCodec::toString(address, 16), length, data);
}

bool RspClient::readAt(unsigned int address, const std::string& addressHex, unsigned int length,
                       std::vector<unsigned char>& data) {
    if (memoryCache != nullptr && memoryCache->lookup(address, length, data)) {
        return true;
    }
    if (!readFromServer(address, addressHex, length, data)) {
        return false;
    }
    if (memoryCache != nullptr) {
        memoryCache->store(address, data);
    }
    return true;
}

bool RspClient::readMemory(unsigned int address, unsigned int& value) {
    std::vector<unsigned char> data;
    if (!readMemory(address, 4, data)) {
        return false;
    }
    value = NumberCodec::toUINT32(data.data());
    return true;
}

bool RspClient::writeMemory(unsigned int address, const std::string& valueHex) {
    // Whatever the server answers, the memory may have changed: no read may be served from before.
    if (memoryCache != nullptr) {
        memoryCache->clear();
    }
    std::string reply;
    return sendWaitCommand(RspUtil::createCommand_M(address, valueHex), reply) &&
           reply == RspUtil::createReply_OK();
}

bool RspClient::readFeatures(const std::string& annex, std::string& text) {
    text.clear();
    for (;;) {
        const std::string::size_type before = text.size();
        std::string reply;
        bool last = false;
        if (!sendWaitCommand(RspUtil::createCommand_qXferfeaturesread(
                                 annex, static_cast<unsigned int>(before), kFeaturesPiece),
                             reply) ||
            !RspUtil::parseReply_qXferobjectreadannex(reply, text, last)) {
            return false;
        }
        if (last) {
            return true;
        }
        if (text.size() == before) {
            return false;
        }
    }
}
