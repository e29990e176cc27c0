#include "proxy/Interception.h"

#include "rsp/RspClient.h"

void Interception::logLine(Logger::Severity_t severity, const char* tag, const char* line) {
    Logger::getInstance().log(severity, tag, "%s", line);
}

std::string Interception::peekPayload(RspClient& from) {
    std::string text;
    from.getCommand(text, false);
    return text;
}

void Interception::take(RspClient& from, bool& handled) {
    std::string text;
    from.getCommand(text, true);
    handled = true;
}

bool Interception::sendReply(RspClient& to, const std::string& reply, const char* tag,
                             const char* failureLine) {
    if (to.sendCommand(reply)) {
        return true;
    }
    logLine(Logger::LOG_ERROR, tag, failureLine);
    return false;
}
