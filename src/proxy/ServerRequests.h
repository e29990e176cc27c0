#ifndef TARNWICK_PROXY_SERVERREQUESTS_H
#define TARNWICK_PROXY_SERVERREQUESTS_H

class RspClient;
class ServerThreadIds;

// GDB's requests that go on to the server (qSupported, vCont, D), put in the server's own thread ids where
// the server refuses GDB's, and the server's answers to them. Each intercept_ operation follows the
// contract of Interception.
class ServerRequests {
public:
    explicit ServerRequests(ServerThreadIds& newServerIds) : serverIds(newServerIds) {}
    virtual ~ServerRequests() = default;

    bool intercept_serverRequest(RspClient& from, RspClient& to, bool& handled);
    // Here from is the server endpoint: its answer to GDB's qSupported.
    bool intercept_features(RspClient& from, RspClient& to, bool& handled);
    // Here from is the server endpoint: its answer to a request that named kernel tasks, sent again in the
    // server's own ids if the server refused it.
    bool intercept_refusal(RspClient& from, RspClient& to, bool& handled);

private:
    ServerThreadIds& serverIds;
};

#endif
