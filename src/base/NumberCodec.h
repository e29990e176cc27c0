#ifndef TARNWICK_BASE_NUMBERCODEC_H
#define TARNWICK_BASE_NUMBERCODEC_H

#include <string>
#include <vector>

// Numbers to and from text and target bytes, as the wire, the options and the dump tool write them.
// Digits go out in lower case without prefix or leading zeros.
class NumberCodec {
public:
    // stoul in the given base, low 32 bits stored; true only if the whole text was used.
    // Logs "RspUtil::toUINT32(), failure: <text>" as an error when no number could be read (value untouched).
    static bool toUINT32(const std::string& text, unsigned int base, unsigned int& value);
    // Values at data in host order, which is taken to be the target's order.
    static unsigned int toUINT32(unsigned char* data);
    static unsigned short toUINT16(unsigned char* data);
    static unsigned char toUINT8(unsigned char* data);

    // Two digits per character taken as signed, so a byte of 0x80 or above gives eight ("ffffffe9").
    static std::string encodeHex(const std::string& text);
    // Decodes length / 2 pairs from the start of hex (never more than hex holds). A pair that does not
    // scan as hexadecimal repeats the byte of the pair before it; as the first pair it gives 0x00.
    static std::string decodeHex(const std::string& hex, unsigned int length);
    // Every pair of hex, decoded as above, appended to bytes.
    static void decodeHex(const std::string& hex, std::vector<unsigned char>& bytes);
    // Base 16 or 10; any other base gives an empty text.
    static std::string toString(unsigned int value, unsigned int base);
};

#endif
