#include "proxy/ReadPathWatch.h"

#include "base/StringUtil.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"

#include <array>
#include <cstdlib>
#include <vector>

namespace {

// Requests that resume the target (or restart it) or write its memory or registers; frame start included.
const std::array<const char*, 16> kStopEnders = {"$c",      "$C", "$s",    "$S",      "$i", "$I",
                                                 "$vCont;", "$M", "$X",    "$P",      "$G", "$vFlash",
                                                 "$R",      "$r", "$vRun", "$vAttach"};
// Replies of the server that report a stop or the end of the target.
const std::array<const char*, 4> kStopReplies = {"$S", "$T", "$W", "$X"};
const char* const kMonitor = "$qRcmd,";
const char* const kFeaturesRequest = "$qSupported";
const std::string kPacketSize = "PacketSize=";
// The monitor commands tarnwick runs itself; all others go to the server and may do anything.
const std::string kOwnMonitorWord = "rtos";

// Whether the frame waiting in from starts with one of the prefixes: no copy of a large frame is made.
template <std::size_t N> bool peeksAny(RspClient& from, const std::array<const char*, N>& prefixes) {
    for (const char* prefix : prefixes) {
        if (from.peekCommand(prefix)) {
            return true;
        }
    }
    return false;
}

unsigned int packetSizeOf(const std::string& features) {
    for (const std::string& feature : StringUtil::split2(features, ';')) {
        if (StringUtil::startsWith(feature, kPacketSize)) {
            return static_cast<unsigned int>(std::strtoul(feature.c_str() + kPacketSize.size(), nullptr, 16));
        }
    }
    return 0;
}

} // namespace

bool ReadPathWatch::endsStop(RspClient& gdb) {
    if (peeksAny(gdb, kStopEnders)) {
        return true;
    }
    std::string request;
    std::vector<std::string> words;
    return gdb.peekCommand(kMonitor) && gdb.getCommand(request, false) &&
           RspUtil::parseCommand_qRcmd(request, words) && (words.empty() || words[0] != kOwnMonitorWord);
}

void ReadPathWatch::observe(RspClient& from, RspClient& server) {
    server.setMemoryCache(cacheEnabled ? &cache : nullptr);
    if (from.getRole() == ROLE_GDB_CLIENT) {
        if (from.peekCommand(kFeaturesRequest)) {
            featuresAwaited = true;
        }
        if (endsStop(from)) {
            cache.clear();
        }
        return;
    }
    std::string features;
    if (featuresAwaited && from.getCommand(features, false) && features != "+" && features != "-") {
        featuresAwaited = false;
        server.setPacketSize(packetSizeOf(features));
    }
    if (peeksAny(from, kStopReplies)) {
        cache.clear();
    }
}

FrameScreen::Verdict ReadPathWatch::screen(RspClientRole from, const unsigned char* head, int length) const {
    static const FrameScreen requests = [] {
        std::vector<const char*> watched(kStopEnders.begin(), kStopEnders.end());
        watched.push_back(kMonitor);
        watched.push_back(kFeaturesRequest);
        return FrameScreen(watched);
    }();
    static const FrameScreen replies(std::vector<const char*>(kStopReplies.begin(), kStopReplies.end()));
    if (from == ROLE_GDB_CLIENT) {
        return requests.judge(head, length);
    }
    return featuresAwaited ? FrameScreen::Verdict::WHOLE : replies.judge(head, length);
}

void ReadPathWatch::reset() {
    cache.clear();
    featuresAwaited = false;
}
