#ifndef TARNWICK_DEBUGINFO_SYMBOL_H
#define TARNWICK_DEBUGINFO_SYMBOL_H

#include <string>

// A kernel symbol as GDB resolved it: the address as GDB sent it, and as a number.
class Symbol {
public:
    Symbol() = default;
    // Converts newAddress in base 16 with no end check; text without a digit throws std::invalid_argument.
    Symbol(const std::string& newName, const std::string& newAddress);
    virtual ~Symbol() = default;

    std::string getName() const { return name; }
    std::string getAddress() const { return address; }
    unsigned int getAddress32() const { return address32; }

private:
    std::string name;
    std::string address;
    unsigned int address32 = 0;
};

#endif
