#include "rtos/RtosPort.h"

bool RtosPort::getRegisters(RspClient& server, TargetThread& thread, RegisterList& registers) {
    SavedFrame frame(server, thread);
    return frame.read(
        frames, [&] { return facts(server, thread); }, registers);
}
