#include "proxy/ThreadQueries.h"

#include "proxy/Interception.h"
#include "proxy/ThreadSelection.h"
#include "proxy/ThreadSnapshot.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "target/TargetThread.h"

namespace {

// Documented in the README.
const unsigned int kErrorThreadNotAlive = 0x17;

} // namespace

bool ThreadQueries::intercept_qXferthreadsread(RspClient& from, RspClient& to, bool& handled) {
    unsigned int offset = 0;
    unsigned int length = 0;
    if (!RspUtil::parseCommand_qXferthreadsread(Interception::peekPayload(from), offset, length)) {
        return true;
    }
    Interception::take(from, handled);
    // The snapshot stands for the whole stop, so the pieces GDB asks for always fit together.
    std::string reply =
        RspUtil::createReply_qXferthreadsread(snapshot.getThreads(to).getXML(), offset, length);
    return Interception::sendReply(from, reply, "intercept_qXferthreadsread",
                                   "Read threads. Failed sending\n");
}

bool ThreadQueries::intercept_qfThreadInfo(RspClient& from, RspClient& to, bool& handled) {
    if (!RspUtil::parseCommand_qfThreadInfo(Interception::peekPayload(from))) {
        return true;
    }
    Interception::take(from, handled);
    ThreadList threads = snapshot.getThreads(to);
    // All ids in one reply, however many: the qsThreadInfo that follows ends the list.
    return Interception::sendReply(from, RspUtil::createReply_qfThreadInfo(threads.getThreadIdentifiers()),
                                   "intercept_qfThreadInfo", "Read threads. Failed sending\n");
}

bool ThreadQueries::intercept_qsThreadInfo(RspClient& from, RspClient& /*to*/, bool& handled) {
    if (!RspUtil::parseCommand_qsThreadInfo(Interception::peekPayload(from))) {
        return true;
    }
    Interception::take(from, handled);
    return Interception::sendReply(from, RspUtil::createReply_qfThreadInfo({}), "intercept_qsThreadInfo",
                                   "Read threads. Failed sending\n");
}

bool ThreadQueries::intercept_qThreadExtraInfo(RspClient& from, RspClient& to, bool& handled) {
    unsigned int id = 0;
    if (!RspUtil::parseCommand_qThreadExtraInfo(Interception::peekPayload(from), id)) {
        return true;
    }
    Interception::take(from, handled);
    TargetThread thread;
    std::string reply = snapshot.getThreads(to).getThread(id, thread)
                            ? RspUtil::createReply_qThreadExtraInfo(thread.getName(), thread.getCpuActive())
                            : RspUtil::createReply_Empty();
    return Interception::sendReply(from, reply, "intercept_qThreadExtraInfo",
                                   "Thread info. Failed sending\n");
}

bool ThreadQueries::intercept_qC(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_qC";
    if (!RspUtil::parseCommand_qC(Interception::peekPayload(from))) {
        return true;
    }
    Interception::take(from, handled);
    TargetThread active;
    std::string reply = RspUtil::createReply_OK();
    if (snapshot.getThreads(to).getActiveThread(active)) {
        reply = RspUtil::createReply_qC(active.getThreadId());
    } else {
        Interception::logLine(Logger::LOG_WARNING, tag, "Get active thread. No active thread found\n");
    }
    return Interception::sendReply(from, reply, tag, "Get active thread. Failed sending response\n");
}

bool ThreadQueries::intercept_T(RspClient& from, RspClient& to, bool& handled) {
    unsigned int id = 0;
    if (!RspUtil::parseCommand_T(Interception::peekPayload(from), id)) {
        return true;
    }
    Interception::take(from, handled);
    TargetThread thread;
    std::string reply = snapshot.getThreads(to).getThread(id, thread)
                            ? RspUtil::createReply_OK()
                            : RspUtil::createReply_Error(kErrorThreadNotAlive);
    return Interception::sendReply(from, reply, "intercept_T",
                                   "Check thread alive. Failed sending response\n");
}

bool ThreadQueries::intercept_H(RspClient& from, RspClient& /*to*/, bool& handled) {
    std::string operation;
    unsigned int id = 0;
    if (!RspUtil::parseCommand_H(Interception::peekPayload(from), operation, id)) {
        return true;
    }
    Interception::take(from, handled);
    // Unchecked: an unknown thread shows at the next register packet. The server keeps meaning the core.
    selection.select(operation, id);
    return Interception::sendReply(from, RspUtil::createReply_OK(), "intercept_H",
                                   "Set next operation. Failed sending response\n");
}
