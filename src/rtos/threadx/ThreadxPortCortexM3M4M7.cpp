#include "rtos/threadx/ThreadxPortCortexM3M4M7.h"

#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "rtos/threadx/ThreadxPortFrame.h"
#include "target/TargetThread.h"

namespace {

const ThreadxFrameShapes kShapes{THREADX_FRAME_CM3_BASIC, THREADX_FRAME_CM3_EXTENDED,
                                 THREADX_FRAME_CM3_EXTENDED_BASIC_OS};

} // namespace

bool ThreadxPortCortexM3M4M7::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int sp = thread.getStackPtr();
    unsigned int excReturn = 0;
    if (!ThreadxPortFrame::readExcReturn(server, THREADX_FRAME_CM3_BASIC, sp, excReturn)) {
        return false;
    }
    return ThreadxPortFrame::unwind(server, ThreadxPortFrame::chooseLayout(excReturn, kShapes), sp,
                                    registers);
}
