#include "rtos/threadx/ThreadxPortFactory.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"
#include "debuginfo/SymbolTable.h"
#include "rsp/RspClient.h"
#include "rtos/RtosPort.h"
#include "rtos/threadx/ThreadxFrameLayouts.h"
#include "target/TargetThread.h"

namespace {

using P = PortFrames;

const char* const kTag = "create";

const std::string kCortexM0 = "cortex_m0";
const std::string kCortexM3 = "cortex_m3";
const std::string kCortexM4 = "cortex_m4";
const std::string kCortexM7 = "cortex_m7";
const std::string kCortexM33 = "cortex_m33";
const std::string kCortexM55 = "cortex_m55";
const std::string kCortexM85 = "cortex_m85";
const std::string kCortexA7 = "cortex_a7";

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

struct Port {
    const std::string& name;
    const PortFrames& frames;
};

// In the order the values are compared.
const Port kPorts[] = {
    {kCortexM0, kCortexM0Frames}, {kCortexM3, kCortexMFrames},  {kCortexM4, kCortexMFrames},
    {kCortexM7, kCortexMFrames},  {kCortexM33, kCortexMFrames}, {kCortexM55, kCortexMFrames},
    {kCortexM85, kCortexMFrames}, {kCortexA7, kCortexA7Frames},
};

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

struct CorePart {
    unsigned int partNumber;
    const std::string& value;
};

// SCB->CPUID part numbers of the cores that can be told apart this way. The Cortex-M55 and the Cortex-M85
// need the option.
const CorePart kCoreParts[] = {
    {0xc20, kCortexM0}, {0xc23, kCortexM3}, {0xc24, kCortexM4},
    {0xc27, kCortexM7}, {0xc60, kCortexM0}, {0xd21, kCortexM33},
};

struct ArchitecturePort {
    const char* architecture;
    const std::string& value;
};

// Cores without the SCB, whose port the architecture the program was built for tells instead.
const ArchitecturePort kArchitecturePorts[] = {
    {"v7-A", kCortexA7},
};

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

const PortFrames* ThreadxPortFactory::frames(const std::string& name) {
    for (const Port& port : kPorts) {
        if (port.name == name) {
            return &port.frames;
        }
    }
    return nullptr;
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
    std::string architecture = programArchitecture();
    for (const ArchitecturePort& port : kArchitecturePorts) {
        if (architecture == port.architecture) {
            Logger::getInstance().log(Logger::LOG_INFO, kTag, "Detected rtos variant: %s (architecture %s)\n",
                                      port.value.c_str(), port.architecture);
            return create(port.value);
        }
    }
    unsigned int cpuid = 0;
    if (!server.readMemory(kCpuidAddress, cpuid)) {
        Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Failure detecting cortex core.\n");
        return nullptr;
    }
    unsigned int partNumber = (cpuid >> kPartNumberShift) & kPartNumberMask;
    Logger::getInstance().log(Logger::LOG_DEBUG, kTag, "SCB->CPUID->PART_NO: 0x%x\n", partNumber);
    for (const CorePart& core : kCoreParts) {
        if (core.partNumber == partNumber) {
            return create(core.value);
        }
    }
    Logger::getInstance().log(Logger::LOG_ERROR, kTag, "Unsupported core: 0x%x\n", partNumber);
    return nullptr;
}
