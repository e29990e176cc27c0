#ifndef TARNWICK_TARGET_TARGETDESCRIPTION_H
#define TARNWICK_TARGET_TARGETDESCRIPTION_H

#include "target/RegisterId.h"
#include "target/RegisterList.h"

#include <string>
#include <vector>

// Which registers a g packet carries, in which order and how wide, as the server's target.xml (and the
// annexes it includes) names them. Registers are matched by name, so each one lands wherever the server's
// description puts it.
class TargetDescription {
public:
    // One <reg> of the description.
    struct Entry {
        std::string name;
        // GDB's number: the regnum attribute, else one more than the register before.
        unsigned int number = 0;
        unsigned int bytes = 4;
        // The words it is made of, least significant first; REG_NONE where no frame can hold it.
        RegisterId low = RegisterId::REG_NONE;
        RegisterId high = RegisterId::REG_NONE;
    };

    TargetDescription() = default;
    virtual ~TargetDescription() = default;

    // Replaces the registers by the <reg> elements of xml, sorted by number, the first of each number only.
    // Always true.
    bool load(const std::string& xml);
    // In g packet order.
    const std::vector<Entry>& getRegisters() const { return registers; }
    // False, out untouched, if the description has no register of that number.
    bool findRegister(unsigned int number, Entry& out) const;
    // The entry's value from values in target byte order, or "xx" per byte (unavailable) where values lacks
    // one of its words.
    static std::string encode(const Entry& entry, const RegisterList& values);
    // The g reply: every register while it fits in payloadBytes, then "xx" up to payloadBytes.
    std::string encodeAll(const RegisterList& values, unsigned int payloadBytes) const;

private:
    std::vector<Entry> registers;
};

#endif
