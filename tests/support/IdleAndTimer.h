#ifndef TARNWICK_TESTS_SUPPORT_IDLEANDTIMER_H
#define TARNWICK_TESTS_SUPPORT_IDLEANDTIMER_H

#include "target/TargetThread.h"
#include "target/ThreadList.h"

// Two FreeRTOS tasks of a stopped target: the idle task on the core, the timer task switched out.
inline ThreadList idleAndTimer() {
    ThreadList list;
    list.addThread(TargetThread(0x20000810, 0x20000700, false, "Tmr Svc"));
    list.addThread(TargetThread(0x20000a40, 0x200009d8, true, "IDLE"));
    return list;
}

#endif
