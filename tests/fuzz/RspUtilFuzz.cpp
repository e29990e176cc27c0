// Every parser of RspUtil on the same text, the builders whose output a parser must read back, and the
// escaping that keeps kernel object names from breaking a frame or the thread list document.
#include "FuzzCheck.h"
#include "base/NumberCodec.h"
#include "base/StringUtil.h"
#include "rsp/RspUtil.h"
#include "target/Register.h"
#include "target/TargetThread.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool isPlainText(const std::string& text) {
    for (char character : text) {
        if (static_cast<unsigned char>(character) >= 0x80) {
            return false;
        }
    }
    return true;
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i > 0 ? " " : "") + words[i];
    }
    return text;
}

void parseAll(const std::string& text) {
    unsigned int first = 0;
    unsigned int second = 0;
    std::string word;
    std::string other;
    bool last = false;
    RspUtil::parseCommand_qC(text);
    RspUtil::parseCommand_k(text);
    RspUtil::parseCommand_qSymbol(text);
    RspUtil::parseCommand_qfThreadInfo(text);
    RspUtil::parseCommand_qsThreadInfo(text);
    if (RspUtil::parseCommand_T(text, first)) {
        fuzzRequire(text.size() > 1 && text[0] == 'T', "parseCommand_T takes only T and an id");
    }
    if (RspUtil::parseCommand_H(text, word, first)) {
        fuzzRequire(text.size() > 2 && text[0] == 'H' && word.size() == 1, "parseCommand_H shape");
    }
    RspUtil::parseCommand_qThreadExtraInfo(text, first);
    RspUtil::parseCommand_qXferthreadsread(text, first, second);
    RspUtil::parseCommand_qXferfeaturesreadtarget_xml(text, first, second);
    std::vector<std::string> words;
    if (RspUtil::parseCommand_qRcmd(text, words)) {
        fuzzRequire(!words.empty(), "a parsed qRcmd has a word");
    }
    if (RspUtil::parseCommand_stopReply(text, word, first)) {
        // The two characters behind the letter as toUINT32 reads them, sign and blank included.
        unsigned int signal = 0;
        NumberCodec::toUINT32(text.substr(1, 2), 16, signal);
        fuzzRequire(first == signal && word.size() == 1 && word[0] == text[0], "stop reply signal and kind");
    }
    RspUtil::parseReply_qSymbol(text, word, other);
    std::string annex;
    if (RspUtil::parseReply_qXferobjectreadannex(text, annex, last)) {
        fuzzRequire(annex.size() + 1 == text.size() && last == (text[0] == 'l'), "annex is the rest");
    }
    std::vector<unsigned char> bytes(3, 0x5a);
    bool memory = RspUtil::parseReply_m(text, bytes);
    fuzzRequire(memory ? bytes.size() == text.size() / 2 : bytes.empty(), "parseReply_m size");
    const unsigned int lengths[] = {0, 1, static_cast<unsigned int>(text.size()),
                                    static_cast<unsigned int>(text.size()) + 3, 0xffffffffu};
    for (unsigned int length : lengths) {
        std::size_t usable = length < text.size() ? length : text.size();
        fuzzRequire(NumberCodec::decodeHex(text, length).size() == usable / 2, "decodeHex size");
    }
    const unsigned int bases[] = {0, 2, 8, 10, 16, 36};
    for (unsigned int base : bases) {
        NumberCodec::toUINT32(text, base, first);
    }
}

// What GDB makes of binary data: '}' and the next byte XOR 0x20 are that byte.
std::string unescapeBinary(const std::string& escaped) {
    std::string data;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        data +=
            escaped[i] == '}' && i + 1 < escaped.size() ? static_cast<char>(escaped[++i] ^ 0x20) : escaped[i];
    }
    return data;
}

// What an XML reader makes of the five entities; anything else that starts with '&' is left as it is,
// and breaks the property below.
std::string unescapeXml(const std::string& escaped) {
    static const char* const kEntities[][2] = {
        {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}};
    std::string text;
    for (std::size_t i = 0; i < escaped.size();) {
        bool replaced = false;
        for (const auto& entity : kEntities) {
            std::size_t length = std::strlen(entity[0]);
            if (escaped.compare(i, length, entity[0]) == 0) {
                text += entity[1];
                i += length;
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            text += escaped[i++];
        }
    }
    return text;
}

void escapeAndReadBack(const std::string& text) {
    std::string binary = RspUtil::escapeBinary(text);
    fuzzRequire(binary.find_first_of("#$*") == std::string::npos, "no frame byte stays in binary data");
    for (std::size_t at = binary.find('}'); at != std::string::npos; at = binary.find('}', at + 2)) {
        fuzzRequire(at + 1 < binary.size() &&
                        std::string("\x03\x04\x0a]").find(binary[at + 1]) != std::string::npos,
                    "each '}' escapes one of the four frame bytes");
    }
    fuzzRequire(unescapeBinary(binary) == text, "binary data reads back");
    fuzzRequire(RspUtil::createReply_qXferthreadsread(text, 0, static_cast<unsigned int>(text.size())) ==
                    "l" + binary,
                "the whole document asked for is one last chunk");

    std::string xml = StringUtil::escapeXml(text);
    fuzzRequire(xml.find_first_of("<>\"'") == std::string::npos, "no markup byte stays in escaped text");
    fuzzRequire(unescapeXml(xml) == text, "escaped text reads back");
}

void buildAndReadBack(FuzzedDataProvider& input) {
    unsigned int thread = input.ConsumeIntegral<unsigned int>();
    unsigned int signal = input.ConsumeIntegralInRange<unsigned int>(0, 0xff);
    std::string kind;
    unsigned int parsedSignal = 0;
    fuzzRequire(RspUtil::parseCommand_stopReply(RspUtil::createCommand_stopReply(thread, signal), kind,
                                                parsedSignal) &&
                    kind == "T" && parsedSignal == signal,
                "a built stop reply reads back");
    unsigned int parsedThread = 0;
    fuzzRequire(RspUtil::parseCommand_T("T" + NumberCodec::toString(thread, 16), parsedThread) &&
                    parsedThread == thread,
                "T with a built id reads back");

    std::string text = input.ConsumeRandomLengthString(512);
    RspUtil::createReply_qThreadExtraInfo(text, input.ConsumeBool());
    std::string reply = RspUtil::createReply_qRcmd(text);
    std::vector<std::string> words;
    if (!text.empty() && isPlainText(text)) {
        fuzzRequire(RspUtil::parseCommand_qRcmd("qRcmd," + reply, words) && join(words) == text + "\n",
                    "monitor output reads back");
        fuzzRequire(NumberCodec::decodeHex(NumberCodec::encodeHex(text), 0xffffffffu) == text, "hex round trip");
    }
    std::vector<unsigned char> bytes;
    std::string hexWords;
    for (unsigned char byte : text) {
        hexWords += RspUtil::encodeRegisterValue(byte).substr(0, 2);
    }
    fuzzRequire(RspUtil::parseReply_m(hexWords, bytes) && std::string(bytes.begin(), bytes.end()) == text,
                "memory bytes read back");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // toUINT32 reports bad numbers on standard output; the fuzzer's report is on standard error.
    std::freopen("/dev/null", "w", stdout);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    parseAll(std::string(reinterpret_cast<const char*>(data), size));
    escapeAndReadBack(std::string(reinterpret_cast<const char*>(data), size));
    FuzzedDataProvider input(data, size);
    buildAndReadBack(input);
    return 0;
}
