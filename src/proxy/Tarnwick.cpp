#include "proxy/Tarnwick.h"

#include "proxy/TaskRegisters.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/Symbol.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "rtos/IRtosDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/MissingMemberLog.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/RtosInfo.h"
#include "target/RegisterList.h"
#include "target/TargetDescriptionIncludes.h"
#include "target/TargetThread.h"

#include <vector>

namespace {

// The core is shown as this thread whenever no kernel thread can be.
const unsigned int kFallbackThreadId = 1;
// Beside TaskRegisters' codes, each documented in the README.
const unsigned int kErrorNoThread = 0x05;
const unsigned int kErrorThreadNotAlive = 0x17;

// The first word of the monitor commands that run here rather than on the server.
const std::string monitorKeyword = "rtos";

// Learned from the target and kept for the life of the process, whatever connection comes.
unsigned int payloadSize = 0;
std::string targetXml;

// The server packets inspected: stop replies.
const std::array<const char*, 4> kServerPrefixes = {"$S", "$T", "$W", "$X"};
// The client packets that go on to the server in the server's own thread ids.
const std::array<const char*, 3> kServerRequestPrefixes = {"$qSupported", "$vCont;", "$D"};

void logLine(Logger::Severity_t severity, const char* tag, const char* line) {
    Logger::getInstance().log(severity, tag, "%s", line);
}

// Sends a reply to GDB; a failed send is logged with failureLine and ends the proxy's work.
bool sendReply(RspClient& gdb, const std::string& reply, const char* tag, const char* failureLine) {
    if (gdb.sendCommand(reply)) {
        return true;
    }
    logLine(Logger::LOG_ERROR, tag, failureLine);
    return false;
}

// The payload of the packet in from's buffer, still in place; empty if it has none.
std::string peekPayload(RspClient& from) {
    std::string text;
    from.getCommand(text, false);
    return text;
}

// The packet has been claimed: it leaves the buffer, and the loop forwards nothing.
void take(RspClient& from, bool& handled) {
    std::string text;
    from.getCommand(text, true);
    handled = true;
}

} // namespace

Tarnwick& Tarnwick::getInstance() {
    static Tarnwick instance;
    return instance;
}

unsigned int Tarnwick::getPayloadSize() {
    return payloadSize;
}

const std::string& Tarnwick::getTargetXml() {
    return targetXml;
}

const std::array<Tarnwick::ClientPrefix, Tarnwick::kClientPrefixCount>& Tarnwick::getClientPrefixes() {
    static const std::array<ClientPrefix, kClientPrefixCount> prefixes = {{
        {"$qSymbol::", nullptr, &Tarnwick::intercept_qSymbol, "failure qSymbol::\n"},
        {"$qXfer:threads:read::", nullptr, &Tarnwick::intercept_qXferthreadsread,
         "failure qXfer:threads:read::\n"},
        {"$qXfer:features:read:target.xml", nullptr, &Tarnwick::intercept_qXferfeaturesreadtarget_xml,
         "failure qXfer:features:read:target.xml\n"},
        {"$qfThreadInfo", nullptr, &Tarnwick::intercept_qfThreadInfo, "failure qfThreadInfo\n"},
        {"$qsThreadInfo", nullptr, &Tarnwick::intercept_qsThreadInfo, "failure qsThreadInfo\n"},
        {"$qThreadExtraInfo", nullptr, &Tarnwick::intercept_qThreadExtraInfo, "failure qThreadExtraInfo\n"},
        {"$qC", nullptr, &Tarnwick::intercept_qC, "failure qC\n"},
        {"$T", nullptr, &Tarnwick::intercept_T, "failure T\n"},
        {"$H", nullptr, &Tarnwick::intercept_H, "failure H\n"},
        {"$g", "g", &Tarnwick::intercept_g, "failure g\n"},
        {"$p", nullptr, &Tarnwick::intercept_p, "failure p\n"},
        {"$P", nullptr, &Tarnwick::intercept_P, "failure P\n"},
        {"$G", nullptr, &Tarnwick::intercept_G, "failure G\n"},
        {"$k", nullptr, &Tarnwick::intercept_k, "failure k\n"},
        {"$qRcmd", nullptr, &Tarnwick::intercept_monitor, "failure qRcmd\n"},
    }};
    return prefixes;
}

