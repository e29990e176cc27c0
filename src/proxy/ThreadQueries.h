#ifndef TARNWICK_PROXY_THREADQUERIES_H
#define TARNWICK_PROXY_THREADQUERIES_H

class RspClient;
class ThreadSelection;
class ThreadSnapshot;

// GDB's questions about the threads, answered from the stop's snapshot and never passed to the server: the
// thread list (qfThreadInfo, qsThreadInfo, qXfer:threads:read), a thread's description (qThreadExtraInfo),
// the current thread (qC), whether one is alive (T), and its selections (H). Each intercept_ operation
// follows the contract of Interception.
class ThreadQueries {
public:
    ThreadQueries(ThreadSnapshot& newSnapshot, ThreadSelection& newSelection)
        : snapshot(newSnapshot), selection(newSelection) {}
    virtual ~ThreadQueries() = default;

    bool intercept_qXferthreadsread(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qfThreadInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qsThreadInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qThreadExtraInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qC(RspClient& from, RspClient& to, bool& handled);
    bool intercept_T(RspClient& from, RspClient& to, bool& handled);
    bool intercept_H(RspClient& from, RspClient& to, bool& handled);

private:
    ThreadSnapshot& snapshot;
    ThreadSelection& selection;
};

#endif
