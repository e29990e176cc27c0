#ifndef TARNWICK_PROXY_MONITORCOMMAND_H
#define TARNWICK_PROXY_MONITORCOMMAND_H

#include <string>
#include <vector>

class IRtosDriver;
class RspClient;

// GDB's "monitor rtos ...": the kernel's state or a driver command, as a table, a tree ("-t") or JSON
// ("-m"), answered here; every other monitor command goes on to the server. The intercept_ operation follows
// the contract of Interception.
class MonitorCommand {
public:
    // driver is the proxy's loaded driver (null while none is loaded).
    explicit MonitorCommand(IRtosDriver* const& newDriver) : driver(newDriver) {}
    virtual ~MonitorCommand() = default;

    bool intercept_monitor(RspClient& from, RspClient& to, bool& handled);

private:
    // The command's output; words start with the keyword.
    std::string run(RspClient& server, const std::vector<std::string>& words) const;

    IRtosDriver* const& driver;
};

#endif
