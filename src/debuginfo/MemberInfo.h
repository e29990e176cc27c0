#ifndef TARNWICK_DEBUGINFO_MEMBERINFO_H
#define TARNWICK_DEBUGINFO_MEMBERINFO_H

#include <string>
#include <vector>

// One member of a structure layout; once bound to an instance it also carries its target address.
class MemberInfo {
public:
    MemberInfo() = default;
    MemberInfo(const std::string& newName, unsigned int newOffset);
    virtual ~MemberInfo() = default;

    std::string getName() const { return name; }
    unsigned int getOffset() const { return offset; }
    unsigned int getAddress() const { return address; }
    void setAddress(unsigned int newAddress) { address = newAddress; }
    // The buffer that a memory read of this member fills.
    std::vector<unsigned char>& getData() { return data; }
    // Little-endian decodes of the start of the buffer; missing bytes read as zero.
    unsigned int getDataUINT32();
    unsigned short getDataUINT16();
    unsigned char getDataUINT8();

private:
    std::string name;
    unsigned int offset = 0;
    std::vector<unsigned char> data;
    unsigned int address = 0;
};

#endif
