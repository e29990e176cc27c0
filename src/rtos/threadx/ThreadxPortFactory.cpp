#include "rtos/threadx/ThreadxPortFactory.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/PortTable.h"
#include "rtos/RtosPort.h"
#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "target/TargetThread.h"

namespace {

using P = PortFrames;

const char* const kTag = "create";

// The thread's control block says it uses the VFP.
constexpr unsigned int kVfpEnabled = 0x1;

const P::Probe kExcReturn = P::savedExceptionReturn(THREADX_FRAME_CM3_BASIC);
const P::Probe kFrameType{nullptr,
                          RegisterId::REG_NONE,
                          0,
                          P::Place::AtStackPointer,
                          "Failed reading saved stack ptr\n",
                          P::StackLog::SavedStackPointer};
constexpr unsigned int kSolicited = 0;
constexpr unsigned int kInterrupted = 1;
constexpr unsigned int kWholeWord = ~0U;
const P::Test kVfp = P::facts(kVfpEnabled, kVfpEnabled);

P::Choice choice(std::vector<P::Test> tests, const FrameLayout& layout, const char* message,
                 P::StackLog opening = P::StackLog::None) {
    return {std::move(tests), &layout, P::Place::AtStackPointer, opening, message, 0};
}

const PortFrames kCortexM0Frames{
    nullptr, {choice({}, THREADX_FRAME_CM0, nullptr, P::StackLog::SavedStackPointer)}, nullptr};
// The Armv8-M port keeps a thread's secure context in the secure image (tx_thread_secure_stack_context is an
// index into its table) and saves the non-secure context as the Armv7-M port does.
const PortFrames kCortexMFrames{
    nullptr,
    {choice({P::word(kExcReturn, P::kBasicFrameBit, P::kBasicFrameBit)}, THREADX_FRAME_CM3_BASIC,
            "Frame type: Basic, OS frame Basic\n"),
     choice({}, THREADX_FRAME_CM3_EXTENDED, "Frame type: Extended, OS frame: Extended\n")},
    nullptr};
const PortFrames kCortexA7Frames{
    "ThreadxPortCortexA7",
    {choice({P::word(kFrameType, kWholeWord, kSolicited), kVfp}, THREADX_FRAME_CA7_SOLICITED_VFP,
            "Frame type: Non-interrupted (VFP)\n"),
     choice({P::word(kFrameType, kWholeWord, kSolicited)}, THREADX_FRAME_CA7_SOLICITED,
            "Frame type: Non-interrupted \n"),
     choice({P::word(kFrameType, kWholeWord, kInterrupted), kVfp}, THREADX_FRAME_CA7_INTERRUPTED_VFP,
            "Frame type: Interrupted (VFP)\n"),
     choice({P::word(kFrameType, kWholeWord, kInterrupted)}, THREADX_FRAME_CA7_INTERRUPTED,
            "Frame type: Interrupted \n")},
    "Unknown frame type\n"};

// Whether the thread's control block says it uses the VFP. A kernel built without tx_thread_vfp_enable
// has no such state, so a missing member is no failure.
unsigned int threadFacts(RspClient& server, TargetThread& thread) {
    StructInfo layout;
    MemberInfo member;
    unsigned int enabled = 0;
    bool vfp = SymbolTable::getInstance().lookupStruct("TX_THREAD_STRUCT", layout) &&
               layout.lookup("tx_thread_vfp_enable", member) &&
               server.readMemory(thread.getThreadId() + member.getOffset(), enabled) && enabled == 1;
    return vfp ? kVfpEnabled : 0;
}

// As the attributes of the ELF file named by "--file" give it; empty when they cannot be read.
std::string programArchitecture() {
    std::string path;
    ElfFile elf;
    ArmAttributes attributes;
    if (!Properties::getInstance().getProperty("--file", path) || !elf.load(path) || !attributes.read(elf)) {
        return "";
    }
    return attributes.getArchitecture();
}

constexpr unsigned int kCpuidAddress = 0xe000ed00;
constexpr unsigned int kPartNumberShift = 4;
constexpr unsigned int kPartNumberMask = 0xfff;

} // namespace

const PortTable& ThreadxPortFactory::table() {
    // The part numbers are those of SCB->CPUID; the Cortex-M55 and the Cortex-M85 are not told by theirs and
    // need the option. The Cortex-A7 has no SCB: the architecture the program was built for tells its port.
    static const PortTable kTable({
        {"cortex_m0", kCortexM0Frames, {}, {}, nullptr, {0xc20, 0xc60}},
        {"cortex_m3", kCortexMFrames, {}, {}, nullptr, {0xc23}},
        {"cortex_m4", kCortexMFrames, {}, {}, nullptr, {0xc24}},
        {"cortex_m7", kCortexMFrames, {}, {}, nullptr, {0xc27}},
        {"cortex_m33", kCortexMFrames, {}, {}, nullptr, {0xd21}},
        {"cortex_m55", kCortexMFrames, {}, {}},
        {"cortex_m85", kCortexMFrames, {}, {}},
        {"cortex_a7", kCortexA7Frames, {}, {{"v7-A"}}},
    });
    return kTable;
}

const PortFrames* ThreadxPortFactory::frames(const std::string& name) {
    return table().framesOf(name);
}

IRtosPortDriver* ThreadxPortFactory::create(const std::string& name) {
    const PortFrames* found = frames(name);
    if (found != nullptr) {
        Logger::getInstance().log(Logger::LOG_DEBUG, kTag, "ThreadX, port driver created: %s\n",
                                  name.c_str());
        return new RtosPort(*found, threadFacts);
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, kTag, "ThreadX, failure create port driver: %s\n",
                              name.c_str());
    return nullptr;
}

IRtosPortDriver* ThreadxPortFactory::create(RspClient& server) {
    PortRow::Evidence evidence;
    evidence.architecture = programArchitecture();
    const PortRow* port = table().ofEvidence(evidence);
    if (port != nullptr) {
        Logger::getInstance().log(Logger::LOG_INFO, kTag, "Detected rtos variant: %s (architecture %s)\n",
                                  port->name, evidence.architecture.c_str());
        return create(port->name);
    }
    unsigned int cpuid = 0;
    if (!server.readMemory(kCpuidAddress, cpuid)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Failure detecting cortex core.\n");
        return nullptr;
    }
    unsigned int partNumber = (cpuid >> kPartNumberShift) & kPartNumberMask;
    Logger::getInstance().log(Logger::LOG_DEBUG, kTag, "SCB->CPUID->PART_NO: 0x%x\n", partNumber);
    port = table().ofCorePart(partNumber);
    if (port != nullptr) {
        return create(port->name);
    }
    Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Unsupported core: 0x%x\n", partNumber);
    return nullptr;
}
