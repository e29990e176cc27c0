#ifndef TARNWICK_TARGET_SAVEDFRAME_H
#define TARNWICK_TARGET_SAVEDFRAME_H

#include "target/PortFrames.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

class Register;
class RegisterList;
class RspClient;
class TargetThread;

// A switched-out thread's context where its kernel saved it in target memory. Reading chooses the frame by
// the port's row and unpacks it into registers that remember the address of their word; writing puts a
// value back into that word, so the thread resumes with it and every later read sees it. Log lines carry the
// tag "getRegisters".
class SavedFrame {
public:
    using Facts = std::function<unsigned int()>;

    SavedFrame(RspClient& newServer, TargetThread& newThread) : server(newServer), thread(newThread) {}
    virtual ~SavedFrame() = default;

    // Adds REG_SP (past the frame, one word more when the core aligned its stack on exception entry, bit 9
    // of a stacked xPSR), REG_PC from REG_LR for a frame without pc, then every register of the chosen layout
    // in ascending id. facts, asked once before the first choice if any choice tests them, are the kernel's.
    // Nothing is added when a read fails.
    bool read(const PortFrames& port, const Facts& facts, RegisterList& registers);

    // Adds every register of the layout, in ascending id, from frame, the layout's bytes as read at
    // frameAddress. An id already in registers keeps its value and gets no slot.
    static void unpack(const FrameLayout& layout, unsigned int frameAddress,
                       std::vector<unsigned char>& frame, RegisterList& registers);
    // Writes valueHex, the register's bytes in target order as GDB sends them, to the register's word. False
    // for a register without a slot (nothing is sent) or when the server does not answer "OK".
    static bool write(RspClient& server, const Register& saved, const std::string& valueHex);

private:
    // Where the stop keeps memory and the first probe to be read lies at the stack pointer inside the frames
    // the facts still allow, fetches the largest of those frames whole, so that the probe and then the frame
    // chosen are read from there.
    void prefetchCandidates(const PortFrames& port, unsigned int facts);
    // Whether every test of the choice without a probe holds for facts.
    static bool holdsFacts(const PortFrames::Choice& choice, unsigned int facts);
    // The probe's word from the start of its frame, or from the stack pointer for a probe without a layout.
    static unsigned int probeOffset(const PortFrames::Probe& probe);
    bool holds(const PortFrames::Choice& choice, unsigned int facts, bool& failed);
    bool probe(const PortFrames::Probe& probe, unsigned int& word);
    // The choice's opening line, before the first read of a call.
    void open(const PortFrames::Choice& choice);
    void logStackPointer(PortFrames::StackLog log) const;
    // The address of the frame of the layout at place.
    unsigned int frameAddress(const FrameLayout& layout, PortFrames::Place place);
    bool readChoice(const PortFrames::Choice& choice, RegisterList& registers);
    unsigned int stackPointer(const PortFrames::Choice& choice, unsigned int address,
                              std::vector<unsigned char>& frame) const;

    RspClient& server;
    TargetThread& thread;
    std::map<const PortFrames::Probe*, unsigned int> probed;
    bool opened = false;
};

#endif