bool Tarnwick::init() {
    Logger& logger = Logger::getInstance();
    if (!RspProxy::init()) {
        logger.log(Logger::LOG_ERROR, "init", "Failed initialize tarnwick\n");
        return false;
    }
    if (!driverFactory.init()) {
        logger.log(Logger::LOG_ERROR, "init", "Failed initialize driver factory\n");
        return false;
    }
    std::string driverId;
    if (Properties::getInstance().getProperty("--rtos", driverId)) {
        logger.log(Logger::LOG_INFO, "init", "Loading RTOS driver... ");
        return loadDriver(driverFactory.create(driverId));
    }
    logger.log(Logger::LOG_INFO, "init", "Loading RTOS driver (Auto)... ");
    return loadDriver(driverFactory.create());
}

void Tarnwick::forgetConnection() {
    threadList = ThreadList();
    threadSelection.forget();
    stopCount = 0;
    targetDescription = TargetDescription();
    serverThreadIds = ServerThreadIds();
    readPath.reset();
    partialList = false;
    payloadSize = 0;
    targetXml.clear();
}

void Tarnwick::forgetSession() {
    forgetConnection();
    // The next GDB may bring a rebuilt program: its symbols are asked anew, and its dump renewed if stale.
    SymbolTable& symbols = SymbolTable::getInstance();
    symbols.clear();
    symbols.init();
}

bool Tarnwick::loadDriver(IRtosDriver* newDriver) {
    Logger& logger = Logger::getInstance();
    forgetConnection();

    Properties& properties = Properties::getInstance();
    bool readCache = true;
    if (!properties.getProperty("--read_cache", readCache)) {
        readCache = true;
    }
    readPath.setCacheEnabled(readCache);
    if (!properties.getProperty("--lazy_walk", lazyWalk)) {
        lazyWalk = true;
    }

    driver = newDriver;
    if (driver == nullptr) {
        logger.log(Logger::LOG_INFO, "init", "Failed to load driver\n");
        return false;
    }
    // Ends the line that init began.
    logger.log(Logger::LOG_INFO, "init", "%s\n", driver->getDriverInfo().getName().c_str());
    if (!driver->init()) {
        logger.log(Logger::LOG_ERROR, "init", "Failed initialize rtos driver.\n");
        return false;
    }
    return true;
}

bool Tarnwick::interceptPacket(RspClient& from, RspClient& to, bool& handled) {
    handled = false;
    if (driver == nullptr) {
        return false;
    }
    readPath.observe(from, from.getRole() == ROLE_GDB_SERVER ? from : to);
    switch (from.getRole()) {
    case ROLE_GDB_SERVER:
        return dispatchServerPacket(from, to, handled);
    case ROLE_GDB_CLIENT:
        return dispatchClientPacket(from, to, handled);
    }
    return true;
}

FrameScreen::Verdict Tarnwick::screenFrame(RspClient& from, const unsigned char* head, int length) {
    static const FrameScreen requests = [] {
        std::vector<const char*> inspected(kServerRequestPrefixes.begin(), kServerRequestPrefixes.end());
        for (const ClientPrefix& row : getClientPrefixes()) {
            inspected.push_back(row.prefix);
        }
        return FrameScreen(inspected);
    }();
    static const FrameScreen replies(
        std::vector<const char*>(kServerPrefixes.begin(), kServerPrefixes.end()));
    const bool fromServer = from.getRole() == ROLE_GDB_SERVER;
    if (driver == nullptr ||
        (fromServer && (serverThreadIds.awaitsAnswer() || serverThreadIds.awaitsFeatures()))) {
        return FrameScreen::Verdict::WHOLE;
    }
    return FrameScreen::either(readPath.screen(from.getRole(), head, length),
                               (fromServer ? replies : requests).judge(head, length));
}

