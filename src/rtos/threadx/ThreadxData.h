#ifndef TARNWICK_RTOS_THREADX_THREADXDATA_H
#define TARNWICK_RTOS_THREADX_THREADXDATA_H

#include "target/ThreadData.h"

#include <cstdint>

// What the ThreadX driver may remember of a thread: where the secure side keeps its context on an Armv8-M
// core with TrustZone.
class ThreadxData : public ThreadData {
public:
    ThreadxData() = default;
    ~ThreadxData() override;

    // Address of the word that holds the stack pointer of the thread's secure context.
    std::uint32_t getSecureContextAddress() const { return secureContextAddress; }
    void setSecureContextAddress(std::uint32_t newSecureContextAddress) {
        secureContextAddress = newSecureContextAddress;
    }
    bool isSecureContextValid() const { return secureContextValid != 0; }
    void setSecureContextValid(bool newSecureContextValid) {
        secureContextValid = newSecureContextValid ? 1 : 0;
    }

private:
    std::uint32_t secureContextAddress = 0;
    std::uint8_t secureContextValid = 0;
};

#endif
