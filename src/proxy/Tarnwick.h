#ifndef TARNWICK_PROXY_TARNWICK_H
#define TARNWICK_PROXY_TARNWICK_H

#include "proxy/MonitorCommand.h"
#include "proxy/ReadPathWatch.h"
#include "proxy/RegisterRequests.h"
#include "proxy/RspProxy.h"
#include "proxy/ServerRequests.h"
#include "proxy/ServerThreadIds.h"
#include "proxy/StopReplies.h"
#include "proxy/SymbolNegotiation.h"
#include "proxy/TargetDescriptionWatch.h"
#include "proxy/ThreadQueries.h"
#include "proxy/ThreadSelection.h"
#include "proxy/ThreadSnapshot.h"
#include "rtos/RtosDriverFactory.h"
#include "target/TargetDescription.h"

#include <array>
#include <cstddef>

class IRtosDriver;
class RspClient;

// The proxy that knows kernel threads: it loads the driver and hands each packet it inspects to the
// interceptor of its concern (thread queries, registers, stop replies, symbols, "monitor rtos", the
// server's thread ids); all else goes on unchanged. The interceptors' contract is Interception's.
class Tarnwick : public RspProxy {
public:
    // One interceptor of one concern, reached through the proxy that owns the concern.
    using Interceptor = bool (*)(Tarnwick& proxy, RspClient& from, RspClient& to, bool& handled);

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

    ThreadSnapshot& getSnapshot() { return snapshot; }
    const ThreadSelection& getThreadSelection() const { return threadSelection; }
    const RegisterRequests& getRegisterRequests() const { return registers; }
    const TargetDescriptionWatch& getDescriptionWatch() const { return descriptionWatch; }

protected:
    void forgetSession() override;

private:
    Tarnwick() = default;

    // Calls handler on the concern of this proxy that part names: the table's rows are made of these.
    template <auto part, auto handler>
    static bool route(Tarnwick& proxy, RspClient& from, RspClient& to, bool& handled);

    // What one GDB connection taught: the snapshot, the selections, the stops, the target's description.
    void forgetConnection();
    bool dispatchServerPacket(RspClient& from, RspClient& to, bool& handled);
    bool dispatchClientPacket(RspClient& from, RspClient& to, bool& handled);

    IRtosDriver* driver = nullptr;
    RtosDriverFactory driverFactory;
    ThreadSelection threadSelection;
    ServerThreadIds serverThreadIds;
    ReadPathWatch readPath;
    TargetDescription targetDescription;
    ThreadSnapshot snapshot{driver};
    ThreadQueries threadQueries{snapshot, threadSelection};
    StopReplies stopReplies{snapshot, threadSelection, serverThreadIds};
    RegisterRequests registers{driver, snapshot, threadSelection, targetDescription};
    TargetDescriptionWatch descriptionWatch{targetDescription};
    SymbolNegotiation symbols{driver};
    MonitorCommand monitor{driver};
    ServerRequests serverRequests{serverThreadIds};
};

#endif
