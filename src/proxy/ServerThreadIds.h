#ifndef TARNWICK_PROXY_SERVERTHREADIDS_H
#define TARNWICK_PROXY_SERVERTHREADIDS_H

#include <string>

// The server knows its cores, GDB knows kernel tasks: this puts requests that go on to the server into
// the server's own thread ids, once the server has refused one as GDB wrote it (QEMU answers E22); a server
// that takes them gets GDB's bytes unchanged. The server's current thread comes from its last stop reply,
// in the form the server writes it (plain, or p<pid>.<tid> once GDB has offered the multiprocess feature).
// GDB is kept on plain ids by hiding that feature in the server's answer to qSupported.
class ServerThreadIds {
public:
    ServerThreadIds() = default;
    virtual ~ServerThreadIds() = default;

    // A request of GDB's that goes to the server; a qSupported makes the next server frame its answer.
    void noteRequest(const std::string& request);
    bool awaitsFeatures() const { return featuresAwaited; }
    // The server's answer to qSupported; true with features set to it without "multiprocess+" if it
    // offered that, false if it goes to GDB unchanged.
    bool hideMultiprocess(const std::string& reply, std::string& features);
    // A stop reply of the server's: its "thread:" value becomes the current thread.
    void noteStopReply(const std::string& reply);
    // The request to send: as GDB wrote it until the server has refused such a request, in the server's
    // terms (inServerTerms) from then on. While it goes out as GDB wrote it, its answer is awaited.
    std::string toServer(const std::string& request);
    bool awaitsAnswer() const { return !awaited.empty(); }
    // The server's answer to that request: true, with retry set to the request in the server's terms, if it
    // is an error; the server is then given its own ids for the rest of the session.
    bool refused(const std::string& answer, std::string& retry);
    // request with each thread id of a vCont action that names a kernel task replaced by the server's
    // current thread (0 and -1 stay), and a plain detach given the process id of a multiprocess server.
    // As it stands while no stop reply has named a thread.
    std::string inServerTerms(const std::string& request) const;
    const std::string& getCurrentThread() const { return currentThread; }

private:
    std::string vContToServer(const std::string& request) const;

    std::string currentThread;
    bool featuresAwaited = false;
    bool ownIdsOnly = false;
    // The request in the server's terms, kept while the server's answer to GDB's form is awaited.
    std::string awaited;
};

#endif
