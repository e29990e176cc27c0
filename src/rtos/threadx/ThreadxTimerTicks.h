#ifndef TARNWICK_RTOS_THREADX_THREADXTIMERTICKS_H
#define TARNWICK_RTOS_THREADX_THREADXTIMERTICKS_H

class RspClient;
class StructInfo;

// The ticks left until a ThreadX timer expires, worked out as the kernel's tx_timer_info_get does. An
// active timer waits in a slot of the timer wheel: how far that slot lies ahead of the wheel's current
// one is the time left, and its remaining-ticks member holds only what is left beyond one turn of the wheel.
// A kernel whose wheel symbols are unknown gets that member as it stands, without a read more.
class ThreadxTimerTicks {
public:
    // internal is the timer's bound TX_TIMER_INTERNAL_STRUCT; false if its remaining ticks cannot be read.
    static bool ticksLeft(RspClient& server, StructInfo& internal, unsigned int& ticks);
    // The wheel's symbols, for the symbol negotiation.
    static const char* const kWheelSymbols[4];
};

#endif
