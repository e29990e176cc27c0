#include "proxy/ThreadSnapshot.h"

#include "base/Logger.h"
#include "rtos/IRtosDriver.h"
#include "target/TargetThread.h"

namespace {

// The core is shown as this thread whenever no kernel thread can be.
const unsigned int kFallbackThreadId = 1;
const char* const kTag = "updateThreadList";

TargetThread fallbackThread() {
    TargetThread fallback(kFallbackThreadId, 0);
    fallback.setCpuActive(true);
    return fallback;
}

} // namespace

ThreadList& ThreadSnapshot::getThreads(RspClient& server) {
    if (!threadList.isValid() || partialList) {
        rebuildWhole(server);
    }
    return threadList;
}

bool ThreadSnapshot::getActiveThread(RspClient& server, TargetThread& out) {
    if (!threadList.isValid()) {
        if (lazyWalk) {
            rebuildActive(server);
        } else {
            rebuildWhole(server);
        }
    }
    return threadList.getActiveThread(out);
}

bool ThreadSnapshot::findThread(RspClient& server, unsigned int id, TargetThread& out) {
    if (partialList && threadList.getThread(id, out)) {
        return true;
    }
    return getThreads(server).getThread(id, out);
}

void ThreadSnapshot::rebuildWhole(RspClient& server) {
    threadList.clear();
    partialList = false;
    if (kernelReady(server)) {
        walkAll(server);
    }
    threadList.setValid(true);
}

void ThreadSnapshot::rebuildActive(RspClient& server) {
    threadList.clear();
    partialList = false;
    TargetThread active;
    if (kernelReady(server)) {
        if (driver->getActiveThread(server, active)) {
            // All a stop reply needs; whatever asks for more walks then.
            threadList.addThread(active);
            partialList = true;
        } else {
            walkAll(server);
        }
    }
    threadList.setValid(true);
}

bool ThreadSnapshot::kernelReady(RspClient& server) {
    Logger& logger = Logger::getInstance();
    bool kernelRunning = false;
    if (driver == nullptr) {
        logger.log(Logger::LOG_ERROR, kTag, "Driver not loaded.\n");
    } else if (stopCount < 2) {
        // The first stop is the answer to GDB's "?": the target may not even hold a kernel yet.
    } else if (!driver->checkKernelRunning(server, kernelRunning)) {
        logger.log(Logger::LOG_DEBUG, kTag, "No kernel found.\n");
    } else if (!kernelRunning) {
        logger.log(Logger::LOG_DEBUG, kTag, "No kernel running.\n");
    } else {
        return true;
    }
    threadList.addThread(fallbackThread());
    return false;
}

void ThreadSnapshot::walkAll(RspClient& server) {
    TargetThread active;
    if (!driver->getThreads(server, threadList)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Update threads. Failed collecting threads.\n");
        threadList.clear();
        threadList.addThread(fallbackThread());
    } else if (!threadList.getActiveThread(active)) {
        // Also an empty list: the core itself runs beside whatever tasks are switched out.
        threadList.addThread(fallbackThread());
    }
}

void ThreadSnapshot::noteStop() {
    threadList.setValid(false);
    ++stopCount;
}

void ThreadSnapshot::noteTargetGone() {
    threadList.clear();
    threadList.setValid(true);
    partialList = false;
}

void ThreadSnapshot::forget() {
    threadList = ThreadList();
    stopCount = 0;
    partialList = false;
}
