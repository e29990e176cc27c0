#include "rtos/threadx/ThreadxPortCortexM0.h"

#include "base/Logger.h"
#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "rtos/threadx/ThreadxPortFrame.h"
#include "target/TargetThread.h"

bool ThreadxPortCortexM0::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int sp = thread.getStackPtr();
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "Saved SP: 0x%x\n", sp);
    return ThreadxPortFrame::unwind(server, THREADX_FRAME_CM0, sp, registers);
}
