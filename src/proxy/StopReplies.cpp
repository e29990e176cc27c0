#include "proxy/StopReplies.h"

#include "proxy/Interception.h"
#include "proxy/ServerThreadIds.h"
#include "proxy/ThreadSelection.h"
#include "proxy/ThreadSnapshot.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "target/TargetThread.h"

bool StopReplies::intercept_stopReply(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_stopReply";
    std::string text;
    if (!from.getCommand(text, false)) {
        return true;
    }
    serverIds.noteStopReply(text);
    std::string kind;
    unsigned int signal = 0;
    if (!RspUtil::parseCommand_stopReply(text, kind, signal)) {
        return true;
    }
    if (kind == "W" || kind == "X") {
        // The target is gone; GDB hears it from the server itself.
        snapshot.noteTargetGone();
        return true;
    }
    Interception::take(from, handled);
    Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Reply: %s Signal: %d\n", kind.c_str(),
                              static_cast<int>(signal));
    snapshot.noteStop();
    TargetThread active;
    if (!snapshot.getActiveThread(from, active)) {
        Interception::logLine(Logger::LOG_ERROR, tag, "Target stopped. No active thread\n");
        return false;
    }
    // GDB takes a stop to select the thread that stopped, as if it had sent "Hg" for it.
    selection.moveGeneralTo(active.getThreadId());
    return Interception::sendReply(to, RspUtil::createCommand_stopReply(text, active.getThreadId()), tag,
                                   "Target stopped. Failed forward reply\n");
}

bool StopReplies::intercept_k(RspClient& from, RspClient& /*to*/, bool& handled) {
    handled = false;
    if (RspUtil::parseCommand_k(Interception::peekPayload(from))) {
        snapshot.noteTargetGone();
    }
    return true;
}
