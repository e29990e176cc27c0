#ifndef TARNWICK_TARGET_REGISTERLIST_H
#define TARNWICK_TARGET_REGISTERLIST_H

#include "target/Register.h"

#include <map>
#include <vector>

// Register values by id; iteration runs by ascending id.
class RegisterList {
public:
    RegisterList() = default;
    // One register per id, value 0 and register number 0.
    explicit RegisterList(const std::vector<RegisterId>& ids);
    virtual ~RegisterList() = default;

    // Copies the entry into result; false, result untouched, if the id is absent.
    bool getRegister(RegisterId id, Register& result) const;
    // False, value untouched, if the id is absent.
    bool getRegisterValue(RegisterId id, unsigned int& value) const;
    // The value, or defaultValue if the id is absent. Taken by const reference so that a plain
    // unsigned variable picks the out-parameter form above and the call is never ambiguous.
    unsigned int getRegisterValue(RegisterId id, const unsigned int& defaultValue) const;
    // Insertion, not assignment: an id already present keeps its old value.
    void addRegister(RegisterId id, unsigned int value);
    // The same for a register read from a saved frame, which remembers the address of its word.
    void addSavedRegister(RegisterId id, unsigned int value, unsigned int slotAddress);
    std::map<RegisterId, Register>& getRegisters() { return registers; }
    const std::map<RegisterId, Register>& getRegisters() const { return registers; }
    void clear() { registers.clear(); }

private:
    std::map<RegisterId, Register> registers;
};

#endif
