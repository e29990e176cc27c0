#ifndef TARNWICK_RTOS_THREADX_THREADXOBJECTCOLLECTOR_H
#define TARNWICK_RTOS_THREADX_THREADXOBJECTCOLLECTOR_H

class KernelInfoNode;
class RspClient;

// ThreadX links the objects of each kind on a circular list with a global head. One walk, driven by a
// table of what each kind is called and which members it shows, collects them all. It writes no log
// line: a section missing from the output is all that shows a failed walk.
class ThreadxObjectCollector {
public:
    enum Kind { SEMAPHORES, MUTEXES, TIMERS, QUEUES, EVENT_FLAGS, BLOCK_POOLS, BYTE_POOLS };

    // One child of out per created object of the kind; true with none for an empty list, false if the
    // head, a layout or a next link cannot be had.
    static bool collect(RspClient& server, Kind kind, KernelInfoNode& out);
};

#endif
