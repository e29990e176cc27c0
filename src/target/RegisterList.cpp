#include "target/RegisterList.h"

RegisterList::RegisterList(const std::vector<RegisterId>& ids) {
    for (RegisterId id : ids) {
        addRegister(id, 0);
    }
}

bool RegisterList::getRegister(RegisterId id, Register& result) const {
    auto found = registers.find(id);
    if (found == registers.end()) {
        return false;
    }
    result = found->second;
    return true;
}

bool RegisterList::getRegisterValue(RegisterId id, unsigned int& value) const {
    auto found = registers.find(id);
    if (found == registers.end()) {
        return false;
    }
    value = found->second.getValue();
    return true;
}

unsigned int RegisterList::getRegisterValue(RegisterId id, const unsigned int& defaultValue) const {
    auto found = registers.find(id);
    if (found == registers.end()) {
        return defaultValue;
    }
    return found->second.getValue();
}

void RegisterList::addRegister(RegisterId id, unsigned int value) {
    registers.emplace(id, Register(id, value, 0));
}

void RegisterList::addSavedRegister(RegisterId id, unsigned int value, unsigned int slotAddress) {
    Register saved(id, value, 0);
    saved.setSlot(slotAddress);
    registers.emplace(id, saved);
}
