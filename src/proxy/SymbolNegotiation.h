#ifndef TARNWICK_PROXY_SYMBOLNEGOTIATION_H
#define TARNWICK_PROXY_SYMBOLNEGOTIATION_H

#include <string>

class IRtosDriver;
class RspClient;

// GDB's offer to look up symbols ("qSymbol::"): the driver's symbols are asked of GDB one by one, then the
// kernel's data structures are resolved from the program's debug information. The intercept_ operation
// follows the contract of Interception.
class SymbolNegotiation {
public:
    // driver is the proxy's loaded driver (null while none is loaded).
    explicit SymbolNegotiation(IRtosDriver* const& newDriver) : driver(newDriver) {}
    virtual ~SymbolNegotiation() = default;

    bool intercept_qSymbol(RspClient& from, RspClient& to, bool& handled);

private:
    // Every name of the driver asked of GDB; false if the driver does not start or GDB did not answer.
    bool lookupSymbols(RspClient& gdb, RspClient& server);
    // One question of the negotiation; false only if GDB did not answer.
    bool lookupSymbol(RspClient& gdb, const std::string& name);
    // The driver's data structures, read from the program's debug information.
    void resolveDataStructures();

    IRtosDriver* const& driver;
};

#endif