bool Tarnwick::dispatchServerPacket(RspClient& from, RspClient& to, bool& handled) {
    if (serverThreadIds.awaitsAnswer() && from.peekCommand("$")) {
        if (!intercept_refusal(from, to, handled)) {
            logLine(Logger::LOG_ERROR, "interceptPacket", "failure refused request\n");
            return false;
        }
        if (handled) {
            return true;
        }
    }
    if (serverThreadIds.awaitsFeatures() && from.peekCommand("$")) {
        if (!intercept_features(from, to, handled)) {
            logLine(Logger::LOG_ERROR, "interceptPacket", "failure qSupported reply\n");
            return false;
        }
        return true;
    }
    for (const char* prefix : kServerPrefixes) {
        if (!from.peekCommand(prefix)) {
            continue;
        }
        if (!intercept_stopReply(from, to, handled)) {
            logLine(Logger::LOG_ERROR, "interceptPacket", "failure S/T (stop reply)\n");
            return false;
        }
        return true;
    }
    return true;
}

bool Tarnwick::dispatchClientPacket(RspClient& from, RspClient& to, bool& handled) {
    for (const ClientPrefix& row : getClientPrefixes()) {
        if (!from.peekCommand(row.prefix)) {
            continue;
        }
        std::string text;
        if (row.exactPayload != nullptr && (!from.getCommand(text, false) || text != row.exactPayload)) {
            return true;
        }
        if (!(this->*row.handler)(from, to, handled)) {
            logLine(Logger::LOG_ERROR, "interceptPacket", row.failureLine);
            return false;
        }
        return true;
    }
    for (const char* prefix : kServerRequestPrefixes) {
        if (from.peekCommand(prefix)) {
            return intercept_serverRequest(from, to, handled);
        }
    }
    return true;
}

ThreadList& Tarnwick::getThreads(RspClient& server) {
    if (!threadList.isValid() || partialList) {
        updateThreadList(server, true);
    }
    return threadList;
}

void Tarnwick::updateThreadList(RspClient& server, bool whole) {
    const char* const tag = "updateThreadList";
    Logger& logger = Logger::getInstance();
    TargetThread fallback(kFallbackThreadId, 0);
    fallback.setCpuActive(true);
    threadList.clear();
    partialList = false;
    bool kernelRunning = false;
    TargetThread active;
    if (driver == nullptr) {
        logger.log(Logger::LOG_ERROR, tag, "Driver not loaded.\n");
        threadList.addThread(fallback);
    } else if (stopCount < 2) {
        // The first stop is the answer to GDB's "?": the target may not even hold a kernel yet.
        threadList.addThread(fallback);
    } else if (!driver->checkKernelRunning(server, kernelRunning)) {
        logger.log(Logger::LOG_DEBUG, tag, "No kernel found.\n");
        threadList.addThread(fallback);
    } else if (!kernelRunning) {
        logger.log(Logger::LOG_DEBUG, tag, "No kernel running.\n");
        threadList.addThread(fallback);
    } else if (!whole && driver->getActiveThread(server, active)) {
        // All a stop reply needs; whatever asks for more walks then.
        threadList.addThread(active);
        partialList = true;
    } else if (!driver->getThreads(server, threadList)) {
        logger.log(Logger::LOG_ERROR, tag, "Update threads. Failed collecting threads.\n");
        threadList.clear();
        threadList.addThread(fallback);
    } else if (!threadList.getActiveThread(active)) {
        // Also an empty list: the core itself runs beside whatever tasks are switched out.
        threadList.addThread(fallback);
    }
    threadList.setValid(true);
}

bool Tarnwick::getActiveThread(RspClient& server, TargetThread& out) {
    if (!threadList.isValid()) {
        updateThreadList(server, !lazyWalk);
    }
    return threadList.getActiveThread(out);
}

bool Tarnwick::findThread(RspClient& server, unsigned int id, TargetThread& out) {
    if (partialList && threadList.getThread(id, out)) {
        return true;
    }
    return getThreads(server).getThread(id, out);
}

