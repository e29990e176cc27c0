#ifndef TARNWICK_RTOS_RTOSPORT_H
#define TARNWICK_RTOS_RTOSPORT_H

#include "rtos/IRtosPortDriver.h"
#include "target/PortFrames.h"
#include "target/SavedFrame.h"

#include <functional>
#include <utility>

// One port of a kernel: its row of frames, and the kernel's facts that its choices test, taken from the
// thread being read.
class RtosPort : public IRtosPortDriver {
public:
    using Facts = std::function<unsigned int(RspClient& server, TargetThread& thread)>;

    RtosPort(const PortFrames& newFrames, Facts newFacts) : frames(newFrames), facts(std::move(newFacts)) {}
    bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) override;
    const PortFrames& getFrames() const { return frames; }

private:
    const PortFrames& frames;
    Facts facts;
};

#endif
