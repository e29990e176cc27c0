#ifndef TARNWICK_RTOS_THREADX_THREADXREADER_H
#define TARNWICK_RTOS_THREADX_THREADXREADER_H

#include <string>

class RspClient;
class StructInfo;

// The two reads every ThreadX walk is made of: the word at a kernel symbol and the word of a member of a
// bound structure. Each is one m exchange; a member is read as 4 bytes whatever its declared width.
// A member this kernel build lacks is reported once; otherwise the walks decide what a failure means.
class ThreadxReader {
public:
    // False if the symbol is unknown or the read fails.
    static bool readSymbol(RspClient& server, const std::string& name, unsigned int& value);
    // False if the structure has no such member or the read fails.
    static bool readMember(RspClient& server, StructInfo& object, const std::string& member,
                           unsigned int& value);
};

#endif
