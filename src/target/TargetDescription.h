#ifndef TARNWICK_TARGET_TARGETDESCRIPTION_H
#define TARNWICK_TARGET_TARGETDESCRIPTION_H

#include "target/Register.h"
#include "target/RegisterList.h"

#include <string>
#include <vector>

// Which registers a g packet carries, and in which order, as learned from target.xml.
class TargetDescription {
public:
    TargetDescription() = default;
    virtual ~TargetDescription() = default;

    // Replaces the registers by the fixed set of the first known feature tag in xml, sorted by
    // register number; no known tag leaves the set empty. Always true.
    bool load(const std::string& xml);
    // Appends a register with value 0; the order is not re-sorted.
    void addRegister(RegisterId id, unsigned int registerNumber);
    // In g packet order.
    std::vector<Register>& getRegisters() { return registers; }
    const std::vector<Register>& getRegisters() const { return registers; }
    // The register GDB numbers so; false, id untouched, if the description has none.
    bool findRegister(unsigned int registerNumber, RegisterId& id) const;
    // Copies each register's value from values, 0 where values lacks the id. Always true.
    bool applyValues(const RegisterList& values);

private:
    void addFeatureSet(RegisterId statusRegister);

    std::vector<Register> registers;
};

#endif