bool Tarnwick::getSelectedThread(RspClient& server, TargetThread& out) {
    const char* const tag = "getSelectedThread";
    unsigned int selected = 0;
    if (threadSelection.get("g", selected)) {
        if (!findThread(server, selected, out)) {
            // The selection stays, so that every packet fails alike until the next "Hg" or stop.
            Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Failed finding thread %d.\n",
                                      static_cast<int>(selected));
            return false;
        }
        return true;
    }
    if (!getActiveThread(server, out)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, tag, "Failed finding active thread.\n");
        return false;
    }
    return true;
}

bool Tarnwick::intercept_k(RspClient& from, RspClient& /*to*/, bool& handled) {
    // Observed, never taken: the server is to hear of the kill.
    handled = false;
    if (RspUtil::parseCommand_k(peekPayload(from))) {
        threadList.clear();
        threadList.setValid(true);
        partialList = false;
    }
    return true;
}

bool Tarnwick::intercept_qSymbol(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_qSymbol";
    if (!RspUtil::parseCommand_qSymbol(peekPayload(from))) {
        return true;
    }
    take(from, handled);
    // GDB negotiates again after "file", "add-symbol-file" or a rebuilt program: no address of the last
    // negotiation may stay, so every name is resolved afresh.
    SymbolTable& symbols = SymbolTable::getInstance();
    symbols.clear();
    bool result = true;
    if (!driver->init(to)) {
        logLine(Logger::LOG_ERROR, tag, "Failed initialize rtos driver\n");
        result = false;
    } else {
        std::vector<std::string> names;
        driver->getSymbols(names);
        for (const std::string& name : names) {
            // The loop never stops early: every name is asked, and GDB always gets its "OK".
            result = lookupSymbol(from, name) && result;
        }
    }
    if (!from.sendCommand(RspUtil::createReply_OK())) {
        logLine(Logger::LOG_ERROR, tag, "Symbol lookup. Failed close sequence\n");
        result = false;
    }
    // After the "OK", so that the layouts are read while GDB's next packet waits in the socket.
    if (result) {
        std::vector<std::string> structures;
        driver->getDataStructures(structures);
        if (!structures.empty()) {
            MissingMemberLog::getInstance().forget();
            // The dump is made again first if the ELF file changed since it was made.
            symbols.init();
            symbols.resolveDataStructures(structures);
        }
    }
    // The snapshot stands until the next stop, which walks the kernel with the new addresses.
    return result;
}

bool Tarnwick::lookupSymbol(RspClient& gdb, const std::string& name) {
    const char* const tag = "intercept_qSymbol";
    Logger& logger = Logger::getInstance();
    std::string reply;
    if (!gdb.sendWaitCommand(RspUtil::createReply_qSymbol(name), reply)) {
        logLine(Logger::LOG_ERROR, tag, "Symbol lookup. No reply\n");
        return false;
    }
    std::string address;
    std::string replyName;
    if (!RspUtil::parseReply_qSymbol(reply, address, replyName)) {
        logLine(Logger::LOG_ERROR, tag, "Symbol lookup. Reply failure\n");
        return true;
    }
    if (replyName != name) {
        logLine(Logger::LOG_ERROR, tag, "Symbol lookup. Unexpected reply\n");
        return true;
    }
    if (address.empty()) {
        logger.log(Logger::LOG_DEBUG, tag, "%s:N/A\n", name.c_str());
        return true;
    }
    logger.log(Logger::LOG_DEBUG, tag, "%s:0x%s\n", name.c_str(), address.c_str());
    SymbolTable::getInstance().addSymbol(Symbol(name, address));
    return true;
}

bool Tarnwick::intercept_qXferthreadsread(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_qXferthreadsread";
    unsigned int offset = 0;
    unsigned int length = 0;
    if (!RspUtil::parseCommand_qXferthreadsread(peekPayload(from), offset, length)) {
        return true;
    }
    take(from, handled);
    // The snapshot stands for the whole stop, so the pieces GDB asks for always fit together.
    std::string reply = RspUtil::createReply_qXferthreadsread(getThreads(to).getXML(), offset, length);
    return sendReply(from, reply, tag, "Read threads. Failed sending\n");
}

