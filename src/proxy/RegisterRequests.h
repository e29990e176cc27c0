#ifndef TARNWICK_PROXY_REGISTERREQUESTS_H
#define TARNWICK_PROXY_REGISTERREQUESTS_H

#include "target/TargetDescription.h"

#include <functional>
#include <string>

class IRtosDriver;
class RspClient;
class TargetThread;
class TaskRegisters;
class ThreadSelection;
class ThreadSnapshot;

// GDB's register packets (g, p, P, G) for the selected thread: the running task's go to the server, a
// switched-out task's are answered from its saved frame, in the register order of the target's
// description. Each intercept_ operation follows the contract of Interception.
class RegisterRequests {
public:
    // driver is the proxy's loaded driver (null while none is loaded); description is the target's register
    // order, as the proxy learns it.
    RegisterRequests(IRtosDriver* const& newDriver, ThreadSnapshot& newSnapshot,
                     ThreadSelection& newSelection, TargetDescription& newDescription)
        : driver(newDriver), snapshot(newSnapshot), selection(newSelection),
          targetDescription(newDescription) {}
    virtual ~RegisterRequests() = default;

    bool intercept_g(RspClient& from, RspClient& to, bool& handled);
    bool intercept_p(RspClient& from, RspClient& to, bool& handled);
    bool intercept_P(RspClient& from, RspClient& to, bool& handled);
    bool intercept_G(RspClient& from, RspClient& to, bool& handled);

    // The thread that register packets are for: the one of the latest "Hg" or stop, else the active thread.
    bool getSelectedThread(RspClient& server, TargetThread& out);
    // Length in bytes of this target's g reply; 0 until the first g has reached the server.
    unsigned int getPayloadSize() const { return payloadSize; }
    // A new connection: the length of the target's g reply is learned anew.
    void forget();

private:
    // The first g of the running task goes to the server here, to learn the length of its reply.
    bool learnPayloadSize(const std::string& request, RspClient& server, std::string& reply);
    // Leaves the packet to the loop when the selected task is running; otherwise takes it and sends GDB what
    // answer makes of the selected task's saved registers, or an error if no task is selected.
    bool answerForSwitchedOutTask(RspClient& from, RspClient& to, bool& handled,
                                  const std::function<std::string(TaskRegisters&)>& answer);
    IRtosDriver* const& driver;
    ThreadSnapshot& snapshot;
    ThreadSelection& selection;
    TargetDescription& targetDescription;
    unsigned int payloadSize = 0;
};

#endif
