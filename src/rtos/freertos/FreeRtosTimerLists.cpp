#include "rtos/freertos/FreeRtosTimerLists.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/freertos/FreeRtosKernelObject.h"
#include "rtos/freertos/FreeRtosList.h"

namespace {

// ucStatus bits of the newer timers.
constexpr unsigned char kTimerActive = 0x01;
constexpr unsigned char kTimerAutoReload = 0x04;

bool readListPointer(RspClient& server, const char* symbolName, unsigned int& list) {
    Symbol symbol;
    return SymbolTable::getInstance().lookupSymbol(symbolName, symbol) &&
           server.readMemory(symbol.getAddress32(), list);
}

} // namespace

bool FreeRtosTimerLists::read(RspClient& server, std::vector<FreeRtosTimer>& timers) {
    unsigned int currentList = 0;
    if (!readListPointer(server, "pxCurrentTimerList", currentList)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "collectTimers",
                                  "Missing symbol: pxCurrentTimerList.\n");
        return false;
    }
    // The timer task has not set its lists up yet.
    if (currentList == 0) {
        return true;
    }
    FreeRtosList::Visitor addTimer = [&](unsigned int owner) {
        // A timer that cannot be described still shows.
        FreeRtosTimer timer;
        readTimer(server, owner, timer);
        timers.push_back(timer);
        return true;
    };
    if (!FreeRtosList(server, currentList).walk(addTimer)) {
        return false;
    }
    // A kernel without the overflow list has no timers due after the wrap.
    unsigned int overflowList = 0;
    if (!readListPointer(server, "pxOverflowTimerList", overflowList)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "collectTimers",
                                  "No overflow timer list: pxOverflowTimerList.\n");
        return true;
    }
    return overflowList == 0 || FreeRtosList(server, overflowList).walk(addTimer);
}

bool FreeRtosTimerLists::readTimer(RspClient& server, unsigned int address, FreeRtosTimer& timer) {
    timer.address = address;
    FreeRtosKernelObject object(server);
    if (!object.bind("tmrTimerControl", address)) {
        return false;
    }
    timer.described = true;
    unsigned int namePointer = 0;
    if (object.readWord("pcTimerName", namePointer)) {
        timer.name = object.readName(namePointer);
    }
    timer.period = object.word("xTimerPeriodInTicks");
    unsigned int autoReload = 0;
    unsigned char status = 0;
    // Older kernels keep the reload flag in a member of its own, and a timer of theirs on the list is active
    // by being there; newer ones keep both as bits of ucStatus.
    if (object.has("uxAutoReload") && object.readWord("uxAutoReload", autoReload)) {
        timer.autoReload = autoReload == 1;
        timer.active = true;
    } else if (object.readByte("ucStatus", status)) {
        timer.autoReload = (status & kTimerAutoReload) != 0;
        timer.active = (status & kTimerActive) != 0;
    }
    timer.id = object.word("pvTimerID");
    timer.callback = object.word("pxCallbackFunction");
    return true;
}
