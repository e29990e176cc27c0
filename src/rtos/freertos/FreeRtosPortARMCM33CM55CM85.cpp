#include "rtos/freertos/FreeRtosPortARMCM33CM55CM85.h"

#include "base/Logger.h"
#include "rsp/RspClient.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"
#include "rtos/freertos/FreeRtosFrameReader.h"
#include "target/TargetThread.h"

#include <iterator>

namespace {

// Set in the exception return value when the task had no floating-point context to stack.
constexpr unsigned int kBasicFrameBit = 0x10;
// Set when the frame lies on the secure stack.
constexpr unsigned int kSecureStackBit = 0x40;

// One condition of a selection row: a bit or a flag that must be set ("yes"), clear ("no"), or either.
enum class When : unsigned char { Any, Set, Clear };

bool holds(When when, bool value) {
    return when == When::Any || (when == When::Set) == value;
}

struct Selection {
    bool trustZone;
    When basicFrame;  // bit 4 of the exception return value
    When secureStack; // bit 6
    When hasFpu;
    When hasMpu;
    const FrameLayout* layout;
    bool secure; // the frame is found by following the task's secure context
    const char* message;
};

// The first row that holds picks the frame. "hasFpu" clear with an extended frame is a build whose port
// leaves s16-s31 alone (configENABLE_FPU 0) on a core whose FPU the start-up code enabled. The third row
// takes the MPU frame whether or not the build has the MPU, so that FRAMELAYOUT_EXT_BASIC_TZ is never chosen.
const Selection kSelections[] = {
    {true, When::Clear, When::Set, When::Any, When::Clear, &FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ, true,
     nullptr},
    {true, When::Clear, When::Set, When::Any, When::Set, &FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU, true,
     nullptr},
    {true, When::Clear, When::Clear, When::Clear, When::Any, &FRAMELAYOUT_EXT_BASIC_TZ_MPU, false, nullptr},
    {true, When::Clear, When::Clear, When::Set, When::Clear, &FRAMELAYOUT_EXT_EXT_TZ, false, nullptr},
    {true, When::Clear, When::Clear, When::Set, When::Set, &FRAMELAYOUT_EXT_EXT_TZ_MPU, false, nullptr},
    {true, When::Set, When::Set, When::Any, When::Clear, &FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ, true,
     "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n"},
    {true, When::Set, When::Set, When::Any, When::Set, &FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU, true,
     nullptr},
    {true, When::Set, When::Clear, When::Any, When::Clear, &FRAMELAYOUT_BASIC_BASIC_TZ, false, nullptr},
    {true, When::Set, When::Clear, When::Any, When::Set, &FRAMELAYOUT_BASIC_BASIC_TZ_MPU, false, nullptr},
    {false, When::Set, When::Any, When::Any, When::Clear, &FRAMELAYOUT_BASIC_BASIC_NTZ, false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, When::Set, When::Any, When::Any, When::Set, &FRAMELAYOUT_BASIC_BASIC_NTZ_MPU, false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, When::Clear, When::Any, When::Set, When::Clear, &FRAMELAYOUT_EXT_EXT_NTZ, false,
     "FRAMELAYOUT_EXT_EXT_NTZ\n"},
    {false, When::Clear, When::Any, When::Set, When::Set, &FRAMELAYOUT_EXT_EXT_NTZ_MPU, false,
     "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"},
    {false, When::Clear, When::Any, When::Clear, When::Clear, &FRAMELAYOUT_EXT_BASIC_NTZ, false,
     "FRAMELAYOUT_EXT_BASIC_NTZ\n"},
    {false, When::Clear, When::Any, When::Clear, When::Set, &FRAMELAYOUT_EXT_BASIC_NTZ_MPU, false,
     "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n"},
};

} // namespace

bool FreeRtosPortARMCM33CM55CM85::getRegisters(RspClient& server, TargetThread& thread,
                                               RegisterList& registers) {
    const FreeRtosBuildFacts build = facts();
    bool hasFpu = build.usesFloatingPoint();
    bool hasMpu = build.keepsMpuSettings();
    unsigned int savedStackPointer = thread.getStackPtr();
    const FrameLayout* probe = nullptr;
    if (trustZone) {
        probe = hasMpu ? &FRAMELAYOUT_BASIC_BASIC_TZ_MPU : &FRAMELAYOUT_BASIC_BASIC_TZ;
    } else {
        probe = hasMpu ? &FRAMELAYOUT_BASIC_BASIC_NTZ_MPU : &FRAMELAYOUT_BASIC_BASIC_NTZ;
    }
    unsigned int excReturn = 0;
    if (!FreeRtosFrameReader::readExceptionReturn(server, savedStackPointer, *probe, excReturn)) {
        return false;
    }
    bool basicFrame = (excReturn & kBasicFrameBit) != 0;
    bool secureStack = (excReturn & kSecureStackBit) != 0;
    const Selection* selection = std::begin(kSelections);
    while (selection != std::end(kSelections) &&
           !(selection->trustZone == trustZone && holds(selection->basicFrame, basicFrame) &&
             holds(selection->secureStack, secureStack) && holds(selection->hasFpu, hasFpu) &&
             holds(selection->hasMpu, hasMpu))) {
        ++selection;
    }
    if (selection == std::end(kSelections)) {
        return false;
    }
    if (selection->message != nullptr) {
        Logger::getInstance().log(Logger::LOG_DEBUG, "getRegisters", "%s", selection->message);
    }
    unsigned int secureContext = 0;
    unsigned int secureStackPointer = 0;
    // A secure context that cannot be followed leaves the frame where the task's own pointer says.
    if (selection->secure && server.readMemory(savedStackPointer, secureContext) &&
        server.readMemory(secureContext, secureStackPointer)) {
        savedStackPointer = secureStackPointer;
    }
    return FreeRtosFrameReader::readFrame(server, savedStackPointer, *selection->layout, true, registers);
}
