#ifndef TARNWICK_TARGET_SAVEDFRAME_H
#define TARNWICK_TARGET_SAVEDFRAME_H

#include <string>
#include <vector>

class FrameLayout;
class Register;
class RegisterList;
class RspClient;

// A switched-out task's context where its kernel saved it in target memory. Reading unpacks the frame into
// registers that remember the address of their word; writing puts a value back into that word, so the task
// resumes with it and every later read sees it.
class SavedFrame {
public:
    // Adds every register of the layout, in ascending id, from frame, the layout's bytes as read at
    // frameAddress. An id already in registers keeps its value and gets no slot.
    static void unpack(const FrameLayout& layout, unsigned int frameAddress,
                       std::vector<unsigned char>& frame, RegisterList& registers);
    // Writes valueHex, the register's bytes in target order as GDB sends them, to the register's word. False
    // for a register without a slot (nothing is sent) or when the server does not answer "OK".
    static bool write(RspClient& server, const Register& saved, const std::string& valueHex);
};

#endif
