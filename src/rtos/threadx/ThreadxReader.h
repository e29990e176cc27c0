#ifndef TARNWICK_RTOS_THREADX_THREADXREADER_H
#define TARNWICK_RTOS_THREADX_THREADXREADER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class RspClient;
class StructInfo;

// The reads every ThreadX walk is made of: a control block bound at its address, the word at a kernel
// symbol and the word of a member of a bound structure; a member is read as 4 bytes whatever its declared
// width. While the server endpoint keeps a stop's memory, a control block is fetched whole when bound and
// its members come from there; without one, each word is one m exchange.
// A member this kernel build lacks is reported once; otherwise the walks decide what a failure means.
class ThreadxReader {
public:
    // The kernel links an object before it counts it and uncounts it before it unlinks it: a core stopped
    // in between shows one more than counted. The margin allows for that on several cores at once.
    static constexpr unsigned int kCountMargin = 4;
    // The bytes read for an object's name: the kernel keeps only a pointer, so the string's length is
    // unknown.
    static constexpr unsigned int kObjectNameLength = 20;

    // Binds the layout of structure to the object at address and fetches it whole; false if the layout
    // is unknown.
    static bool bind(RspClient& server, const std::string& structure, unsigned int address,
                     StructInfo& object);
    // False if the symbol is unknown or the read fails.
    static bool readSymbol(RspClient& server, const std::string& name, unsigned int& value);
    // False if the structure has no such member or the read fails.
    static bool readMember(RspClient& server, StructInfo& object, const std::string& member,
                           unsigned int& value);
    // The name that member of object points at, read as a kernel object name (20 bytes).
    static bool readName(RspClient& server, StructInfo& object, const std::string& member, std::string& name);
    // The kernel object name at address.
    static bool readNameAt(RspClient& server, unsigned int address, std::string& name);

    // The most links a ring may take whose kernel count was read as count: the count and the margin, or
    // the hard cap of ListWalkBound when the count could not be read.
    static std::uint64_t ringLimit(bool counted, unsigned int count);
    // Reads the item at link and gives the link that follows it; false ends the walk as a failure.
    using Step = std::function<bool(unsigned int link, unsigned int& next)>;
    // The kernel's lists are rings: from head, each item in turn until the ring comes back to head, or is
    // cut at an item seen before or past limit items. False only when a step fails.
    static bool walkRing(const std::string& listName, unsigned int head, std::uint64_t limit,
                         const Step& step);
    // Names of the threads on the suspension list that starts at first, at most limit of them (ringLimit
    // of the object's suspended count).
    static bool readSuspensionList(RspClient& server, unsigned int first, std::uint64_t limit,
                                   std::vector<std::string>& names);
};

#endif
