#include "rtos/freertos/FreeRtosPortMpuContext.h"
#include "base/NumberCodec.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"
#include "target/SavedFrame.h"

#include <vector>

namespace {

const char* const kTag = "getRegisters";
// The C half of the SVC handler of the ports that keep the context in the control block; the older ports
// named it prvSVCHandler.
const char* const kControlBlockPortFunction = "vSVCHandler_C";
// Set in the exception return value when the task had no floating-point context to stack.
constexpr unsigned int kBasicFrameBit = 0x10;
// Set in the stacked xPSR when the core inserted a padding word to align the stack.
constexpr unsigned int kStackAlignedBit = 0x200;
// What the processor stacked at the saved stack pointer: eight words, and s0-s15, FPSCR and a reserved word
// more for an extended frame.
constexpr unsigned int kBasicHardwareFrame = 32;
constexpr unsigned int kExtendedHardwareFrame = 104;

unsigned int wordAt(std::vector<unsigned char>& context, const FrameLayout& layout, RegisterId id) {
    unsigned int offset = 0;
    layout.getOffset(id, offset);
    return NumberCodec::toUINT32(&context[offset]);
}

} // namespace

bool FreeRtosPortMpuContext::keptInControlBlock() {
    Symbol symbol;
    return SymbolTable::getInstance().lookupSymbol(kControlBlockPortFunction, symbol);
}

bool FreeRtosPortMpuContext::read(RspClient& server, unsigned int contextEnd, RegisterList& registers) {
    Logger& logger = Logger::getInstance();
    logger.log(Logger::LOG_DEBUG, kTag, "Saved context ends at: 0x%x\n", contextEnd);
    unsigned int offset = 0;
    FRAMELAYOUT_MPU_CONTEXT_BASIC.getOffset(RegisterId::REG_LR_PENDSV, offset);
    unsigned int excReturn = 0;
    if (!server.readMemory(contextEnd - FRAMELAYOUT_MPU_CONTEXT_BASIC.getSize() + offset, excReturn)) {
        logger.log(Logger::LOG_ERROR, kTag, "Failed reading saved context\n");
        return false;
    }
    bool basic = (excReturn & kBasicFrameBit) != 0;
    const FrameLayout& layout = basic ? FRAMELAYOUT_MPU_CONTEXT_BASIC : FRAMELAYOUT_MPU_CONTEXT_EXT;
    std::vector<unsigned char> context;
    if (!server.readMemory(contextEnd - layout.getSize(), layout.getSize(), context)) {
        logger.log(Logger::LOG_ERROR, kTag, "Failed reading saved context\n");
        return false;
    }
    unsigned int stackPointer =
        wordAt(context, layout, RegisterId::REG_SP) + (basic ? kBasicHardwareFrame : kExtendedHardwareFrame);
    if ((wordAt(context, layout, RegisterId::REG_XPSR) & kStackAlignedBit) != 0) {
        logger.log(Logger::LOG_DEBUG, kTag, "Add alignment\n");
        stackPointer += 4;
    }
    // First, so that the context's own sp word, the stack pointer before the hardware frame, stays out.
    registers.addRegister(RegisterId::REG_SP, stackPointer);
    SavedFrame::unpack(layout, contextEnd - layout.getSize(), context, registers);
    return true;
}
