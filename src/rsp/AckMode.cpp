#include "rsp/AckMode.h"

#include <cstring>

namespace {

// The frames' first bytes, start byte included; payloadIs compares what follows it.
const char kFeaturesRequest[] = "$qSupported";
const char kNoAckRequest[] = "$QStartNoAckMode";
const char kOk[] = "OK";
// Start byte, '#' and the two checksum digits.
const int kFrameOverhead = 4;

// Whether the packet is a '$' frame whose payload starts with text, or is exactly text.
bool payloadIs(const unsigned char* packet, int length, const char* text, bool whole) {
    const int size = static_cast<int>(std::strlen(text));
    const int payloadLength = length - kFrameOverhead;
    if (packet[0] != '$' || payloadLength < size || (whole && payloadLength != size)) {
        return false;
    }
    return std::memcmp(packet + 1, text, static_cast<std::size_t>(size)) == 0;
}

} // namespace

FrameScreen::Verdict AckMode::screen(RspClientRole from, const unsigned char* head, int length) const {
    static const FrameScreen requests({kFeaturesRequest, kNoAckRequest});
    if (from == ROLE_GDB_CLIENT) {
        return requests.judge(head, length);
    }
    return awaiting == Awaiting::NOTHING ? FrameScreen::Verdict::PASS : FrameScreen::Verdict::WHOLE;
}

void AckMode::observe(RspClientRole from, const unsigned char* packet, int length) {
    if (length < kFrameOverhead || packet[0] != '$') {
        return;
    }
    if (from == ROLE_GDB_CLIENT) {
        if (payloadIs(packet, length, kFeaturesRequest + 1, false)) {
            awaiting = Awaiting::FEATURES;
        } else if (payloadIs(packet, length, kNoAckRequest + 1, true)) {
            awaiting = Awaiting::NO_ACK_ANSWER;
        }
        return;
    }
    // Every connection starts acknowledging: the server's features only say whether that can end, and
    // only its OK to QStartNoAckMode ends it.
    if (awaiting == Awaiting::FEATURES) {
        on = true;
    } else if (awaiting == Awaiting::NO_ACK_ANSWER && payloadIs(packet, length, kOk, true)) {
        on = false;
    }
    awaiting = Awaiting::NOTHING;
}
