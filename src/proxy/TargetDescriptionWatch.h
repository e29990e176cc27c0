#ifndef TARNWICK_PROXY_TARGETDESCRIPTIONWATCH_H
#define TARNWICK_PROXY_TARGETDESCRIPTIONWATCH_H

#include "target/TargetDescription.h"

#include <string>

class RspClient;

// Listens in as GDB reads target.xml from the server, and reads the annexes it includes once GDB has the
// last piece: the register order that a switched-out task's registers are answered in. The intercept_
// operation follows the contract of Interception.
class TargetDescriptionWatch {
public:
    // description is the one the watch fills.
    explicit TargetDescriptionWatch(TargetDescription& newDescription) : targetDescription(newDescription) {}
    virtual ~TargetDescriptionWatch() = default;

    bool intercept_qXferfeaturesreadtarget_xml(RspClient& from, RspClient& to, bool& handled);

    const TargetDescription& getTargetDescription() const { return targetDescription; }
    // target.xml as collected from the server so far.
    const std::string& getTargetXml() const { return targetXml; }
    // A new connection: nothing learned of the target so far holds.
    void forget();

private:
    // The register order from target.xml and the annexes it includes, read from the server; target.xml
    // alone if an annex cannot be read.
    void loadTargetDescription(RspClient& server);

    TargetDescription& targetDescription;
    std::string targetXml;
};

#endif
