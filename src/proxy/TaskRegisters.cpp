#include "proxy/TaskRegisters.h"

#include "base/Logger.h"
#include "rsp/RspUtil.h"
#include "rtos/IRtosDriver.h"
#include "target/SavedFrame.h"
#include "target/TargetDescription.h"

#include <vector>

namespace {

const char* const kTag = "intercept_g";
// A frame keeps every register in target words.
const std::string::size_type kWordDigits = 8;

// The error codes, each documented in the README.
constexpr unsigned int kErrorNoRegisters = 0x01;
constexpr unsigned int kErrorNoSlot = 0x02;
constexpr unsigned int kErrorWriteFailed = 0x03;
constexpr unsigned int kErrorUnknownRegister = 0x04;

std::string error(unsigned int code) {
    return RspUtil::createReply_Error(code);
}

} // namespace

TaskRegisters::TaskRegisters(IRtosDriver& newDriver, TargetDescription& newDescription, RspClient& newServer,
                             TargetThread& newThread)
    : driver(newDriver), description(newDescription), server(newServer), thread(newThread) {}

bool TaskRegisters::load() {
    if (!loaded && !driver.getRegisters(server, thread, saved)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag,
                                  "Read registers. Failed reading registers from driver.\n");
        return false;
    }
    loaded = true;
    return true;
}

std::string TaskRegisters::readAll(unsigned int payloadBytes) {
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    return description.encodeAll(saved, payloadBytes);
}

std::string TaskRegisters::readOne(unsigned int number) {
    TargetDescription::Entry entry;
    if (!description.findRegister(number, entry)) {
        return error(kErrorUnknownRegister);
    }
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    return TargetDescription::encode(entry, saved);
}

std::string TaskRegisters::writeOne(unsigned int number, const std::string& valueHex) {
    TargetDescription::Entry entry;
    if (!description.findRegister(number, entry) || valueHex.size() != 2 * entry.bytes) {
        return error(kErrorUnknownRegister);
    }
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    std::vector<Write> writes;
    if (!collectWrites(entry, valueHex, writes)) {
        return error(kErrorNoSlot);
    }
    return commit(writes);
}

std::string TaskRegisters::writeAll(const std::string& registersHex) {
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    std::vector<Write> writes;
    std::string::size_type position = 0;
    for (const TargetDescription::Entry& entry : description.getRegisters()) {
        const std::string::size_type digits = 2 * entry.bytes;
        if (position + digits > registersHex.size()) {
            break;
        }
        std::string valueHex = registersHex.substr(position, digits);
        position += digits;
        // GDB sends back what it was given: only a change is a write, and a register the frame lacks (sent to
        // GDB as unavailable) is none.
        const std::string current = TargetDescription::encode(entry, saved);
        if (valueHex == current || current.find('x') != std::string::npos) {
            continue;
        }
        if (!collectWrites(entry, valueHex, writes)) {
            return error(kErrorNoSlot);
        }
    }
    return commit(writes);
}

bool TaskRegisters::collectWrites(const TargetDescription::Entry& entry, const std::string& valueHex,
                                  std::vector<Write>& writes) const {
    const RegisterId words[] = {entry.low, entry.high};
    std::string::size_type position = 0;
    for (RegisterId id : words) {
        if (id == RegisterId::REG_NONE) {
            continue;
        }
        Register word;
        unsigned int slot = 0;
        if (position + kWordDigits > valueHex.size() || !saved.getRegister(id, word) || !word.getSlot(slot)) {
            return false;
        }
        writes.push_back({word, valueHex.substr(position, kWordDigits)});
        position += kWordDigits;
    }
    return position == valueHex.size();
}

std::string TaskRegisters::commit(const std::vector<Write>& writes) {
    for (const Write& write : writes) {
        if (!SavedFrame::write(server, write.word, write.valueHex)) {
            return error(kErrorWriteFailed);
        }
    }
    return RspUtil::createReply_OK();
}
