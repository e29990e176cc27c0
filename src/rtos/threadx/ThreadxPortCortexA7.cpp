#include "rtos/threadx/ThreadxPortCortexA7.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "rtos/threadx/ThreadxPortFrame.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

#include <vector>

namespace {

const char* const kTag = "getRegisters";

constexpr unsigned int kSolicitedFrame = 0;
constexpr unsigned int kInterruptedFrame = 1;

Logger& logger() {
    return Logger::getInstance();
}

// Whether the thread's control block says it uses the VFP. A kernel built without tx_thread_vfp_enable
// has no such state, so a missing member is no failure.
bool usesVfp(RspClient& server, TargetThread& thread) {
    StructInfo layout;
    MemberInfo member;
    if (!SymbolTable::getInstance().lookupStruct("TX_THREAD_STRUCT", layout) ||
        !layout.lookup("tx_thread_vfp_enable", member)) {
        return false;
    }
    unsigned int enabled = 0;
    return server.readMemory(thread.getThreadId() + member.getOffset(), enabled) && enabled == 1;
}

} // namespace

bool ThreadxPortCortexA7::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    logger().log(Logger::LOG_DEBUG, kTag, "ThreadxPortCortexA7::getRegisters: id:0x%x name:%s\n",
                 thread.getThreadId(), thread.getName().c_str());
    unsigned int sp = thread.getStackPtr();
    bool vfp = usesVfp(server, thread);
    const char* vfpText = vfp ? "(VFP)" : "";

    unsigned int frameType = 0;
    if (!server.readMemory(sp, frameType)) {
        logger().log(Logger::LOG_ERROR, kTag, "Failed reading saved stack ptr\n");
        return false;
    }
    logger().log(Logger::LOG_DEBUG, kTag, "Saved SP: 0x%x\n", sp);

    const FrameLayout* layout = nullptr;
    if (frameType == kSolicitedFrame) {
        logger().log(Logger::LOG_DEBUG, kTag, "Frame type: Non-interrupted %s\n", vfpText);
        layout = vfp ? &THREADX_FRAME_CA7_SOLICITED_VFP : &THREADX_FRAME_CA7_SOLICITED;
    } else if (frameType == kInterruptedFrame) {
        logger().log(Logger::LOG_DEBUG, kTag, "Frame type: Interrupted %s\n", vfpText);
        layout = vfp ? &THREADX_FRAME_CA7_INTERRUPTED_VFP : &THREADX_FRAME_CA7_INTERRUPTED;
    } else {
        logger().log(Logger::LOG_ERROR, kTag, "Unknown frame type\n");
        return false;
    }

    std::vector<unsigned char> frame;
    if (!ThreadxPortFrame::readFrame(server, *layout, sp, frame)) {
        return false;
    }
    // No alignment word on this core: the kernel keeps its stacks aligned itself.
    registers.addRegister(RegisterId::REG_SP, sp + layout->getSize());
    unsigned int pcOffset = 0;
    unsigned int lrOffset = 0;
    // A thread that gave up the processor by a kernel call resumes at its return address.
    if (!layout->getOffset(RegisterId::REG_PC, pcOffset) && layout->getOffset(RegisterId::REG_LR, lrOffset)) {
        registers.addRegister(RegisterId::REG_PC, ThreadxPortFrame::word(frame, lrOffset));
    }
    ThreadxPortFrame::addRegisters(*layout, sp, frame, registers);
    return true;
}
