#include "rtos/freertos/FreeRtosFrameReader.h"
#include "base/NumberCodec.h"

#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"
#include "target/SavedFrame.h"

#include <vector>

namespace {

const char* const kTag = "getRegisters";
// Set in the stacked xPSR when the core inserted a padding word to align the stack.
constexpr unsigned int kStackAlignedBit = 0x200;

} // namespace

bool FreeRtosFrameReader::readFrame(RspClient& server, unsigned int savedStackPointer,
                                    const FrameLayout& layout, bool cortexM, RegisterList& registers) {
    Logger& logger = Logger::getInstance();
    std::vector<unsigned char> frame;
    if (!server.readMemory(savedStackPointer, layout.getSize(), frame)) {
        logger.log(Logger::LOG_ERROR, kTag, "failed reading frame\n");
        return false;
    }
    unsigned int stackPointer = savedStackPointer + layout.getSize();
    unsigned int offset = 0;
    if (cortexM && layout.getOffset(RegisterId::REG_XPSR, offset) &&
        (NumberCodec::toUINT32(&frame[offset]) & kStackAlignedBit) != 0) {
        logger.log(Logger::LOG_DEBUG, kTag, "Add alignment\n");
        stackPointer += 4;
    }
    registers.addRegister(RegisterId::REG_SP, stackPointer);
    SavedFrame::unpack(layout, savedStackPointer, frame, registers);
    return true;
}

bool FreeRtosFrameReader::readExceptionReturn(RspClient& server, unsigned int savedStackPointer,
                                              const FrameLayout& probe, unsigned int& excReturn) {
    Logger& logger = Logger::getInstance();
    unsigned int offset = 0;
    if (!probe.getOffset(RegisterId::REG_LR_PENDSV, offset)) {
        logger.log(Logger::LOG_ERROR, kTag, "Corrupt frame layout (LR_PENDSV)\n");
        return false;
    }
    if (!server.readMemory(savedStackPointer + offset, excReturn)) {
        logger.log(Logger::LOG_ERROR, kTag, "Failed reading saved stack ptr\n");
        return false;
    }
    logger.log(Logger::LOG_DEBUG, kTag, "LR_pendSV: 0x%x\n", excReturn);
    logger.log(Logger::LOG_DEBUG, kTag, "Saved SP: 0x%x\n", savedStackPointer);
    return true;
}
