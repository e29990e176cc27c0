#ifndef TARNWICK_TESTS_SUPPORT_FAKERSPPEER_H
#define TARNWICK_TESTS_SUPPORT_FAKERSPPEER_H

#include "RspFrame.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// The far end of a real loopback TCP connection, playing GDB or the GDB server towards the proxy.
//
// Every received message is logged. By default they queue up for the test to take with nextRaw() or
// nextPayload(), which suits worked exchanges played packet by packet. After serve(), '$' requests are
// answered on the peer's own thread: first by one-time overrides, then by the handler, whose default
// fails the test. Frames are built and cut by the tests' own framer (RspFrame.h), never by RspBuffer.
//
//     auto server = FakeRspPeer::listen();
//     server->serve(FakeRspPeer::replies({{"m20000000,4", "78563412"}}));
//     server->overrideReply("qC", "QC1");
//     auto gdb = FakeRspPeer::connect(proxyPort);
//     gdb->sendPacket("qC");
//     EXPECT_EQ("QC1", gdb->nextPayload());
class FakeRspPeer {
public:
    // Returns the reply payload for a request payload; nullopt sends nothing.
    using Handler = std::function<std::optional<std::string>(const std::string& request)>;
    static constexpr int kDefaultTimeoutMs = 2000;

    // Plays the GDB server: listens on an ephemeral loopback port and accepts the first connection.
    static std::unique_ptr<FakeRspPeer> listen();
    // Plays GDB: connects to the port on 127.0.0.1, retrying while it is refused, up to the time-out.
    // Null if no connection could be made.
    static std::unique_ptr<FakeRspPeer> connect(unsigned short port, int timeoutMs = kDefaultTimeoutMs);
    ~FakeRspPeer();
    FakeRspPeer(const FakeRspPeer&) = delete;
    FakeRspPeer& operator=(const FakeRspPeer&) = delete;

    // The listening port of a peer made by listen().
    unsigned short port() const { return listenPort; }
    // True once a connection stands (at once for a peer made by connect()).
    bool waitConnected(int timeoutMs = kDefaultTimeoutMs);

    bool sendPacket(const std::string& payload) { return sendRaw(rspframe::frame(payload, '$')); }
    bool sendNotification(const std::string& payload) { return sendRaw(rspframe::frame(payload, '%')); }
    // Writes the bytes as they are, all of them; false if the connection would not take them.
    bool sendRaw(const std::string& bytes);

    // The next queued message, or nullopt after the time-out.
    std::optional<rspframe::Message> waitMessage(int timeoutMs = kDefaultTimeoutMs);
    // The raw bytes of the next queued message; fails the test and returns "<timeout>" after the time-out.
    std::string nextRaw(int timeoutMs = kDefaultTimeoutMs);
    // The payload of the next queued message, which must be a '$' frame with a right checksum.
    std::string nextPayload(int timeoutMs = kDefaultTimeoutMs);
    // True if no message arrives within the time.
    bool quietFor(int milliseconds);

    // Answers '$' requests from now on; with no handler every request fails the test.
    void serve(Handler handler = failOnUnexpected());
    // The next time exactly this request arrives it gets this reply, ahead of the handler.
    void overrideReply(const std::string& request, std::optional<std::string> reply);
    // Sends '+' before each served reply, as a server that still acknowledges does.
    void acknowledge(bool enabled);
    static Handler failOnUnexpected();
    // A handler that answers from a table and fails the test on a request not in it.
    static Handler replies(std::map<std::string, std::string> table);

    // Every message received, raw, in order of arrival (served ones too).
    std::vector<std::string> receivedLog() const;
    // Every byte received, as one stream.
    std::string receivedBytes() const;
    // Every write made, in order.
    std::vector<std::string> sentLog() const;
    // Waits until the byte stream received has reached at least this length.
    bool waitReceivedBytes(std::size_t count, int timeoutMs = kDefaultTimeoutMs);

    // Closes the connection (and the listener): the proxy sees an orderly end.
    void close();
    // True once the other side has closed the connection.
    bool waitClosed(int timeoutMs = kDefaultTimeoutMs);

private:
    FakeRspPeer() = default;
    void start();
    void work();
    bool acceptConnection();
    void deliver(const rspframe::Message& message);
    bool writeAll(const std::string& bytes);

    int listenSocket = -1;
    int socket = -1;
    unsigned short listenPort = 0;
    std::thread worker;
    std::atomic<bool> stopping{false};

    mutable std::mutex lock;
    std::mutex writeLock;
    std::condition_variable changed;
    bool connected = false;
    bool peerClosed = false;
    rspframe::Unframer unframer;
    std::deque<rspframe::Message> inbox;
    std::vector<std::string> received;
    std::string receivedStream;
    std::vector<std::string> sent;
    bool serving = false;
    bool acknowledging = false;
    Handler handler;
    std::multimap<std::string, std::optional<std::string>> overrides;
};

#endif
