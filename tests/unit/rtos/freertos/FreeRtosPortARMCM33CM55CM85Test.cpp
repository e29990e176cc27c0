#include "rtos/RtosPort.h"
#include "rtos/freertos/FreeRtosPortFactory.h"

#include "FreeRtosFrameTestSupport.h"
#include "rtos/freertos/FreeRtosBuildFacts.h"
#include "target/TargetThread.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace freertostest;

namespace {

// One way through the Armv8-M frame selection: the build (secure side, floating point in use, MPU
// settings in the task control block), the saved exception return value, and the frame that must be read,
// with its log line.
struct Armv8mCase {
    bool trustZone;
    unsigned int excReturn;
    bool hasFpu;
    bool hasMpu;
    const char* layout;
    bool secure;
    const char* message;
};

const char* const kNoMessage = "";

// Every row of the selection, each with and without floating point and MPU settings in the build. A row's "any" is played
// both ways. The exception return values: BC basic and AC extended on the non-secure stack, FD basic and
// ED extended on the secure stack.
const Armv8mCase kCases[] = {
    // With a secure side. Extended frame on the secure stack.
    {true, kExcReturnSecureExtended, false, false, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", true, kNoMessage},
    {true, kExcReturnSecureExtended, true, false, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ", true, kNoMessage},
    {true, kExcReturnSecureExtended, false, true, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", true, kNoMessage},
    {true, kExcReturnSecureExtended, true, true, "FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU", true, kNoMessage},
    // Extended frame on the non-secure stack: without the FPU function the MPU frame, MPU or not.
    {true, kExcReturnNonSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_TZ_MPU", false, kNoMessage},
    // Basic frame on the secure stack.
    {true, kExcReturnSecureBasic, false, false, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", true,
     "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n"},
    {true, kExcReturnSecureBasic, true, false, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ", true,
     "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n"},
    {true, kExcReturnSecureBasic, false, true, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", true,
     kNoMessage},
    {true, kExcReturnSecureBasic, true, true, "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU", true,
     kNoMessage},
    // Basic frame on the non-secure stack.
    {true, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, true, false, "FRAMELAYOUT_BASIC_BASIC_TZ", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_TZ_MPU", false, kNoMessage},
    {true, kExcReturnNonSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_TZ_MPU", false, kNoMessage},
    // Without a secure side bit 6 plays no part.
    {false, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnSecureBasic, true, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnNonSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_NTZ", false,
     "FRAMELAYOUT_EXT_EXT_NTZ\n"},
    {false, kExcReturnSecureExtended, true, false, "FRAMELAYOUT_EXT_EXT_NTZ", false,
     "FRAMELAYOUT_EXT_EXT_NTZ\n"},
    {false, kExcReturnNonSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"},
    {false, kExcReturnSecureExtended, true, true, "FRAMELAYOUT_EXT_EXT_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_EXT_NTZ_MPU\n"},
    {false, kExcReturnNonSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_NTZ", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ\n"},
    {false, kExcReturnSecureExtended, false, false, "FRAMELAYOUT_EXT_BASIC_NTZ", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureExtended, false, true, "FRAMELAYOUT_EXT_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_EXT_BASIC_NTZ_MPU\n"},
    {false, kExcReturnNonSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnSecureBasic, false, false, "FRAMELAYOUT_BASIC_BASIC_NTZ", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ\n"},
    {false, kExcReturnNonSecureBasic, false, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
    {false, kExcReturnSecureBasic, true, true, "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU", false,
     "FRAMELAYOUT_BASIC_BASIC_NTZ_MPU\n"},
};

// Where the probe word lies: the basic frame of the build, chosen before the word is known.
unsigned int probeOffset(bool trustZone, bool hasMpu) {
    if (trustZone) {
        return hasMpu ? 12 : 8;
    }
    return hasMpu ? 8 : 4;
}

// The secure side: the task's first word points at its secure context, which holds the secure stack pointer.
const unsigned int kContextOffset = 0x400;
const unsigned int kSecureStackOffset = 0x800;
const unsigned int kSecureWordBase = 0x5E000000u;

class FreeRtosPortARMCM33CM55CM85Integration : public FreeRtosFrameTest {
protected:
    void setBuild(bool hasFpu, bool hasMpu) {
        fpu = hasFpu;
        mpu = hasMpu;
    }

    // A port that asks this test for the build at every call, as it asks the program otherwise.
    RtosPort makePort(bool trustZone) {
        return RtosPort(*FreeRtosPortFactory::frames(trustZone ? "ARM_CM33" : "ARM_CM33_NTZ"),
                        [this](RspClient&, TargetThread&) { return FreeRtosBuildFacts(fpu, mpu).bits(); });
    }

    bool fpu = false;
    bool mpu = false;

    std::string logHead(unsigned int excReturn) const {
        char head[80];
        snprintf(head, sizeof(head), "LR_pendSV: 0x%x\nSaved SP: 0x%x\n", excReturn, area);
        return head;
    }
};

} // namespace

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, EveryRowOfTheSelection) {
    for (const Armv8mCase& armv8m : kCases) {
        SCOPED_TRACE(::testing::Message()
                     << armv8m.layout << " trustZone " << armv8m.trustZone << " excReturn " << std::hex
                     << armv8m.excReturn << " fpu " << armv8m.hasFpu << " mpu " << armv8m.hasMpu);
        setBuild(armv8m.hasFpu, armv8m.hasMpu);
        const FrameShape& shape = frameShape(armv8m.layout);
        unsigned int context = area + kContextOffset;
        unsigned int secureStack = area + kSecureStackOffset;
        std::map<unsigned int, unsigned int> taskWords = {
            {0, context}, {probeOffset(armv8m.trustZone, armv8m.hasMpu), armv8m.excReturn}};
        layFrame(area, 216, taskWords);
        writeWords(context, {secureStack});
        layFrame(secureStack, 216, {}, kSecureWordBase);
        kernel->resetReads();

        RtosPort port = makePort(armv8m.trustZone);
        TargetThread thread(1, area);
        RegisterList registers;
        ::testing::internal::CaptureStdout();
        ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
        EXPECT_EQ(logHead(armv8m.excReturn) + armv8m.message, ::testing::internal::GetCapturedStdout());
        if (armv8m.secure) {
            EXPECT_EQ(expectedRegisters(shape, secureStack, {}, 0, kSecureWordBase), valuesOf(registers));
            EXPECT_EQ(4u, kernel->memoryReads());
        } else {
            EXPECT_EQ(expectedRegisters(shape, area, taskWords), valuesOf(registers));
            EXPECT_EQ(2u, kernel->memoryReads());
        }
    }
}

// The build is asked for at every call, not once: a program read anew (after a rebuild) counts at once.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, BuildIsLookedUpAtEveryCall) {
    std::map<unsigned int, unsigned int> words = {{4, kExcReturnNonSecureBasic},
                                                  {8, kExcReturnNonSecureBasic}};
    layFrame(area, 76, words);
    RtosPort port = makePort(false);
    TargetThread thread(1, area);
    RegisterList before;
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, before));
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ"), area, words), valuesOf(before));
    setBuild(false, true);
    RegisterList after;
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, after));
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ_MPU"), area, words), valuesOf(after));
}

// A secure context that leads nowhere: the frame is read where the task's own pointer says, and the call
// succeeds, without a word in the log.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, SecureContextThatCannotBeReadKeepsTheThreadsStackPointer) {
    unsigned int nowhere = 0x70000000;
    std::map<unsigned int, unsigned int> words = {{0, nowhere}, {8, kExcReturnSecureBasic}};
    layFrame(area, 76, words);
    RtosPort port = makePort(true);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnSecureBasic) + "FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ"), area, words),
              valuesOf(registers));
    EXPECT_EQ(4u, kernel->memoryReads());
}

