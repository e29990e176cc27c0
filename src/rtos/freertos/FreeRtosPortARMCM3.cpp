#include "rtos/freertos/FreeRtosPortARMCM3.h"

#include "base/Logger.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "rtos/freertos/FreeRtosPortMpuContext.h"
#include "target/TargetThread.h"

bool FreeRtosPortARMCM3::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int savedStackPointer = thread.getStackPtr();
    if (mpu && FreeRtosPortMpuContext::keptInControlBlock()) {
        return FreeRtosPortMpuContext::read(server, savedStackPointer, registers);
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "Saved SP: 0x%x\n", savedStackPointer);
    const FrameLayout& layout = mpu ? FRAMELAYOUT_CM3_MPU : FRAMELAYOUT_CM3;
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, layout, true, registers);
}