bool Tarnwick::intercept_qfThreadInfo(RspClient& from, RspClient& to, bool& handled) {
    if (!RspUtil::parseCommand_qfThreadInfo(peekPayload(from))) {
        return true;
    }
    take(from, handled);
    ThreadList threads = getThreads(to);
    // All ids in one reply, however many: the qsThreadInfo that follows ends the list.
    return sendReply(from, RspUtil::createReply_qfThreadInfo(threads.getThreadIdentifiers()),
                     "intercept_qfThreadInfo", "Read threads. Failed sending\n");
}

bool Tarnwick::intercept_qsThreadInfo(RspClient& from, RspClient& /*to*/, bool& handled) {
    if (!RspUtil::parseCommand_qsThreadInfo(peekPayload(from))) {
        return true;
    }
    take(from, handled);
    return sendReply(from, RspUtil::createReply_qfThreadInfo({}), "intercept_qsThreadInfo",
                     "Read threads. Failed sending\n");
}

bool Tarnwick::intercept_qThreadExtraInfo(RspClient& from, RspClient& to, bool& handled) {
    unsigned int id = 0;
    if (!RspUtil::parseCommand_qThreadExtraInfo(peekPayload(from), id)) {
        return true;
    }
    take(from, handled);
    TargetThread thread;
    std::string reply = getThreads(to).getThread(id, thread) ? RspUtil::createReply_qThreadExtraInfo(
                                                                   thread.getName(), thread.getCpuActive())
                                                             : RspUtil::createReply_Empty();
    return sendReply(from, reply, "intercept_qThreadExtraInfo", "Thread info. Failed sending\n");
}

bool Tarnwick::intercept_qC(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_qC";
    if (!RspUtil::parseCommand_qC(peekPayload(from))) {
        return true;
    }
    take(from, handled);
    TargetThread active;
    std::string reply = RspUtil::createReply_OK();
    if (getThreads(to).getActiveThread(active)) {
        reply = RspUtil::createReply_qC(active.getThreadId());
    } else {
        logLine(Logger::LOG_WARNING, tag, "Get active thread. No active thread found\n");
    }
    return sendReply(from, reply, tag, "Get active thread. Failed sending response\n");
}

bool Tarnwick::intercept_T(RspClient& from, RspClient& to, bool& handled) {
    unsigned int id = 0;
    if (!RspUtil::parseCommand_T(peekPayload(from), id)) {
        return true;
    }
    take(from, handled);
    TargetThread thread;
    std::string reply = getThreads(to).getThread(id, thread)
                            ? RspUtil::createReply_OK()
                            : RspUtil::createReply_Error(kErrorThreadNotAlive);
    return sendReply(from, reply, "intercept_T", "Check thread alive. Failed sending response\n");
}

bool Tarnwick::intercept_H(RspClient& from, RspClient& /*to*/, bool& handled) {
    std::string operation;
    unsigned int id = 0;
    if (!RspUtil::parseCommand_H(peekPayload(from), operation, id)) {
        return true;
    }
    take(from, handled);
    // Unchecked: an unknown thread shows at the next register packet. The server keeps meaning the core.
    threadSelection.select(operation, id);
    return sendReply(from, RspUtil::createReply_OK(), "intercept_H",
                     "Set next operation. Failed sending response\n");
}

