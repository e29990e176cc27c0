#ifndef TARNWICK_PROXY_TASKREGISTERS_H
#define TARNWICK_PROXY_TASKREGISTERS_H

#include "target/RegisterList.h"
#include "target/TargetDescription.h"

#include <string>
#include <vector>

class IRtosDriver;
class RspClient;
class TargetThread;

// GDB's register packets for one switched-out task, answered from the context its kernel saved: reads come
// from the saved frame, writes go into the frame's words in target memory and never reach the core. Each
// operation returns the reply for GDB; the frame is read once, at the first operation that needs it.
class TaskRegisters {
public:
    TaskRegisters(IRtosDriver& newDriver, TargetDescription& newDescription, RspClient& newServer,
                  TargetThread& newThread);

    // g: every register of the description while it fits in payloadBytes; "xx" for what the frame lacks.
    std::string readAll(unsigned int payloadBytes);
    // p: one register by GDB's number; "xx" per byte if the frame lacks it.
    std::string readOne(unsigned int number);
    // P: one register by GDB's number, valueHex in target byte order and as wide as the register.
    std::string writeOne(unsigned int number, const std::string& valueHex);
    // G: the registers in the description's order; only those that change are written, and nothing is
    // written if one of them has no word in the frame.
    std::string writeAll(const std::string& registersHex);

private:
    // One word of the saved frame and the value it gets.
    struct Write {
        Register word;
        std::string valueHex;
    };

    bool load();
    // The writes that put valueHex into the entry's words; false if a word has no slot in the frame.
    bool collectWrites(const TargetDescription::Entry& entry, const std::string& valueHex,
                       std::vector<Write>& writes) const;
    // Every write in order; the reply for GDB.
    std::string commit(const std::vector<Write>& writes);

    IRtosDriver& driver;
    TargetDescription& description;
    RspClient& server;
    TargetThread& thread;
    RegisterList saved;
    bool loaded = false;
};

#endif
