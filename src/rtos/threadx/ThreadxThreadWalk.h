#ifndef TARNWICK_RTOS_THREADX_THREADXTHREADWALK_H
#define TARNWICK_RTOS_THREADX_THREADXTHREADWALK_H

#include "rtos/threadx/ThreadxThread.h"

#include <vector>

class RspClient;
class StructInfo;

// The walk of the kernel's created thread list, a ring from _tx_thread_created_ptr.
class ThreadxThreadWalk {
public:
    // The thread on the core; 0 when none runs.
    static bool readActiveThreadId(RspClient& server, unsigned int& id);
    // Appends one record per created thread; with detail everything the monitor shows. False if the active
    // id, the head, a layout or a next link cannot be had; the threads read before stay.
    static bool readThreads(RspClient& server, bool detail, std::vector<ThreadxThread>& threads);

private:
    static void readThread(RspClient& server, bool detail, StructInfo& layout, ThreadxThread& thread);
    static void readDetail(RspClient& server, StructInfo& layout, ThreadxThread& thread);
};

#endif
