#include "rtos/freertos/FreeRtosPortARMCM0.h"

#include "base/Logger.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "target/TargetThread.h"

namespace {

// Defined by the port rewritten after the Armv8-M ones (its portasm.c), never by the older port.c.
const char* const kRewrittenPortFunction = "vRestoreContextOfFirstTask";

} // namespace

bool FreeRtosPortARMCM0::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    unsigned int savedStackPointer = thread.getStackPtr();
    Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "Saved SP: 0x%x\n", savedStackPointer);
    Symbol symbol;
    const FrameLayout& layout = SymbolTable::getInstance().lookupSymbol(kRewrittenPortFunction, symbol)
                                    ? FRAMELAYOUT_CM0_EXC_RETURN
                                    : FRAMELAYOUT_CM0;
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, layout, true, registers);
}
