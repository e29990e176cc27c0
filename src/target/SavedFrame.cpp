#include "target/SavedFrame.h"
#include "base/NumberCodec.h"

#include "rsp/RspClient.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"

void SavedFrame::unpack(const FrameLayout& layout, unsigned int frameAddress,
                        std::vector<unsigned char>& frame, RegisterList& registers) {
    for (const auto& entry : layout.getOffsets()) {
        registers.addSavedRegister(entry.first, NumberCodec::toUINT32(&frame[entry.second]),
                                   frameAddress + entry.second);
    }
}

bool SavedFrame::write(RspClient& server, const Register& saved, const std::string& valueHex) {
    unsigned int address = 0;
    if (!saved.getSlot(address)) {
        return false;
    }
    return server.writeMemory(address, valueHex);
}
