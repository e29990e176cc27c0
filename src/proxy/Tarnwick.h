#ifndef TARNWICK_PROXY_TARNWICK_H
#define TARNWICK_PROXY_TARNWICK_H

#include "proxy/ReadPathWatch.h"
#include "proxy/RspProxy.h"
#include "proxy/ServerThreadIds.h"
#include "proxy/ThreadSelection.h"
#include "rtos/RtosDriverFactory.h"
#include "target/TargetDescription.h"
#include "target/ThreadList.h"

#include <array>
#include <functional>
#include <string>

class IRtosDriver;
class RspClient;
class TargetThread;
class TaskRegisters;

// The proxy that knows kernel threads: it answers GDB's thread, register, symbol and "monitor rtos"
// requests from the driver and the thread snapshot, rewrites stop replies, and hands all else on.
//
// Every intercept_ operation takes (from, to, handled): from holds the packet in its receive buffer, to is
// the other endpoint. True with handled false: not its packet, the loop forwards it. True with handled
// true: answered and consumed. False: a fault that ends the proxy's work.
class Tarnwick : public RspProxy {
public:
    using Interceptor = bool (Tarnwick::*)(RspClient& from, RspClient& to, bool& handled);

    // A packet from GDB that the proxy inspects.
    struct ClientPrefix {
        // The frame's first bytes, '$' included.
        const char* prefix;
        // Set where the prefix is not enough: the payload must be exactly this text, else it is forwarded.
        const char* exactPayload;
        Interceptor handler;
        // Logged when the handler fails.
        const char* failureLine;
    };
    static constexpr std::size_t kClientPrefixCount = 15;

    // Built at the first call; the signal handler reaches the proxy through it.
    static Tarnwick& getInstance();
    ~Tarnwick() override = default;

    // Reads the proxy options and the driver database and loads the driver, by "--rtos" or by detection.
    bool init();
    // The rest of init once the factory has spoken: takes newDriver (null fails), logs its name and runs
    // its init(). The proxy forgets all it learned from a connection, so tests use it to install a fake
    // driver in a proxy that is as at process start; the driver is not owned and must outlive its use.
    bool loadDriver(IRtosDriver* newDriver);

    bool interceptPacket(RspClient& from, RspClient& to, bool& handled) override;
    // Whole: every frame that a table, the thread ids or the read path inspects; the rest goes on as it comes.
    FrameScreen::Verdict screenFrame(RspClient& from, const unsigned char* head, int length) override;
    // The client packets inspected, tested in this order; the first match decides.
    static const std::array<ClientPrefix, kClientPrefixCount>& getClientPrefixes();

    // The whole snapshot, rebuilt first if it is not valid or holds the active thread alone.
    ThreadList& getThreads(RspClient& server);
    // Rebuilds the snapshot; afterwards it is valid and, but for a driver's own thread 1, holds an
    // active thread, the fallback thread 1 if nothing better. Unless whole, a driver that can tell the
    // active thread without a walk gives that one alone.
    void updateThreadList(RspClient& server, bool whole = true);
    // The thread the core runs. With the lazy walk it is read without a walk where the driver can tell;
    // anything more about the threads walks then, once per stop.
    bool getActiveThread(RspClient& server, TargetThread& out);
    // The thread that register packets are for: the one of the latest "Hg" or stop, else the active thread.
    bool getSelectedThread(RspClient& server, TargetThread& out);

    bool intercept_k(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qSymbol(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qXferthreadsread(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qfThreadInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qsThreadInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qThreadExtraInfo(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qC(RspClient& from, RspClient& to, bool& handled);
    bool intercept_T(RspClient& from, RspClient& to, bool& handled);
    bool intercept_H(RspClient& from, RspClient& to, bool& handled);
    // Here from is the server endpoint and to the GDB endpoint.
    bool intercept_stopReply(RspClient& from, RspClient& to, bool& handled);
    bool intercept_g(RspClient& from, RspClient& to, bool& handled);
    // p, P and G: the running task's go to the server, a switched-out task's act on its saved frame.
    bool intercept_p(RspClient& from, RspClient& to, bool& handled);
    bool intercept_P(RspClient& from, RspClient& to, bool& handled);
    bool intercept_G(RspClient& from, RspClient& to, bool& handled);
    bool intercept_qXferfeaturesreadtarget_xml(RspClient& from, RspClient& to, bool& handled);
    bool intercept_monitor(RspClient& from, RspClient& to, bool& handled);
    // Requests that go on to the server (qSupported, vCont, D), put in the server's thread ids.
    bool intercept_serverRequest(RspClient& from, RspClient& to, bool& handled);
    // Here from is the server endpoint: its answer to GDB's qSupported.
    bool intercept_features(RspClient& from, RspClient& to, bool& handled);
    // Here from is the server endpoint: its answer to a request that named kernel tasks, sent again in the
    // server's own ids if the server refused it.
    bool intercept_refusal(RspClient& from, RspClient& to, bool& handled);

    unsigned int getStopCount() const { return stopCount; }
    const ThreadSelection& getThreadSelection() const { return threadSelection; }
    const TargetDescription& getTargetDescription() const { return targetDescription; }
    // Length in bytes of this target's g reply; 0 until the first g has reached the server.
    static unsigned int getPayloadSize();
    // target.xml as collected from the server so far.
    static const std::string& getTargetXml();

protected:
    void forgetSession() override;

private:
    Tarnwick() = default;

    // What one GDB connection taught: the snapshot, the selections, the stops, the target's description.
    void forgetConnection();

    bool dispatchServerPacket(RspClient& from, RspClient& to, bool& handled);
    bool dispatchClientPacket(RspClient& from, RspClient& to, bool& handled);
    // One question of the symbol negotiation; false only if GDB did not answer.
    bool lookupSymbol(RspClient& gdb, const std::string& name);
    // The register order from target.xml and the annexes it includes, read from the server; target.xml
    // alone if an annex cannot be read.
    void loadTargetDescription(RspClient& server);
    // A thread by id: from the snapshot, the whole one unless the active thread alone is that one.
    bool findThread(RspClient& server, unsigned int id, TargetThread& out);
    // Leaves the packet to the loop when the selected task is running; otherwise takes it and sends GDB what
    // answer makes of the selected task's saved registers, or an error if no task is selected.
    bool answerForSwitchedOutTask(RspClient& from, RspClient& to, bool& handled,
                                  const std::function<std::string(TaskRegisters&)>& answer);

    ThreadList threadList;
    ThreadSelection threadSelection;
    IRtosDriver* driver = nullptr;
    RtosDriverFactory driverFactory;
    unsigned int stopCount = 0;
    TargetDescription targetDescription;
    ServerThreadIds serverThreadIds;
    ReadPathWatch readPath;
    // "--lazy_walk false" walks the kernel at every stop.
    bool lazyWalk = true;
    // The snapshot holds the active thread alone.
    bool partialList = false;
};

#endif
