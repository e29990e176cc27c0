#ifndef TARNWICK_DEBUGINFO_ARMATTRIBUTES_H
#define TARNWICK_DEBUGINFO_ARMATTRIBUTES_H

#include <string>

class ElfFile;

// What the ".ARM.attributes" section of a program says of the processor it was built for: the
// architecture and whether floating-point instructions are in use.
class ArmAttributes {
public:
    virtual ~ArmAttributes() = default;

    // Reads the file-wide attributes of the "aeabi" vendor; false when the bytes hold none.
    bool parse(const std::string& bytes);
    // The same from the program's ".ARM.attributes" section; false when it has none.
    bool read(const ElfFile& elf);
    // "v6-M", "v6S-M", "v7-M", "v7E-M", "v8-M baseline", "v8-M mainline", "v8.1-M mainline", "v7-A" or
    // "v7-R"; empty when the section does not name one of these.
    const std::string& getArchitecture() const { return architecture; }
    // True when Tag_FP_arch names a floating-point unit.
    bool usesFloatingPoint() const { return floatingPoint; }

private:
    // One attribute, read at position; false when the bytes end inside it.
    bool readAttribute(const std::string& bytes, std::size_t& position, std::size_t end);

    std::string architecture;
    bool floatingPoint = false;
    unsigned int cpuArch = 0;
    unsigned int profile = 0;
    bool archSeen = false;
};

#endif
