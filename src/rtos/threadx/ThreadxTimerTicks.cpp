#include "rtos/threadx/ThreadxTimerTicks.h"

#include "debuginfo/StructInfo.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/threadx/ThreadxReader.h"

namespace {

// Slots of the wheel are pointers.
constexpr unsigned int kSlotSize = 4;

enum Wheel { LIST_START, LIST_END, CURRENT, EXPIRED, WHEEL_WORDS };

bool wheelKnown() {
    Symbol symbol;
    for (const char* name : ThreadxTimerTicks::kWheelSymbols) {
        if (!SymbolTable::getInstance().lookupSymbol(name, symbol)) {
            return false;
        }
    }
    return true;
}

bool readWheel(RspClient& server, unsigned int (&wheel)[WHEEL_WORDS]) {
    for (int word = 0; word < WHEEL_WORDS; ++word) {
        if (!ThreadxReader::readSymbol(server, ThreadxTimerTicks::kWheelSymbols[word], wheel[word])) {
            return false;
        }
    }
    return true;
}

} // namespace

const char* const ThreadxTimerTicks::kWheelSymbols[4] = {
    "_tx_timer_list_start", "_tx_timer_list_end", "_tx_timer_current_ptr", "_tx_timer_expired_timer_ptr"};

bool ThreadxTimerTicks::ticksLeft(RspClient& server, StructInfo& internal, unsigned int& ticks) {
    MemberInfo remainingMember;
    unsigned int remaining = 0;
    if (!internal.lookup("tx_timer_internal_remaining_ticks", remainingMember) ||
        !ThreadxReader::readMember(server, internal, "tx_timer_internal_remaining_ticks", remaining)) {
        return false;
    }
    ticks = remaining;
    unsigned int slot = 0;
    unsigned int wheel[WHEEL_WORDS] = {};
    if (!wheelKnown() || !ThreadxReader::readMember(server, internal, "tx_timer_internal_list_head", slot) ||
        slot == 0 || !readWheel(server, wheel)) {
        return true;
    }
    const unsigned int entries = (wheel[LIST_END] - wheel[LIST_START]) / kSlotSize;
    if (slot >= wheel[LIST_START] && slot < wheel[LIST_END]) {
        ticks = slot >= wheel[CURRENT] ? (slot - wheel[CURRENT]) / kSlotSize + 1
                                       : (slot - wheel[LIST_START]) / kSlotSize +
                                             (wheel[LIST_END] - wheel[CURRENT]) / kSlotSize + 1;
        if (remaining > entries) {
            ticks += remaining - entries;
        }
        return true;
    }
    // Off the wheel: expiring now, or on the list of timers that expire at this tick.
    const unsigned int self = remainingMember.getAddress() - remainingMember.getOffset();
    ticks = wheel[EXPIRED] != self && remaining > entries ? remaining - entries : 0;
    return true;
}
