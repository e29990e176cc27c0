#ifndef TARNWICK_RSP_RSPUTIL_H
#define TARNWICK_RSP_RSPUTIL_H

#include <string>
#include <vector>

// Static encoders and parsers of RSP payloads. No I/O.
// Numbers go out in lower-case hexadecimal without prefix or leading zeros unless said otherwise.
// Parsers return true on a match and leave their outputs alone otherwise, unless said otherwise.
class RspUtil {
public:
    // Eight digits, least significant byte first: the target's byte order on the wire.
    static std::string encodeRegisterValue(unsigned int value);

    // Replies to GDB.
    static std::string createReply_OK();
    static std::string createReply_Empty();
    // "E" and the code in two hexadecimal digits.
    static std::string createReply_Error(unsigned int code);
    static std::string createReply_qC(unsigned int thread);
    // Asks GDB for the address of name.
    static std::string createReply_qSymbol(const std::string& name);
    // "OK" for no output, otherwise the hex of the output and a line end.
    static std::string createReply_qRcmd(const std::string& text);
    // The piece of document at offset, at most length bytes before escaping, as binary data (escapeBinary):
    // "m" and the piece when more follows, "l" and the rest at the end, "l" alone past the end.
    static std::string createReply_qXferthreadsread(const std::string& document, unsigned int offset,
                                                    unsigned int length);
    // data with '#', '$', '}' and '*' written as '}' and the byte XOR 0x20, as binary data must be in a
    // frame, so that no byte of it ends the frame, starts another or reads as a repeat count.
    static std::string escapeBinary(const std::string& data);
    // "l" for no threads, otherwise "m" and the ids separated by ",".
    static std::string createReply_qfThreadInfo(const std::vector<unsigned int>& threads);
    // The hex of the name, and of " RUNNING" behind it for the thread on the core.
    static std::string createReply_qThreadExtraInfo(const std::string& name, bool running);

    // Commands to the server. addressHex goes out as it stands.
    static std::string createCommand_m(const std::string& addressHex, unsigned int length);
    static std::string createCommand_m(unsigned int address, unsigned int length);
    // "Maddress,length:data", length being the bytes that dataHex holds.
    static std::string createCommand_M(unsigned int address, const std::string& dataHex);
    // "qXfer:features:read:annex:offset,length".
    static std::string createCommand_qXferfeaturesread(const std::string& annex, unsigned int offset,
                                                       unsigned int length);
    // "T05thread:2000a1b8;": the signal in at least two digits.
    static std::string createCommand_stopReply(unsigned int thread, unsigned int signal);
    // The server's S or T stop reply as a T reply naming thread: its signal and every field byte for byte and
    // in order, the server's thread field replaced by this one, which comes first where the server gave none.
    static std::string createCommand_stopReply(const std::string& serverReply, unsigned int thread);
    // The same behind "Stop:", for a '%' frame.
    static std::string createNotification_stopReply(unsigned int thread, unsigned int signal);

    // Exact payloads.
    static bool parseCommand_qC(const std::string& command);
    static bool parseCommand_k(const std::string& command);
    static bool parseCommand_qSymbol(const std::string& command);
    static bool parseCommand_qfThreadInfo(const std::string& command);
    static bool parseCommand_qsThreadInfo(const std::string& command);
    // "T" and a hexadecimal thread id.
    static bool parseCommand_T(const std::string& command, unsigned int& thread);
    // "H", one operation character and a hexadecimal thread id; "-1" gives 0xFFFFFFFF.
    static bool parseCommand_H(const std::string& command, std::string& operation, unsigned int& thread);
    // "p" and a hexadecimal register number.
    static bool parseCommand_p(const std::string& command, unsigned int& number);
    // "P", a hexadecimal register number, "=" and the value's bytes in hexadecimal, at least one.
    static bool parseCommand_P(const std::string& command, unsigned int& number, std::string& valueHex);
    // "G" and the bytes of every register in hexadecimal, at least one.
    static bool parseCommand_G(const std::string& command, std::string& registersHex);
    static bool parseCommand_qThreadExtraInfo(const std::string& command, unsigned int& thread);
    static bool parseCommand_qXferthreadsread(const std::string& command, unsigned int& offset,
                                              unsigned int& length);
    static bool parseCommand_qXferfeaturesreadtarget_xml(const std::string& command, unsigned int& offset,
                                                         unsigned int& length);
    // The decoded text behind "qRcmd," split at blanks, appended to arguments.
    static bool parseCommand_qRcmd(const std::string& command, std::vector<std::string>& arguments);
    // S, T, W or X with its two-digit signal or exit code. For W and X, kind is written as soon as
    // the letter is seen, even when the size then fails.
    static bool parseCommand_stopReply(const std::string& command, std::string& kind, unsigned int& signal);

    // Parsed replies of GDB and the server.
    // "qSymbol:value:hexname"; value is empty when GDB does not know the symbol.
    static bool parseReply_qSymbol(const std::string& reply, std::string& value, std::string& name);
    // A chunk of a qXfer read: appends it to data; last is true for 'l', false for 'm'.
    static bool parseReply_qXferobjectreadannex(const std::string& reply, std::string& data, bool& last);
    // Clears data first, accepted or not; then one byte per pair, as in decodeHex. Any even size passes.
    static bool parseReply_m(const std::string& reply, std::vector<unsigned char>& data);

private:
    static bool parseOffsetLength(const std::string& text, unsigned int& offset, unsigned int& length);
};

#endif