bool Tarnwick::intercept_stopReply(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_stopReply";
    Logger& logger = Logger::getInstance();
    std::string text;
    if (!from.getCommand(text, false)) {
        return true;
    }
    serverThreadIds.noteStopReply(text);
    std::string kind;
    unsigned int signal = 0;
    if (!RspUtil::parseCommand_stopReply(text, kind, signal)) {
        return true;
    }
    if (kind == "W" || kind == "X") {
        // The target is gone; GDB hears it from the server itself.
        threadList.clear();
        threadList.setValid(true);
        partialList = false;
        return true;
    }
    take(from, handled);
    logger.log(Logger::LOG_DEBUG, tag, "Reply: %s Signal: %d\n", kind.c_str(), static_cast<int>(signal));
    threadList.setValid(false);
    ++stopCount;
    TargetThread active;
    if (!getActiveThread(from, active)) {
        logLine(Logger::LOG_ERROR, tag, "Target stopped. No active thread\n");
        return false;
    }
    // GDB takes a stop to select the thread that stopped, as if it had sent "Hg" for it.
    threadSelection.moveGeneralTo(active.getThreadId());
    return sendReply(to, RspUtil::createCommand_stopReply(text, active.getThreadId()), tag,
                     "Target stopped. Failed forward reply\n");
}

bool Tarnwick::intercept_g(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_g";
    Logger& logger = Logger::getInstance();
    std::string text;
    if (!from.getCommand(text, false)) {
        logLine(Logger::LOG_ERROR, tag, "Read registers. Command failure.\n");
        return false;
    }
    std::string reply;
    TargetThread thread;
    if (!getSelectedThread(to, thread)) {
        logLine(Logger::LOG_DEBUG, tag, "Read registers. No valid thread (prev g packet)\n");
        reply = RspUtil::createReply_Error(kErrorNoThread);
        handled = true;
    } else if (thread.getCpuActive()) {
        if (payloadSize != 0) {
            return true;
        }
        // The first g learns how long this target's register text is.
        if (!to.sendWaitCommand(text, reply)) {
            logLine(Logger::LOG_ERROR, tag, "Read registers. Failed determine pay-load size\n");
            return false;
        }
        payloadSize = static_cast<unsigned int>(reply.size() / 2);
        logger.log(Logger::LOG_DEBUG, tag, "Payload size: %d\n", static_cast<int>(payloadSize));
        handled = true;
    } else {
        handled = true;
        reply = TaskRegisters(*driver, targetDescription, to, thread).readAll(payloadSize);
    }
    if (!sendReply(from, reply, tag, "Read registers. Failed sending reply.\n")) {
        return false;
    }
    from.getCommand(text, true);
    return true;
}

bool Tarnwick::intercept_p(RspClient& from, RspClient& to, bool& handled) {
    unsigned int number = 0;
    if (!RspUtil::parseCommand_p(peekPayload(from), number)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled,
                                    [number](TaskRegisters& registers) { return registers.readOne(number); });
}

bool Tarnwick::intercept_P(RspClient& from, RspClient& to, bool& handled) {
    unsigned int number = 0;
    std::string valueHex;
    if (!RspUtil::parseCommand_P(peekPayload(from), number, valueHex)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled, [number, &valueHex](TaskRegisters& registers) {
        return registers.writeOne(number, valueHex);
    });
}

bool Tarnwick::intercept_G(RspClient& from, RspClient& to, bool& handled) {
    std::string registersHex;
    if (!RspUtil::parseCommand_G(peekPayload(from), registersHex)) {
        return true;
    }
    return answerForSwitchedOutTask(from, to, handled, [&registersHex](TaskRegisters& registers) {
        return registers.writeAll(registersHex);
    });
}

bool Tarnwick::answerForSwitchedOutTask(RspClient& from, RspClient& to, bool& handled,
                                        const std::function<std::string(TaskRegisters&)>& answer) {
    const char* const tag = "intercept_register";
    TargetThread thread;
    std::string reply;
    if (!getSelectedThread(to, thread)) {
        logLine(Logger::LOG_DEBUG, tag, "Register access. No valid thread (prev Hg packet)\n");
        reply = RspUtil::createReply_Error(kErrorNoThread);
    } else if (thread.getCpuActive()) {
        return true;
    } else {
        TaskRegisters registers(*driver, targetDescription, to, thread);
        reply = answer(registers);
    }
    take(from, handled);
    return sendReply(from, reply, tag, "Register access. Failed sending reply.\n");
}

