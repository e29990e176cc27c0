#include "rtos/freertos/FreeRtosPortARMCA9.h"

#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "target/TargetThread.h"

bool FreeRtosPortARMCA9::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    Logger& logger = Logger::getInstance();
    unsigned int savedStackPointer = thread.getStackPtr();
    logger.log(Logger::LOG_DEBUG, "getRegisters", "Saved SP: 0x%x\n", savedStackPointer);
    unsigned int fpuContext = 0;
    if (!server.readMemory(savedStackPointer, fpuContext)) {
        logger.log(Logger::LOG_ERROR, "getRegisters", "Failed reading saved stack ptr\n");
        return false;
    }
    const FrameLayout& layout = fpuContext != 0 ? FRAMELAYOUT_CA9_FPU : FRAMELAYOUT_CA9;
    // The A profile has no stacking of its own, hence no alignment word.
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, layout, false, registers);
}
