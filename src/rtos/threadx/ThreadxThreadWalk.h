#ifndef TARNWICK_RTOS_THREADX_THREADXTHREADWALK_H
#define TARNWICK_RTOS_THREADX_THREADXTHREADWALK_H

#include "rtos/threadx/ThreadxThread.h"

#include <optional>
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
    // Everything of the thread but its name and its link.
    static void readThread(RspClient& server, bool detail, StructInfo& layout, ThreadxThread& thread);
    // The name at address, if there is one and it can be read.
    static void readName(RspClient& server, std::optional<unsigned int> address, ThreadxThread& thread);
    // The names of the threads from threads on, one for each entry of names, once the walk is done, so that
    // names lying close together are fetched together.
    static void readNames(RspClient& server, const std::vector<std::optional<unsigned int>>& names,
                          ThreadxThread* threads);
    static void readDetail(RspClient& server, StructInfo& layout, ThreadxThread& thread);
};

#endif
