#include "proxy/RegisterRequests.h"

#include "proxy/Interception.h"
#include "proxy/TaskRegisters.h"
#include "proxy/ThreadSelection.h"
#include "proxy/ThreadSnapshot.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "target/TargetThread.h"

namespace {

// Beside TaskRegisters' codes, documented in the README.
const unsigned int kErrorNoThread = 0x05;

} // namespace

bool RegisterRequests::intercept_g(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_g";
    std::string text;
    if (!from.getCommand(text, false)) {
        Interception::logLine(Logger::LOG_ERROR, tag, "Read registers. Command failure.\n");
        return false;
    }
    std::string reply;
    TargetThread thread;
    if (!getSelectedThread(to, thread)) {
        Interception::take(from, handled);
        Interception::logLine(Logger::LOG_DEBUG, tag, "Read registers. No valid thread (prev g packet)\n");
        reply = RspUtil::createReply_Error(kErrorNoThread);
    } else if (thread.getCpuActive()) {
        if (payloadSize != 0) {
            return true;
        }
        Interception::take(from, handled);
        if (!learnPayloadSize(text, to, reply)) {
            return false;
        }
    } else {
        // Claimed before the frame is read, so that GDB has its '+' however slow the read.
        Interception::take(from, handled);
        reply = TaskRegisters(*driver, targetDescription, to, thread).readAll(payloadSize);
    }
    return Interception::sendReply(from, reply, tag, "Read registers. Failed sending reply.\n");
}

bool RegisterRequests::learnPayloadSize(const std::string& request, RspClient& server, std::string& reply) {
    const char* const tag = "intercept_g";
    if (!server.sendWaitCommand(request, reply)) {
        Interception::logLine(Logger::LOG_ERROR, tag, "Read registers. Failed determine pay-load size\n");
        return false;
    }
    payloadSize = static_cast<unsigned int>(reply.size() / 2);
    Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Payload size: %d\n", static_cast<int>(payloadSize));
    return true;
}

bool RegisterRequests::intercept_p(RspClient& from, RspClient& to, bool& handled) {
    unsigned int number = 0;
    if (!RspUtil::parseCommand_p(Interception::peekPayload(from), number)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled,
                                    [number](TaskRegisters& registers) { return registers.readOne(number); });
}

bool RegisterRequests::intercept_P(RspClient& from, RspClient& to, bool& handled) {
    unsigned int number = 0;
    std::string valueHex;
    if (!RspUtil::parseCommand_P(Interception::peekPayload(from), number, valueHex)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled, [number, &valueHex](TaskRegisters& registers) {
        return registers.writeOne(number, valueHex);
    });
}

bool RegisterRequests::intercept_G(RspClient& from, RspClient& to, bool& handled) {
    std::string registersHex;
    if (!RspUtil::parseCommand_G(Interception::peekPayload(from), registersHex)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled, [&registersHex](TaskRegisters& registers) {
        return registers.writeAll(registersHex);
    });
}

bool RegisterRequests::answerForSwitchedOutTask(RspClient& from, RspClient& to, bool& handled,
                                                const std::function<std::string(TaskRegisters&)>& answer) {
    const char* const tag = "intercept_register";
    TargetThread thread;
    std::string reply;
    if (!getSelectedThread(to, thread)) {
        Interception::take(from, handled);
        Interception::logLine(Logger::LOG_DEBUG, tag, "Register access. No valid thread (prev Hg packet)\n");
        reply = RspUtil::createReply_Error(kErrorNoThread);
    } else if (thread.getCpuActive()) {
        return true;
    } else {
        // Claimed before the frame is read or written, so that GDB has its '+' however slow the target.
        Interception::take(from, handled);
        TaskRegisters registers(*driver, targetDescription, to, thread);
        reply = answer(registers);
    }
    return Interception::sendReply(from, reply, tag, "Register access. Failed sending reply.\n");
}

bool RegisterRequests::getSelectedThread(RspClient& server, TargetThread& out) {
    const char* const tag = "getSelectedThread";
    unsigned int selected = 0;
    if (selection.get("g", selected)) {
        if (!snapshot.findThread(server, selected, out)) {
            // The selection stays, so that every packet fails alike until the next "Hg" or stop.
            Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Failed finding thread %d.\n",
                                      static_cast<int>(selected));
            return false;
        }
        return true;
    }
    if (!snapshot.getActiveThread(server, out)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Failed finding active thread.\n");
        return false;
    }
    return true;
}

void RegisterRequests::forget() {
    payloadSize = 0;
}
