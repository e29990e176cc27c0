#include "rtos/threadx/ThreadxPortFrame.h"
#include "base/NumberCodec.h"

#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "target/RegisterList.h"
#include "target/SavedFrame.h"

namespace {

const char* const kTag = "getRegisters";

constexpr unsigned int kBasicFrameBit = 0x10;
constexpr unsigned int kStackAlignedBit = 0x200;
constexpr unsigned int kAlignmentWord = 4;

// When the hardware stacked the floating-point registers, the kernel's context switch saves s16-s31 as
// well. The other branch describes a kernel that does not, which no build of ours has.
constexpr bool kOsFrameExtended = true;

Logger& logger() {
    return Logger::getInstance();
}

} // namespace

bool ThreadxPortFrame::readExcReturn(RspClient& server, const FrameLayout& layout, unsigned int sp,
                                     unsigned int& excReturn) {
    unsigned int offset = 0;
    if (!layout.getOffset(RegisterId::REG_LR_PENDSV, offset)) {
        logger().log(Logger::LOG_ERROR, kTag, "Corrupt frame layout (LR_PENDSV)\n");
        return false;
    }
    if (!server.readMemory(sp + offset, excReturn)) {
        logger().log(Logger::LOG_ERROR, kTag, "Failed reading saved stack ptr\n");
        return false;
    }
    logger().log(Logger::LOG_DEBUG, kTag, "LR_pendSV: 0x%x\n", excReturn);
    logger().log(Logger::LOG_DEBUG, kTag, "Saved SP: 0x%x\n", sp);
    return true;
}

const FrameLayout& ThreadxPortFrame::chooseLayout(unsigned int excReturn, const ThreadxFrameShapes& shapes) {
    if ((excReturn & kBasicFrameBit) != 0) {
        logger().log(Logger::LOG_DEBUG, kTag, "Frame type: Basic, OS frame Basic\n");
        return shapes.basic;
    }
    if (kOsFrameExtended) {
        logger().log(Logger::LOG_DEBUG, kTag, "Frame type: Extended, OS frame: Extended\n");
        return shapes.extended;
    }
    logger().log(Logger::LOG_DEBUG, kTag, "Frame type: Extended, OS frame: Basic\n");
    return shapes.extendedBasicOs;
}

bool ThreadxPortFrame::readFrame(RspClient& server, const FrameLayout& layout, unsigned int sp,
                                 std::vector<unsigned char>& frame) {
    if (!server.readMemory(sp, layout.getSize(), frame)) {
        logger().log(Logger::LOG_ERROR, kTag, "failed reading frame\n");
        return false;
    }
    return true;
}

void ThreadxPortFrame::addRegisters(const FrameLayout& layout, unsigned int sp,
                                    std::vector<unsigned char>& frame, RegisterList& registers) {
    unsigned int xpsrOffset = 0;
    if (layout.getOffset(RegisterId::REG_XPSR, xpsrOffset)) {
        unsigned int next = sp + layout.getSize();
        if ((word(frame, xpsrOffset) & kStackAlignedBit) != 0) {
            logger().log(Logger::LOG_DEBUG, kTag, "Add alignment\n");
            next += kAlignmentWord;
        }
        registers.addRegister(RegisterId::REG_SP, next);
    }
    SavedFrame::unpack(layout, sp, frame, registers);
}

bool ThreadxPortFrame::unwind(RspClient& server, const FrameLayout& layout, unsigned int sp,
                              RegisterList& registers) {
    std::vector<unsigned char> frame;
    if (!readFrame(server, layout, sp, frame)) {
        return false;
    }
    addRegisters(layout, sp, frame, registers);
    return true;
}

unsigned int ThreadxPortFrame::word(std::vector<unsigned char>& frame, unsigned int offset) {
    return NumberCodec::toUINT32(frame.data() + offset);
}
