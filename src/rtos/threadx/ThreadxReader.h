#ifndef TARNWICK_RTOS_THREADX_THREADXREADER_H
#define TARNWICK_RTOS_THREADX_THREADXREADER_H

#include <string>

class RspClient;
class StructInfo;

// The reads every ThreadX walk is made of: a control block bound at its address, the word at a kernel
// symbol and the word of a member of a bound structure; a member is read as 4 bytes whatever its declared
// width. While the server endpoint keeps a stop's memory, a control block is fetched whole when bound and
// its members come from there; without one, each word is one m exchange.
// A member this kernel build lacks is reported once; otherwise the walks decide what a failure means.
class ThreadxReader {
public:
    // Binds the layout of structure to the object at address and fetches it whole; false if the layout
    // is unknown.
    static bool bind(RspClient& server, const std::string& structure, unsigned int address,
                     StructInfo& object);
    // False if the symbol is unknown or the read fails.
    static bool readSymbol(RspClient& server, const std::string& name, unsigned int& value);
    // False if the structure has no such member or the read fails.
    static bool readMember(RspClient& server, StructInfo& object, const std::string& member,
                           unsigned int& value);
};

#endif
