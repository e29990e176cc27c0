#include "rtos/freertos/FreeRtosPortARMCM4F.h"

#include "base/Logger.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "rtos/freertos/FreeRtosPortMpuContext.h"
#include "target/TargetThread.h"

namespace {

// Set in the exception return value when the task had no floating-point context to stack.
constexpr unsigned int kBasicFrameBit = 0x10;

} // namespace

bool FreeRtosPortARMCM4F::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int savedStackPointer = thread.getStackPtr();
    if (mpu && FreeRtosPortMpuContext::keptInControlBlock()) {
        return FreeRtosPortMpuContext::read(server, savedStackPointer, registers);
    }
    const FrameLayout& probe = mpu ? FRAMELAYOUT_CM4F_BASIC_MPU : FRAMELAYOUT_CM4F_BASIC;
    unsigned int excReturn = 0;
    if (!FreeRtosFrameReader::readExceptionReturn(server, savedStackPointer, probe, excReturn)) {
        return false;
    }
    Logger& logger = Logger::getInstance();
    if ((excReturn & kBasicFrameBit) != 0) {
        logger.log(Logger::LOG_DEBUG, "getRegisters", "Frame type: Basic, OS frame Basic\n");
        return FreeRtosFrameReader::readFrame(server, savedStackPointer, probe, true, registers);
    }
    logger.log(Logger::LOG_DEBUG, "getRegisters", "Frame type: Extended, OS frame: Extended\n");
    const FrameLayout& extended = mpu ? FRAMELAYOUT_CM4F_EXT_MPU : FRAMELAYOUT_CM4F_EXT;
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, extended, true, registers);
}
