#include "proxy/TargetDescriptionWatch.h"

#include "proxy/Interception.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "target/TargetDescriptionIncludes.h"

bool TargetDescriptionWatch::intercept_qXferfeaturesreadtarget_xml(RspClient& from, RspClient& to,
                                                                   bool& handled) {
    const char* const tag = "intercept_qXferfeaturesreadtarget_xml";
    std::string text;
    std::string reply;
    unsigned int offset = 0;
    unsigned int length = 0;
    if (!from.getCommand(text, false) ||
        !RspUtil::parseCommand_qXferfeaturesreadtarget_xml(text, offset, length)) {
        return true;
    }
    Interception::take(from, handled);
    // Offset and length are the server's business; the proxy only listens in.
    if (!to.sendWaitCommand(text, reply)) {
        Interception::logLine(Logger::LOG_ERROR, tag, "Read target.xml. Failed send/wait command\n");
        return false;
    }
    bool last = false;
    bool parsed = RspUtil::parseReply_qXferobjectreadannex(reply, targetXml, last);
    if (!parsed) {
        Interception::logLine(Logger::LOG_ERROR, tag, "Read target.xml. Failed parse reply\n");
    }
    if (!Interception::sendReply(from, reply, tag, "Read target.xml. Failed sending reply.\n")) {
        return false;
    }
    // After the reply, so that GDB is not kept waiting for the annexes.
    if (parsed && last) {
        loadTargetDescription(to);
    }
    return true;
}

void TargetDescriptionWatch::loadTargetDescription(RspClient& server) {
    std::string whole = targetXml;
    for (const std::string& annex : TargetDescriptionIncludes::find(targetXml)) {
        std::string text;
        if (!server.readFeatures(annex, text)) {
            Logger::getInstance().log(
                Logger::LOG_ERROR, "intercept_qXferfeaturesreadtarget_xml",
                "Read target.xml. Failed reading %s, switched-out tasks show no registers\n", annex.c_str());
            whole = targetXml;
            break;
        }
        whole += text;
    }
    targetDescription.load(whole);
}

void TargetDescriptionWatch::forget() {
    targetDescription = TargetDescription();
    targetXml.clear();
}
