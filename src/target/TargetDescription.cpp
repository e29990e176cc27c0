#include "target/TargetDescription.h"

#include <algorithm>

namespace {

struct RegisterSlot {
    RegisterId id;
    unsigned int registerNumber;
};

// GDB's numbering of the integer registers shared by both profiles.
const RegisterSlot kCoreRegisters[] = {
    {RegisterId::REG_R0, 0},   {RegisterId::REG_R1, 1},  {RegisterId::REG_R2, 2},   {RegisterId::REG_R3, 3},
    {RegisterId::REG_R4, 4},   {RegisterId::REG_R5, 5},  {RegisterId::REG_R6, 6},   {RegisterId::REG_R7, 7},
    {RegisterId::REG_R8, 8},   {RegisterId::REG_R9, 9},  {RegisterId::REG_R10, 10}, {RegisterId::REG_R11, 11},
    {RegisterId::REG_R12, 12}, {RegisterId::REG_SP, 13}, {RegisterId::REG_LR, 14},  {RegisterId::REG_PC, 15},
};

// The status register keeps GDB's number 25 (16 to 24 were the old FPA registers).
const unsigned int kStatusRegisterNumber = 25;

struct Feature {
    const char* tag;
    RegisterId statusRegister;
};

// Compared byte for byte with a whole tag: another attribute, blank or quote style is another tag.
const Feature kFeatures[] = {
    {"<feature name=\"org.gnu.gdb.arm.m-profile\">", RegisterId::REG_XPSR},
    {"<feature name=\"org.gnu.gdb.arm.core\">", RegisterId::REG_CPSR},
};

const Feature* findFeature(const std::string& tag) {
    for (const Feature& feature : kFeatures) {
        if (tag == feature.tag) {
            return &feature;
        }
    }
    return nullptr;
}

} // namespace

bool TargetDescription::load(const std::string& xml) {
    registers.clear();
    std::string::size_type position = 0;
    for (;;) {
        std::string::size_type open = xml.find('<', position);
        if (open == std::string::npos) {
            break;
        }
        std::string::size_type close = xml.find('>', open);
        if (close == std::string::npos) {
            break;
        }
        const Feature* feature = findFeature(xml.substr(open, close - open + 1));
        if (feature != nullptr) {
            addFeatureSet(feature->statusRegister);
            break;
        }
        position = close + 1;
    }
    std::stable_sort(registers.begin(), registers.end(), [](const Register& left, const Register& right) {
        return left.getRegNumber() < right.getRegNumber();
    });
    return true;
}

void TargetDescription::addFeatureSet(RegisterId statusRegister) {
    for (const RegisterSlot& slot : kCoreRegisters) {
        addRegister(slot.id, slot.registerNumber);
    }
    addRegister(statusRegister, kStatusRegisterNumber);
}

void TargetDescription::addRegister(RegisterId id, unsigned int registerNumber) {
    registers.emplace_back(id, 0, registerNumber);
}

bool TargetDescription::applyValues(const RegisterList& values) {
    for (Register& reg : registers) {
        reg.setValue(values.getRegisterValue(reg.getId(), 0u));
    }
    return true;
}

bool TargetDescription::findRegister(unsigned int registerNumber, RegisterId& id) const {
    for (const Register& reg : registers) {
        if (reg.getRegNumber() == registerNumber) {
            id = reg.getId();
            return true;
        }
    }
    return false;
}
