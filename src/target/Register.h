#ifndef TARNWICK_TARGET_REGISTER_H
#define TARNWICK_TARGET_REGISTER_H

#include "target/RegisterId.h"

// One 32-bit register value, tagged with its id and, where a target description set it, GDB's number.
class Register {
public:
    Register() = default;
    Register(RegisterId newId, unsigned int newValue, unsigned int newRegisterNumber);
    virtual ~Register() = default;
    Register(const Register&) = default;
    Register& operator=(const Register&) = default;

    RegisterId getId() const { return id; }
    void setId(RegisterId newId) { id = newId; }
    unsigned int getValue() const { return value; }
    void setValue(unsigned int newValue) { value = newValue; }
    // Position in GDB's numbering; 0 when no description set it.
    unsigned int getRegNumber() const { return registerNumber; }
    // The address of the word a saved frame keeps this register in.
    void setSlot(unsigned int address) {
        slotAddress = address;
        hasSlot = true;
    }
    // False, address untouched, for a register that lives nowhere in target memory: the core's own, or one
    // the kernel derives (a task's stack pointer, read from its control block).
    bool getSlot(unsigned int& address) const {
        if (hasSlot) {
            address = slotAddress;
        }
        return hasSlot;
    }

private:
    RegisterId id = RegisterId::REG_NONE;
    unsigned int value = 0;
    unsigned int registerNumber = 0;
    unsigned int slotAddress = 0;
    bool hasSlot = false;
};

#endif
