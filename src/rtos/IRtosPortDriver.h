#ifndef TARNWICK_RTOS_IRTOSPORTDRIVER_H
#define TARNWICK_RTOS_IRTOSPORTDRIVER_H

class RegisterList;
class RspClient;
class TargetThread;

// The core-specific layer of a kernel driver.
class IRtosPortDriver {
public:
    // Rebuilds the registers of a switched-out thread from the frame it saved.
    virtual bool getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) = 0;
    virtual ~IRtosPortDriver() = default;
};

#endif
