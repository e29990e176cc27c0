#ifndef TARNWICK_PROXY_STOPREPLIES_H
#define TARNWICK_PROXY_STOPREPLIES_H

class RspClient;
class ServerThreadIds;
class ThreadSelection;
class ThreadSnapshot;

// The target stopping, exiting or being killed. A stop starts a new snapshot and goes to GDB naming the
// thread that runs on the core, which also becomes the thread of GDB's register packets. Each intercept_
// operation follows the contract of Interception.
class StopReplies {
public:
    StopReplies(ThreadSnapshot& newSnapshot, ThreadSelection& newSelection, ServerThreadIds& newServerIds)
        : snapshot(newSnapshot), selection(newSelection), serverIds(newServerIds) {}
    virtual ~StopReplies() = default;

    // Here from is the server endpoint and to the GDB endpoint.
    bool intercept_stopReply(RspClient& from, RspClient& to, bool& handled);
    // GDB's kill: observed, never taken, so that the server hears of it.
    bool intercept_k(RspClient& from, RspClient& to, bool& handled);

private:
    ThreadSnapshot& snapshot;
    ThreadSelection& selection;
    ServerThreadIds& serverIds;
};

#endif
