#include "rtos/freertos/FreeRtosPortFactory.h"

#include "rtos/PortTable.h"
#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosBuildFacts.h"
#include "rtos/freertos/FreeRtosFrameLayouts.h"

namespace {

using P = PortFrames;
using Place = PortFrames::Place;
using F = FreeRtosBuildFacts;

const P::StackLog kSavedStackPointer = P::StackLog::SavedStackPointer;
const char* const kBasicFrame = "Frame type: Basic, OS frame Basic\n";
const char* const kExtendedFrame = "Frame type: Extended, OS frame: Extended\n";
constexpr unsigned int kBasic = P::kBasicFrameBit;
constexpr unsigned int kShape = P::kBasicFrameBit | P::kSecureStackBit;
constexpr unsigned int kSecure = P::kSecureStackBit;
// What the processor stacked past the stack pointer saved in a control block context: eight words, and
// s0-s15, FPSCR and a reserved word more for an extended frame.
constexpr unsigned int kBasicProcessorFrame = 32;
constexpr unsigned int kExtendedProcessorFrame = 104;

const P::Probe kCm4fProbe = P::savedExceptionReturn(FRAMELAYOUT_CM4F_BASIC);
const P::Probe kCm4fMpuProbe = P::savedExceptionReturn(FRAMELAYOUT_CM4F_BASIC_MPU);
const P::Probe kContext{&FRAMELAYOUT_MPU_CONTEXT_BASIC, RegisterId::REG_LR_PENDSV,        0,
                        Place::EndsAtStackPointer,      "Failed reading saved context\n", P::StackLog::None};
const P::Probe kTz = P::savedExceptionReturn(FRAMELAYOUT_BASIC_BASIC_TZ);
const P::Probe kTzMpu = P::savedExceptionReturn(FRAMELAYOUT_BASIC_BASIC_TZ_MPU);
const P::Probe kNtz = P::savedExceptionReturn(FRAMELAYOUT_BASIC_BASIC_NTZ);
const P::Probe kNtzMpu = P::savedExceptionReturn(FRAMELAYOUT_BASIC_BASIC_NTZ_MPU);
const P::Probe kFpuContext = P::savedWord(0);

P::Choice stacked(std::vector<P::Test> tests, const FrameLayout& layout, const char* message = nullptr,
                  Place place = Place::AtStackPointer) {
    return {std::move(tests), &layout, place, P::StackLog::None, message, 0};
}

P::Choice named(std::vector<P::Test> tests, const FrameLayout& layout) {
    return {std::move(tests), &layout, Place::AtStackPointer, kSavedStackPointer, nullptr, 0};
}

// The newer Armv7-M MPU ports keep the context in the task control block, below pxTopOfStack; the older
// ones stack it as the other ports do.
std::vector<P::Choice> orInControlBlock(std::vector<P::Choice> onStack) {
    const P::StackLog opening = P::StackLog::ContextEnd;
    std::vector<P::Choice> choices = {
        {{P::facts(F::kContextInControlBlock, F::kContextInControlBlock), P::word(kContext, kBasic, kBasic)},
         &FRAMELAYOUT_MPU_CONTEXT_BASIC,
         Place::EndsAtStackPointer,
         opening,
         nullptr,
         kBasicProcessorFrame},
        {{P::facts(F::kContextInControlBlock, F::kContextInControlBlock)},
         &FRAMELAYOUT_MPU_CONTEXT_EXT,
         Place::EndsAtStackPointer,
         opening,
         nullptr,
         kExtendedProcessorFrame},
    };
    choices.insert(choices.end(), onStack.begin(), onStack.end());
    return choices;
}

const PortFrames kCm0{
    nullptr,
    {named({P::facts(F::kRewrittenArmv6Port, F::kRewrittenArmv6Port)}, FRAMELAYOUT_CM0_EXC_RETURN),
     named({}, FRAMELAYOUT_CM0)},
    nullptr};
const PortFrames kCm3{nullptr, {named({}, FRAMELAYOUT_CM3)}, nullptr};
const PortFrames kCm3Mpu{nullptr, orInControlBlock({named({}, FRAMELAYOUT_CM3_MPU)}), nullptr};
const PortFrames kCm4f{nullptr,
                       {stacked({P::word(kCm4fProbe, kBasic, kBasic)}, FRAMELAYOUT_CM4F_BASIC, kBasicFrame),
                        stacked({}, FRAMELAYOUT_CM4F_EXT, kExtendedFrame)},
                       nullptr};
const PortFrames kCm4Mpu{nullptr,
                         orInControlBlock({stacked({P::word(kCm4fMpuProbe, kBasic, kBasic)},
                                                   FRAMELAYOUT_CM4F_BASIC_MPU, kBasicFrame),
                                           stacked({}, FRAMELAYOUT_CM4F_EXT_MPU, kExtendedFrame)}),
                         nullptr};

// Armv8-M with a secure side. The facts come first, so that only the probe of the build's frame is read.
// Floating point unused with an extended frame is a build whose port leaves s16-s31 alone (configENABLE_FPU
// 0) on a core whose FPU the start-up code enabled; such a frame is read as the MPU one whether or not the
// build has the MPU, so that FRAMELAYOUT_EXT_BASIC_TZ is never chosen.
const P::Test kNoMpu = P::facts(F::kMpuSettings, 0);
const P::Test kMpu = P::facts(F::kMpuSettings, F::kMpuSettings);
const P::Test kNoFpuNoMpu = P::facts(F::kFloatingPoint | F::kMpuSettings, 0);
const P::Test kNoFpuMpu = P::facts(F::kFloatingPoint | F::kMpuSettings, F::kMpuSettings);
const P::Test kFpuNoMpu = P::facts(F::kFloatingPoint | F::kMpuSettings, F::kFloatingPoint);
const P::Test kFpuMpu = P::facts(F::kFloatingPoint | F::kMpuSettings, F::kFloatingPoint | F::kMpuSettings);
const Place kBehind = Place::BehindSecureContext;

const PortFrames kArmv8mSecure{
    nullptr,
    {stacked({kNoMpu, P::word(kTz, kShape, kSecure)}, FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ, nullptr, kBehind),
     stacked({kMpu, P::word(kTzMpu, kShape, kSecure)}, FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU, nullptr,
             kBehind),
     stacked({kNoFpuNoMpu, P::word(kTz, kShape, 0)}, FRAMELAYOUT_EXT_BASIC_TZ_MPU),
     stacked({kNoFpuMpu, P::word(kTzMpu, kShape, 0)}, FRAMELAYOUT_EXT_BASIC_TZ_MPU),
     stacked({kFpuNoMpu, P::word(kTz, kShape, 0)}, FRAMELAYOUT_EXT_EXT_TZ),
     stacked({kFpuMpu, P::word(kTzMpu, kShape, 0)}, FRAMELAYOUT_EXT_EXT_TZ_MPU),
     stacked({kNoMpu, P::word(kTz, kShape, kShape)}, FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ,
             "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n", kBehind),
     stacked({kMpu, P::word(kTzMpu, kShape, kShape)}, FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU, nullptr,
             kBehind),
     stacked({kNoMpu, P::word(kTz, kShape, kBasic)}, FRAMELAYOUT_BASIC_BASIC_TZ),
     stacked({kMpu, P::word(kTzMpu, kShape, kBasic)}, FRAMELAYOUT_BASIC_BASIC_TZ_MPU)},
    nullptr};
const PortFrames kArmv8m{
    nullptr,
    {stacked({kNoMpu, P::word(kNtz, kBasic, kBasic)}, FRAMELAYOUT_BASIC_BASIC_NTZ,
             "FRAMELAYOUT_BASIC_BASIC_NTZ\n"),
     stacked({kMpu, P::word(kNtzMpu, kBasic, kBasic)}, FRAMELAYOUT_BASIC_BASIC_NTZ_MPU,
             "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"),
     stacked({kFpuNoMpu, P::word(kNtz, kBasic, 0)}, FRAMELAYOUT_EXT_EXT_NTZ, "FRAMELAYOUT_EXT_EXT_NTZ\n"),
     stacked({kFpuMpu, P::word(kNtzMpu, kBasic, 0)}, FRAMELAYOUT_EXT_EXT_NTZ_MPU,
             "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"),
     stacked({kNoFpuNoMpu, P::word(kNtz, kBasic, 0)}, FRAMELAYOUT_EXT_BASIC_NTZ,
             "FRAMELAYOUT_EXT_BASIC_NTZ\n"),
     stacked({kNoFpuMpu, P::word(kNtzMpu, kBasic, 0)}, FRAMELAYOUT_EXT_BASIC_NTZ_MPU,
             "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n")},
    nullptr};
const PortFrames kCa9{
    nullptr,
    {named({P::word(kFpuContext, ~0U, 0)}, FRAMELAYOUT_CA9), named({}, FRAMELAYOUT_CA9_FPU)},
    nullptr};

using A = PortRow::Architecture;
using W = PortRow::When;

// The Cortex-M7 and Cortex-M85 share the frames of ARM_CM4F and ARM_CM55 on the same architecture, so the
// evidence names those; only their port files tell them. A Cortex-M4 without the FPU port runs ARM_CM3.
const A kV7emFloatingPoint{"v7E-M", W::Set, W::Any, W::Clear};
const A kV81mSecure{"v8.1-M mainline", W::Any, W::Set};
const A kV81mNonSecure{"v8.1-M mainline", W::Any, W::Clear};

unsigned int programFacts(RspClient& /*server*/, TargetThread& /*thread*/) {
    return FreeRtosBuildFacts::ofProgram().bits();
}

} // namespace

