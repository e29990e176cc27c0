#include "proxy/ServerThreadIds.h"

#include "base/StringUtil.h"

#include <vector>

namespace {

const std::string kFeaturesRequest = "qSupported";
const std::string kMultiprocess = "multiprocess+";
const std::string kThreadField = "thread:";
const std::string kVCont = "vCont;";
const std::string kDetach = "D";
// Ids that name no thread in particular: any thread and all threads.
const char* const kAnyThreads[] = {"0", "-1"};

bool namesAnyThread(const std::string& id) {
    for (const char* any : kAnyThreads) {
        if (id == any) {
            return true;
        }
    }
    return false;
}

} // namespace

void ServerThreadIds::noteRequest(const std::string& request) {
    featuresAwaited = request.compare(0, kFeaturesRequest.size(), kFeaturesRequest) == 0;
}

bool ServerThreadIds::hideMultiprocess(const std::string& reply, std::string& features) {
    featuresAwaited = false;
    std::vector<std::string> kept;
    bool hidden = false;
    for (const std::string& feature : StringUtil::split2(reply, ';')) {
        if (feature == kMultiprocess) {
            hidden = true;
        } else {
            kept.push_back(feature);
        }
    }
    if (!hidden) {
        return false;
    }
    features = StringUtil::to_string(kept, ";");
    return true;
}

void ServerThreadIds::noteStopReply(const std::string& reply) {
    if (reply.empty() || reply[0] != 'T') {
        return;
    }
    std::string::size_type start = reply.find(kThreadField);
    if (start == std::string::npos) {
        return;
    }
    start += kThreadField.size();
    std::string::size_type end = reply.find(';', start);
    currentThread = reply.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

std::string ServerThreadIds::toServer(const std::string& request) {
    std::string mapped = inServerTerms(request);
    awaited.clear();
    if (mapped == request || ownIdsOnly) {
        return mapped;
    }
    awaited = mapped;
    return request;
}

bool ServerThreadIds::refused(const std::string& answer, std::string& retry) {
    retry = awaited;
    awaited.clear();
    if (retry.empty() || answer.empty() || answer[0] != 'E') {
        return false;
    }
    ownIdsOnly = true;
    return true;
}

std::string ServerThreadIds::inServerTerms(const std::string& request) const {
    if (currentThread.empty()) {
        return request;
    }
    if (request.compare(0, kVCont.size(), kVCont) == 0) {
        return vContToServer(request);
    }
    // "p<pid>.<tid>": a server in multiprocess mode refuses a detach that names no process.
    std::string::size_type dot = currentThread.find('.');
    if (request == kDetach && currentThread[0] == 'p' && dot != std::string::npos) {
        return kDetach + ";" + currentThread.substr(1, dot - 1);
    }
    return request;
}

std::string ServerThreadIds::vContToServer(const std::string& request) const {
    std::vector<std::string> actions = StringUtil::split2(request.substr(kVCont.size()), ';');
    for (std::string& action : actions) {
        std::string::size_type colon = action.find(':');
        if (colon != std::string::npos && !namesAnyThread(action.substr(colon + 1))) {
            action = action.substr(0, colon + 1) + currentThread;
        }
    }
    return kVCont + StringUtil::to_string(actions, ";");
}
