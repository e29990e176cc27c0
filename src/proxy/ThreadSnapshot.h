#ifndef TARNWICK_PROXY_THREADSNAPSHOT_H
#define TARNWICK_PROXY_THREADSNAPSHOT_H

#include "target/ThreadList.h"

class IRtosDriver;
class RspClient;
class TargetThread;

// The kernel's threads as GDB sees them during one stop: walked from the driver when first needed and kept
// until the target runs again. Until a kernel runs, and whenever no kernel thread can be shown, the core is
// the one thread 1.
class ThreadSnapshot {
public:
    // driver is the proxy's loaded driver, read at every walk (null while none is loaded).
    explicit ThreadSnapshot(IRtosDriver* const& newDriver) : driver(newDriver) {}
    virtual ~ThreadSnapshot() = default;

    // "--lazy_walk false" walks the kernel at every stop.
    void setLazyWalk(bool enabled) { lazyWalk = enabled; }
    // The whole snapshot, rebuilt first if it is not valid or holds the active thread alone.
    ThreadList& getThreads(RspClient& server);
    // The thread the core runs. With the lazy walk it is read without a walk where the driver can tell;
    // anything more about the threads walks then, once per stop.
    bool getActiveThread(RspClient& server, TargetThread& out);
    // A thread by id: from the snapshot, the whole one unless the active thread alone is that one.
    bool findThread(RspClient& server, unsigned int id, TargetThread& out);

    // Rebuilds the snapshot with every thread; afterwards it is valid and, but for a driver's own thread 1,
    // holds an active thread, the fallback thread 1 if nothing better.
    void rebuildWhole(RspClient& server);
    // As rebuildWhole, but a driver that can tell the active thread without a walk gives that one alone.
    void rebuildActive(RspClient& server);

    // The target stopped: the snapshot is stale, and the stop counts.
    void noteStop();
    // The target is gone (exited, killed): there are no threads, and nothing to walk.
    void noteTargetGone();
    unsigned int getStopCount() const { return stopCount; }
    // A new connection: nothing learned so far holds.
    void forget();

private:
    // True if a kernel runs that can be walked; otherwise the snapshot gets the fallback thread.
    bool kernelReady(RspClient& server);
    void walkAll(RspClient& server);

    IRtosDriver* const& driver;
    ThreadList threadList;
    unsigned int stopCount = 0;
    bool lazyWalk = true;
    // The snapshot holds the active thread alone.
    bool partialList = false;
};

#endif
