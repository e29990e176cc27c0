#include "rtos/threadx/ThreadxPortCortexM33M55M85.h"

#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "rtos/threadx/ThreadxData.h"
#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "rtos/threadx/ThreadxPortFrame.h"
#include "target/TargetThread.h"

#include <memory>

namespace {

constexpr unsigned int kSecureStackBit = 0x40;

const ThreadxFrameShapes kShapes{THREADX_FRAME_CM33_BASIC, THREADX_FRAME_CM33_EXTENDED,
                                 THREADX_FRAME_CM33_EXTENDED_BASIC_OS};
// A secure context always carries s16-s31 when it carries floating-point state at all.
const ThreadxFrameShapes kSecureShapes{THREADX_FRAME_CM33_SECURE_BASIC, THREADX_FRAME_CM33_SECURE_EXTENDED,
                                       THREADX_FRAME_CM33_SECURE_EXTENDED};

} // namespace

bool ThreadxPortCortexM33M55M85::getRegisters(RspClient& server, TargetThread& thread,
                                              RegisterList& registers) {
    std::shared_ptr<ThreadxData> data = std::dynamic_pointer_cast<ThreadxData>(thread.getThreadData());
    unsigned int sp = thread.getStackPtr();
    unsigned int excReturn = 0;
    if (!ThreadxPortFrame::readExcReturn(server, THREADX_FRAME_CM33_BASIC, sp, excReturn)) {
        return false;
    }
    // Without a known secure context the frame is read as a non-secure one, whatever bit 6 says.
    bool secure = (excReturn & kSecureStackBit) != 0 && data && data->isSecureContextValid();
    const FrameLayout& layout = ThreadxPortFrame::chooseLayout(excReturn, secure ? kSecureShapes : kShapes);
    if (secure && !server.readMemory(data->getSecureContextAddress(), sp)) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "Failed reading secure context\n");
        return false;
    }
    return ThreadxPortFrame::unwind(server, layout, sp, registers);
}