bool Tarnwick::intercept_qXferfeaturesreadtarget_xml(RspClient& from, RspClient& to, bool& handled) {
    const char* const tag = "intercept_qXferfeaturesreadtarget_xml";
    std::string text;
    std::string reply;
    unsigned int offset = 0;
    unsigned int length = 0;
    if (!from.getCommand(text, false) ||
        !RspUtil::parseCommand_qXferfeaturesreadtarget_xml(text, offset, length)) {
        return true;
    }
    // Offset and length are the server's business; the proxy only listens in.
    if (!to.sendWaitCommand(text, reply)) {
        logLine(Logger::LOG_ERROR, tag, "Read target.xml. Failed send/wait command\n");
        return false;
    }
    handled = true;
    bool last = false;
    bool parsed = RspUtil::parseReply_qXferobjectreadannex(reply, targetXml, last);
    if (!parsed) {
        logLine(Logger::LOG_ERROR, tag, "Read target.xml. Failed parse reply\n");
    }
    if (!sendReply(from, reply, tag, "Read target.xml. Failed sending reply.\n")) {
        return false;
    }
    from.getCommand(text, true);
    // After the reply, so that GDB is not kept waiting for the annexes.
    if (parsed && last) {
        loadTargetDescription(to);
    }
    return true;
}

void Tarnwick::loadTargetDescription(RspClient& server) {
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

bool Tarnwick::intercept_monitor(RspClient& from, RspClient& to, bool& handled) {
    std::vector<std::string> words;
    if (!RspUtil::parseCommand_qRcmd(peekPayload(from), words) || words.empty() ||
        words[0] != monitorKeyword) {
        return true;
    }
    handled = true;
    // Only the word right behind the keyword can be an option.
    std::size_t next = 1;
    KernelInfoFormating format = FORMAT_TABULAR;
    if (words.size() >= 2 && words[1] == "-m") {
        format = FORMAT_JSON;
        next = 2;
    } else if (words.size() >= 2 && words[1] == "-t") {
        format = FORMAT_TREE;
        next = 2;
    }
    std::string output;
    if (driver == nullptr) {
        output = "No driver loaded";
    } else if (next == words.size()) {
        RtosInfo* info = driver->getInfo();
        output = info != nullptr ? RtosInfo::toString(*info, format) : "";
    } else {
        std::vector<std::string> command(words.begin() + static_cast<std::ptrdiff_t>(next), words.end());
        KernelInfoNode node;
        output = driver->runCommand(to, command, node) ? KernelInfoNode::toString(node, format)
                                                       : "Failed to execute command";
    }
    // All of it in one packet, however long: GDB prints it as the command's output.
    if (!sendReply(from, RspUtil::createReply_qRcmd(output), "intercept_monitor",
                   "intercept monitor. Failed sending reply.\n")) {
        return false;
    }
    std::string text;
    from.getCommand(text, true);
    return true;
}

bool Tarnwick::intercept_serverRequest(RspClient& from, RspClient& to, bool& handled) {
    std::string request = peekPayload(from);
    serverThreadIds.noteRequest(request);
    std::string mapped = serverThreadIds.toServer(request);
    if (mapped == request) {
        return true;
    }
    take(from, handled);
    if (!to.relayCommand(mapped)) {
        logLine(Logger::LOG_ERROR, "intercept_serverRequest", "Forward request. Failed sending\n");
        return false;
    }
    return true;
}

bool Tarnwick::intercept_features(RspClient& from, RspClient& to, bool& handled) {
    std::string reply;
    std::string features;
    if (!from.getCommand(reply, false) || !serverThreadIds.hideMultiprocess(reply, features)) {
        return true;
    }
    take(from, handled);
    return sendReply(to, features, "intercept_features", "Features. Failed sending reply\n");
}

bool Tarnwick::intercept_refusal(RspClient& from, RspClient& /*to*/, bool& handled) {
    std::string retry;
    if (!serverThreadIds.refused(peekPayload(from), retry)) {
        return true;
    }
    take(from, handled);
    if (!from.relayCommand(retry)) {
        logLine(Logger::LOG_ERROR, "intercept_refusal", "Forward request. Failed sending\n");
        return false;
    }
    return true;
}
