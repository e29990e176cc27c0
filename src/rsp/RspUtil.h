#ifndef TARNWICK_RSP_RSPUTIL_H
#define TARNWICK_RSP_RSPUTIL_H

#include <string>

// Static encoders and parsers of RSP payloads. No I/O but the failure line of toUINT32.
class RspUtil {
public:
    // stoul in the given base, low 32 bits stored; true only if the whole text was used.
    // Prints "RspUtil::toUINT32(), failure: <text>" when no number could be read (value untouched).
    static bool toUINT32(const std::string& text, unsigned int base, unsigned int& value);
    // Values at data in host order, which is taken to be the target's order.
    static unsigned int toUINT32(unsigned char* data);
    static unsigned short toUINT16(unsigned char* data);
    static unsigned char toUINT8(unsigned char* data);
};

#endif
