#include "proxy/TaskRegisters.h"

#include "app/Logger.h"
#include "rsp/RspUtil.h"
#include "rtos/IRtosDriver.h"
#include "target/SavedFrame.h"
#include "target/TargetDescription.h"

#include <vector>

namespace {

const char* const kTag = "intercept_g";
// Every register the description carries is one target word.
const std::string::size_type kWordDigits = 8;

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
    description.applyValues(saved);
    return RspUtil::createReply_g(description.getRegisters(), payloadBytes);
}

std::string TaskRegisters::readOne(unsigned int number) {
    RegisterId id = RegisterId::REG_NONE;
    if (!description.findRegister(number, id)) {
        return error(kErrorUnknownRegister);
    }
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    unsigned int value = 0;
    return saved.getRegisterValue(id, value) ? RspUtil::encodeRegisterValue(value)
                                             : std::string(kWordDigits, 'x');
}

std::string TaskRegisters::writeOne(unsigned int number, const std::string& valueHex) {
    RegisterId id = RegisterId::REG_NONE;
    if (!description.findRegister(number, id) || valueHex.size() != kWordDigits) {
        return error(kErrorUnknownRegister);
    }
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    Register target;
    unsigned int slot = 0;
    if (!saved.getRegister(id, target) || !target.getSlot(slot)) {
        return error(kErrorNoSlot);
    }
    return SavedFrame::write(server, target, valueHex) ? RspUtil::createReply_OK() : error(kErrorWriteFailed);
}

std::string TaskRegisters::writeAll(const std::string& registersHex) {
    if (!load()) {
        return error(kErrorNoRegisters);
    }
    std::vector<std::pair<Register, std::string>> changes;
    std::string::size_type position = 0;
    for (const Register& described : description.getRegisters()) {
        if (position + kWordDigits > registersHex.size()) {
            break;
        }
        std::string valueHex = registersHex.substr(position, kWordDigits);
        position += kWordDigits;
        Register target;
        if (!saved.getRegister(described.getId(), target) ||
            valueHex == RspUtil::encodeRegisterValue(target.getValue())) {
            continue;
        }
        unsigned int slot = 0;
        if (!target.getSlot(slot)) {
            return error(kErrorNoSlot);
        }
        changes.emplace_back(target, valueHex);
    }
    for (const auto& change : changes) {
        if (!SavedFrame::write(server, change.first, change.second)) {
            return error(kErrorWriteFailed);
        }
    }
    return RspUtil::createReply_OK();
}