const PortTable& FreeRtosPortFactory::table() {
    // The TrustZone ports compile a secure side too; only the non-secure side runs the scheduler's tasks.
    // The Cortex-M23 ports stack the frames of the Cortex-M33 ports without floating point.
    static const PortTable kTable({
        {"ARM_CM0", kCm0, {"ARM_CM0", ""}, {{"v6-M"}, {"v6S-M"}}},
        {"ARM_CM3",
         kCm3,
         {"ARM_CM3", ""},
         {{"v7-M", W::Any, W::Any, W::Clear}, {"v7E-M", W::Clear, W::Any, W::Clear}}},
        {"ARM_CM3_MPU",
         kCm3Mpu,
         {"ARM_CM3_MPU", ""},
         {{"v7-M", W::Any, W::Any, W::Set}, {"v7E-M", W::Clear, W::Any, W::Set}}},
        {"ARM_CM4F", kCm4f, {"ARM_CM4F", ""}, {kV7emFloatingPoint}},
        {"ARM_CM4_MPU", kCm4Mpu, {"ARM_CM4_MPU", ""}, {{"v7E-M", W::Set, W::Any, W::Set}}},
        {"ARM_CM7", kCm4f, {"ARM_CM7", "r0p1"}, {kV7emFloatingPoint}, "ARM_CM4F"},
        {"ARM_CM23", kArmv8mSecure, {"ARM_CM23", "non_secure"}, {{"v8-M baseline", W::Any, W::Set}}},
        {"ARM_CM23_NTZ", kArmv8m, {"ARM_CM23_NTZ", "non_secure"}, {{"v8-M baseline", W::Any, W::Clear}}},
        {"ARM_CM33", kArmv8mSecure, {"ARM_CM33", "non_secure"}, {{"v8-M mainline", W::Any, W::Set}}},
        {"ARM_CM33_NTZ", kArmv8m, {"ARM_CM33_NTZ", "non_secure"}, {{"v8-M mainline", W::Any, W::Clear}}},
        {"ARM_CM55", kArmv8mSecure, {"ARM_CM55", "non_secure"}, {kV81mSecure}},
        {"ARM_CM55_NTZ", kArmv8m, {"ARM_CM55_NTZ", "non_secure"}, {kV81mNonSecure}},
        {"ARM_CM85", kArmv8mSecure, {"ARM_CM85", "non_secure"}, {kV81mSecure}, "ARM_CM55"},
        {"ARM_CM85_NTZ", kArmv8m, {"ARM_CM85_NTZ", "non_secure"}, {kV81mNonSecure}, "ARM_CM55_NTZ"},
        {"ARM_CA9", kCa9, {"ARM_CA9", ""}, {{"v7-A"}}},
    });
    return kTable;
}

const PortFrames* FreeRtosPortFactory::frames(const std::string& variant) {
    return table().framesOf(variant);
}

IRtosPortDriver* FreeRtosPortFactory::create(const std::string& variant) {
    const PortFrames* found = frames(variant);
    return found != nullptr ? new RtosPort(*found, programFacts) : nullptr;
}

IRtosPortDriver* FreeRtosPortFactory::create(RspClient& /*server*/) {
    return nullptr;
}
