#include "rtos/freertos/FreeRtosPortARMCM0.h"

#include "app/Logger.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "target/TargetThread.h"

bool FreeRtosPortARMCM0::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int savedStackPointer = thread.getStackPtr();
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "Saved SP: 0x%x\n", savedStackPointer);
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, FRAMELAYOUT_CM0, true, registers);
}
