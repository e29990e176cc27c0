#include "proxy/SymbolNegotiation.h"

#include "debuginfo/Symbol.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Interception.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "rtos/IRtosDriver.h"
#include "rtos/MissingMemberLog.h"

#include <vector>

namespace {

const char* const kTag = "intercept_qSymbol";

} // namespace

bool SymbolNegotiation::intercept_qSymbol(RspClient& from, RspClient& to, bool& handled) {
    if (!RspUtil::parseCommand_qSymbol(Interception::peekPayload(from))) {
        return true;
    }
    Interception::take(from, handled);
    // GDB negotiates again after "file", "add-symbol-file" or a rebuilt program: no address of the last
    // negotiation may stay, so every name is resolved afresh.
    SymbolTable::getInstance().clear();
    bool result = lookupSymbols(from, to);
    if (!from.sendCommand(RspUtil::createReply_OK())) {
        Interception::logLine(Logger::LOG_ERROR, kTag, "Symbol lookup. Failed close sequence\n");
        result = false;
    }
    // After the "OK", so that the layouts are read while GDB's next packet waits in the socket.
    if (result) {
        resolveDataStructures();
    }
    // The snapshot stands until the next stop, which walks the kernel with the new addresses.
    return result;
}

bool SymbolNegotiation::lookupSymbols(RspClient& gdb, RspClient& server) {
    if (!driver->init(server)) {
        Interception::logLine(Logger::LOG_ERROR, kTag, "Failed initialize rtos driver\n");
        return false;
    }
    std::vector<std::string> names;
    driver->getSymbols(names);
    bool result = true;
    for (const std::string& name : names) {
        // The loop never stops early: every name is asked, and GDB always gets its "OK".
        result = lookupSymbol(gdb, name) && result;
    }
    return result;
}

bool SymbolNegotiation::lookupSymbol(RspClient& gdb, const std::string& name) {
    Logger& logger = Logger::getInstance();
    std::string reply;
    if (!gdb.sendWaitCommand(RspUtil::createReply_qSymbol(name), reply)) {
        Interception::logLine(Logger::LOG_ERROR, kTag, "Symbol lookup. No reply\n");
        return false;
    }
    std::string address;
    std::string replyName;
    if (!RspUtil::parseReply_qSymbol(reply, address, replyName)) {
        Interception::logLine(Logger::LOG_ERROR, kTag, "Symbol lookup. Reply failure\n");
        return true;
    }
    if (replyName != name) {
        Interception::logLine(Logger::LOG_ERROR, kTag, "Symbol lookup. Unexpected reply\n");
        return true;
    }
    if (address.empty()) {
        logger.log(Logger::LOG_DEBUG, kTag, "%s:N/A\n", name.c_str());
        return true;
    }
    logger.log(Logger::LOG_DEBUG, kTag, "%s:0x%s\n", name.c_str(), address.c_str());
    SymbolTable::getInstance().addSymbol(Symbol(name, address));
    return true;
}

void SymbolNegotiation::resolveDataStructures() {
    std::vector<std::string> structures;
    driver->getDataStructures(structures);
    if (structures.empty()) {
        return;
    }
    MissingMemberLog::getInstance().forget();
    SymbolTable& symbols = SymbolTable::getInstance();
    // The dump is made again first if the ELF file changed since it was made.
    symbols.init();
    symbols.resolveDataStructures(structures);
}
