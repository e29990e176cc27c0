#include "proxy/ServerRequests.h"

#include "proxy/Interception.h"
#include "proxy/ServerThreadIds.h"
#include "rsp/RspClient.h"

bool ServerRequests::intercept_serverRequest(RspClient& from, RspClient& to, bool& handled) {
    std::string request = Interception::peekPayload(from);
    serverIds.noteRequest(request);
    std::string mapped = serverIds.toServer(request);
    if (mapped == request) {
        return true;
    }
    Interception::take(from, handled);
    if (!to.relayCommand(mapped)) {
        Interception::logLine(Logger::LOG_ERROR, "intercept_serverRequest",
                              "Forward request. Failed sending\n");
        return false;
    }
    return true;
}

bool ServerRequests::intercept_features(RspClient& from, RspClient& to, bool& handled) {
    std::string reply;
    std::string features;
    if (!from.getCommand(reply, false) || !serverIds.hideMultiprocess(reply, features)) {
        return true;
    }
    Interception::take(from, handled);
    return Interception::sendReply(to, features, "intercept_features", "Features. Failed sending reply\n");
}

bool ServerRequests::intercept_refusal(RspClient& from, RspClient& /*to*/, bool& handled) {
    std::string retry;
    if (!serverIds.refused(Interception::peekPayload(from), retry)) {
        return true;
    }
    Interception::take(from, handled);
    if (!from.relayCommand(retry)) {
        Interception::logLine(Logger::LOG_ERROR, "intercept_refusal", "Forward request. Failed sending\n");
        return false;
    }
    return true;
}
