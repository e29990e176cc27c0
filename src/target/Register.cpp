#include "target/Register.h"

Register::Register(RegisterId newId, unsigned int newValue, unsigned int newRegisterNumber)
    : id(newId), value(newValue), registerNumber(newRegisterNumber) {}
