#ifndef TARNWICK_RTOS_FREERTOS_FREERTOSKERNELOBJECT_H
#define TARNWICK_RTOS_FREERTOS_FREERTOSKERNELOBJECT_H

#include "debuginfo/StructInfo.h"

#include <optional>
#include <string>

class RspClient;

// One kernel object in target memory, seen through the layout of its structure: members are read by
// name, so that a member that this kernel build lacks is an ordinary failure. While the server endpoint
// keeps a stop's memory, the whole object is fetched when bound and its members come from there; without
// one, each member is a read of its own.
class FreeRtosKernelObject {
public:
    explicit FreeRtosKernelObject(RspClient& newServer) : server(newServer) {}
    virtual ~FreeRtosKernelObject() = default;

    // Binds the layout of structure to the object at address and fetches it whole; false if the layout
    // is unknown.
    bool bind(const std::string& structure, unsigned int address);
    // True if the layout has the member; for members that differ between kernel versions, where a missing
    // one is no news.
    bool has(const std::string& member);
    // The target address of the member; false if the layout lacks it.
    bool memberAddress(const std::string& member, unsigned int& address);
    // Reads the 4-byte member; false, value untouched, if the layout lacks it or the read fails.
    bool readWord(const std::string& member, unsigned int& value);
    // The 4-byte member; absent if the layout lacks it or the read fails.
    std::optional<unsigned int> word(const std::string& member);
    // Reads the 1-byte member, in the same way.
    bool readByte(const std::string& member, unsigned char& value);
    // The kernel name at address, a task's within its control block or an object's anywhere: 20 bytes
    // whatever the kernel's own limit, so that a longer name is cut to one less. Absent if unreadable.
    std::optional<std::string> readName(unsigned int address);

private:
    // A member this kernel build lacks is reported once.
    bool lookup(const std::string& member, MemberInfo& info);
    bool read(const std::string& member, unsigned int length, MemberInfo& info);

    RspClient& server;
    StructInfo layout;
};

#endif
