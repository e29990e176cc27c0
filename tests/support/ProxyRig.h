#ifndef TARNWICK_TESTS_SUPPORT_PROXYRIG_H
#define TARNWICK_TESTS_SUPPORT_PROXYRIG_H

#include "FakeRspPeer.h"
#include "PeeredEndpoint.h"

#include <future>
#include <string>
#include <vector>

class FakeRtosDriver;
class IRtosDriver;
class RspClient;

// The proxy singleton between a fake GDB and a fake GDB server on real loopback sockets, with a driver
// loaded and its loop (RspProxy::doProxyWork) on a thread of its own. Everything the proxy logs during the
// session is captured, its timing figures masked; a test that fails prints it.
//
//     FakeRtosDriver driver;
//     ProxyRig rig(driver);
//     rig.gdb().sendPacket("qC");
//     EXPECT_EQ("QC1", rig.gdb().nextPayload());
//     EXPECT_TRUE(rig.finish());
//     EXPECT_EQ("Lost connection to GDB Client\n", rig.log());
//
// A rig for a real driver derives from it: the options are in the store from the start, the rest of the
// setup comes before load() and run().
class ProxyRig {
public:
    static constexpr unsigned int kAllSeverities = 15;

    // The fake driver's record starts after it is loaded: a test sees only what its packets do.
    explicit ProxyRig(FakeRtosDriver& driver, unsigned int logLevel = kAllSeverities,
                      const std::vector<std::string>& options = {});
    virtual ~ProxyRig();

    ProxyRig(const ProxyRig&) = delete;
    ProxyRig& operator=(const ProxyRig&) = delete;

    bool ready() const { return loop.valid(); }
    FakeRspPeer& gdb() { return *gdbSide.peer; }
    FakeRspPeer& server() { return *serverSide.peer; }
    RspClient* gdbEndpoint() { return gdbSide.endpoint.get(); }
    RspClient* serverEndpoint() { return serverSide.endpoint.get(); }

    // Ends the session the way GDB leaving does, unless the loop has ended already, and returns the loop's
    // result. The log is complete afterwards.
    bool finish();
    // Waits for the loop to end by itself, as after a failure; false if it still runs.
    bool ended(int timeoutMs = FakeRspPeer::kDefaultTimeoutMs);
    const std::string& log() const { return captured; }

    // A server stop reply and what GDB gets in its place.
    std::string stop(const std::string& stopReply);
    // The first stop never asks the driver; this one and all later ones do.
    void passFirstStop();
    // GDB's request and the proxy's reply.
    std::string ask(const std::string& request);
    // "monitor" followed by the words, as GDB sends it; the decoded reply.
    std::string monitor(const std::string& words);

protected:
    // options: as on the command line, name and value in turn. The singletons start empty.
    explicit ProxyRig(const std::vector<std::string>& options);
    // Puts driver into the proxy, which forgets all it learned; false if the driver does not start.
    static bool load(IRtosDriver& driver);
    // Connects the fake peers and starts the loop, logging at logLevel. With serverHandler the server
    // answers by itself; without, the test plays it.
    void run(unsigned int logLevel, FakeRspPeer::Handler serverHandler = nullptr);

private:
    PeeredEndpoint gdbSide;
    PeeredEndpoint serverSide;
    std::future<bool> loop;
    bool capturing = false;
    bool result = false;
    std::string captured;
};

#endif
