#include "debuginfo/Symbol.h"

Symbol::Symbol(const std::string& newName, const std::string& newAddress)
    : name(newName), address(newAddress),
      address32(static_cast<unsigned int>(std::stoul(newAddress, nullptr, 16))) {}
