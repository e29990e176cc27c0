#include "proxy/Tarnwick.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Interception.h"
#include "rsp/RspClient.h"
#include "rtos/IRtosDriver.h"
#include "rtos/RtosDriverInfo.h"

#include <string>

namespace {

const char* const kDispatchTag = "interceptPacket";

// The server packets inspected: stop replies.
const std::array<const char*, 4> kServerPrefixes = {"$S", "$T", "$W", "$X"};
// The client packets that go on to the server in the server's own thread ids.
const std::array<const char*, 3> kServerRequestPrefixes = {"$qSupported", "$vCont;", "$D"};

// An interceptor's result, its failure logged with failureLine.
bool logFailure(bool result, const char* failureLine) {
    if (!result) {
        Interception::logLine(Logger::LOG_ERROR, kDispatchTag, failureLine);
    }
    return result;
}

} // namespace

template <auto part, auto handler>
bool Tarnwick::route(Tarnwick& proxy, RspClient& from, RspClient& to, bool& handled) {
    return ((proxy.*part).*handler)(from, to, handled);
}

Tarnwick& Tarnwick::getInstance() {
    static Tarnwick instance;
    return instance;
}

const std::array<Tarnwick::ClientPrefix, Tarnwick::kClientPrefixCount>& Tarnwick::getClientPrefixes() {
    using T = Tarnwick;
    static const std::array<ClientPrefix, kClientPrefixCount> prefixes = {{
        {"$qSymbol::", nullptr, &route<&T::symbols, &SymbolNegotiation::intercept_qSymbol>,
         "failure qSymbol::\n"},
        {"$qXfer:threads:read::", nullptr,
         &route<&T::threadQueries, &ThreadQueries::intercept_qXferthreadsread>,
         "failure qXfer:threads:read::\n"},
        {"$qXfer:features:read:target.xml", nullptr,
         &route<&T::descriptionWatch, &TargetDescriptionWatch::intercept_qXferfeaturesreadtarget_xml>,
         "failure qXfer:features:read:target.xml\n"},
        {"$qfThreadInfo", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_qfThreadInfo>,
         "failure qfThreadInfo\n"},
        {"$qsThreadInfo", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_qsThreadInfo>,
         "failure qsThreadInfo\n"},
        {"$qThreadExtraInfo", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_qThreadExtraInfo>,
         "failure qThreadExtraInfo\n"},
        {"$qC", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_qC>, "failure qC\n"},
        {"$T", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_T>, "failure T\n"},
        {"$H", nullptr, &route<&T::threadQueries, &ThreadQueries::intercept_H>, "failure H\n"},
        {"$g", "g", &route<&T::registers, &RegisterRequests::intercept_g>, "failure g\n"},
        {"$p", nullptr, &route<&T::registers, &RegisterRequests::intercept_p>, "failure p\n"},
        {"$P", nullptr, &route<&T::registers, &RegisterRequests::intercept_P>, "failure P\n"},
        {"$G", nullptr, &route<&T::registers, &RegisterRequests::intercept_G>, "failure G\n"},
        {"$k", nullptr, &route<&T::stopReplies, &StopReplies::intercept_k>, "failure k\n"},
        {"$qRcmd", nullptr, &route<&T::monitor, &MonitorCommand::intercept_monitor>, "failure qRcmd\n"},
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
    snapshot.forget();
    threadSelection.forget();
    registers.forget();
    descriptionWatch.forget();
    serverThreadIds = ServerThreadIds();
    readPath.reset();
}

void Tarnwick::forgetSession() {
    forgetConnection();
    // The next GDB may bring a rebuilt program: its symbols are asked anew, and its dump renewed if stale.
    SymbolTable& symbolTable = SymbolTable::getInstance();
    symbolTable.clear();
    symbolTable.init();
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
    bool lazyWalk = true;
    if (!properties.getProperty("--lazy_walk", lazyWalk)) {
        lazyWalk = true;
    }
    snapshot.setLazyWalk(lazyWalk);

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
        if (!logFailure(serverRequests.intercept_refusal(from, to, handled), "failure refused request\n")) {
            return false;
        }
        if (handled) {
            return true;
        }
    }
    if (serverThreadIds.awaitsFeatures() && from.peekCommand("$")) {
        return logFailure(serverRequests.intercept_features(from, to, handled), "failure qSupported reply\n");
    }
    for (const char* prefix : kServerPrefixes) {
        if (from.peekCommand(prefix)) {
            return logFailure(stopReplies.intercept_stopReply(from, to, handled),
                              "failure S/T (stop reply)\n");
        }
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
        return logFailure(row.handler(*this, from, to, handled), row.failureLine);
    }
    for (const char* prefix : kServerRequestPrefixes) {
        if (from.peekCommand(prefix)) {
            return serverRequests.intercept_serverRequest(from, to, handled);
        }
    }
    return true;
}
