#ifndef TARNWICK_DEBUGINFO_ELFFILE_H
#define TARNWICK_DEBUGINFO_ELFFILE_H

#include <cstdint>
#include <string>
#include <vector>

// The sections and symbol names of a 32-bit little-endian ELF file (an Arm program or a relocatable
// object), read straight from the file: what the debug-information dump does not carry.
class ElfFile {
public:
    virtual ~ElfFile() = default;

    // False if the file cannot be read or is not a whole 32-bit little-endian ELF file.
    bool load(const std::string& path);
    // The bytes of the first section of that name; false if there is none.
    bool section(const std::string& name, std::string& bytes) const;
    // Every name in the symbol table, local ones included, in the table's order; empty for a stripped file.
    std::vector<std::string> symbolNames() const;
    // The little-endian 32-bit word at offset, which the caller has checked to lie within bytes.
    static std::uint32_t word(const std::string& bytes, std::size_t offset);

private:
    struct Section {
        std::string name;
        std::uint32_t type;
        std::uint32_t offset;
        std::uint32_t size;
        std::uint32_t link;
    };
    bool readSections();
    std::uint32_t word(std::size_t offset) const { return word(image, offset); }
    std::uint16_t half(std::size_t offset) const;
    // The text from offset up to its terminating zero, or to the end of the range.
    std::string text(std::size_t offset, std::size_t end) const;

    std::string image;
    std::vector<Section> sections;
};

#endif