// The context can be read but not the secure stack pointer's frame... the first link already fails here:
// the context word itself lies in a bus-fault range.
TEST_F(FreeRtosPortARMCM33CM55CM85Integration, UnreadableContextWordFailsTheFrameReadToo) {
    layFrame(area, 80, {{8, kExcReturnSecureExtended}});
    targetsim::ErrorRange fault;
    fault.address = area;
    fault.length = 4;
    kernel->target().addErrorRange(fault);
    RtosPort port = makePort(true);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnSecureExtended) + "failed reading frame\n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, AlignedNonSecureFrame) {
    std::map<unsigned int, unsigned int> words = {{4, kExcReturnNonSecureBasic}, {68, 0x01000200u}};
    layFrame(area, 72, words);
    RtosPort port = makePort(false);
    TargetThread thread(1, area);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ(logHead(kExcReturnNonSecureBasic) + "FRAMELAYOUT_BASIC_BASIC_NTZ\nAdd alignment\n",
              ::testing::internal::GetCapturedStdout());
    RegisterValues values = valuesOf(registers);
    EXPECT_EQ(expectedRegisters(frameShape("FRAMELAYOUT_BASIC_BASIC_NTZ"), area, words, 4), values);
    EXPECT_EQ(frameWord(0), values.at(RegisterId::REG_PSPLIM));
    EXPECT_EQ(kExcReturnNonSecureBasic, values.at(RegisterId::REG_LR_PENDSV));
}

TEST_F(FreeRtosPortARMCM33CM55CM85Integration, UnreadableExceptionReturnFails) {
    RtosPort port = makePort(true);
    TargetThread thread(1, 0x70000000);
    RegisterList registers;
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(port.getRegisters(kernel->server(), thread, registers));
    EXPECT_EQ("Failed reading saved stack ptr\n", ::testing::internal::GetCapturedStdout());
    EXPECT_TRUE(registers.getRegisters().empty());
}
