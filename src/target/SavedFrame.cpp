#include "target/SavedFrame.h"

#include "base/Logger.h"
#include "base/NumberCodec.h"
#include "rsp/RspClient.h"
#include "target/FrameLayout.h"
#include "target/RegisterList.h"
#include "target/TargetThread.h"

namespace {

const char* const kTag = "getRegisters";
// Set in the stacked xPSR when the core inserted a padding word to align the stack.
constexpr unsigned int kStackAlignedBit = 0x200;
constexpr unsigned int kAlignmentWord = 4;
constexpr unsigned int kWordSize = 4;

Logger& logger() {
    return Logger::getInstance();
}

bool testsFacts(const PortFrames& port) {
    for (const PortFrames::Choice& choice : port.choices) {
        for (const PortFrames::Test& test : choice.tests) {
            if (test.probe == nullptr) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool SavedFrame::read(const PortFrames& port, const Facts& facts, RegisterList& registers) {
    if (port.threadLog != nullptr) {
        logger().log(Logger::LOG_DEBUG, kTag, "%s::getRegisters: id:0x%x name:%s\n", port.threadLog,
                     thread.getThreadId(), thread.getName().c_str());
    }
    unsigned int kernelFacts = testsFacts(port) ? facts() : 0;
    prefetchCandidates(port, kernelFacts);
    for (const PortFrames::Choice& choice : port.choices) {
        bool failed = false;
        if (holds(choice, kernelFacts, failed)) {
            return readChoice(choice, registers);
        }
        if (failed) {
            return false;
        }
    }
    if (port.noChoice != nullptr) {
        logger().log(Logger::LOG_ERROR, kTag, "%s", port.noChoice);
    }
    return false;
}

void SavedFrame::prefetchCandidates(const PortFrames& port, unsigned int facts) {
    const PortFrames::Probe* first = nullptr;
    unsigned int span = 0;
    for (const PortFrames::Choice& choice : port.choices) {
        if (!holdsFacts(choice, facts)) {
            continue;
        }
        for (const PortFrames::Test& test : choice.tests) {
            if (first == nullptr && test.probe != nullptr) {
                first = test.probe;
            }
        }
        if (choice.place == PortFrames::Place::AtStackPointer && choice.layout->getSize() > span) {
            span = choice.layout->getSize();
        }
    }
    // Only a word that the frames cover comes with them; a span the server refuses costs this one read.
    if (first != nullptr && first->place == PortFrames::Place::AtStackPointer &&
        probeOffset(*first) + kWordSize <= span) {
        server.prefetchMemory(thread.getStackPtr(), span);
    }
}

bool SavedFrame::holdsFacts(const PortFrames::Choice& choice, unsigned int facts) {
    for (const PortFrames::Test& test : choice.tests) {
        if (test.probe == nullptr && (facts & test.mask) != test.value) {
            return false;
        }
    }
    return true;
}

unsigned int SavedFrame::probeOffset(const PortFrames::Probe& probe) {
    unsigned int offset = probe.offset;
    if (probe.layout != nullptr) {
        probe.layout->getOffset(probe.id, offset);
    }
    return offset;
}

bool SavedFrame::holds(const PortFrames::Choice& choice, unsigned int facts, bool& failed) {
    for (const PortFrames::Test& test : choice.tests) {
        unsigned int word = facts;
        if (test.probe != nullptr) {
            open(choice);
            if (!probe(*test.probe, word)) {
                failed = true;
                return false;
            }
        }
        if ((word & test.mask) != test.value) {
            return false;
        }
    }
    return true;
}

bool SavedFrame::probe(const PortFrames::Probe& probe, unsigned int& word) {
    auto known = probed.find(&probe);
    if (known != probed.end()) {
        word = known->second;
        return true;
    }
    unsigned int address =
        probe.layout != nullptr ? frameAddress(*probe.layout, probe.place) : thread.getStackPtr();
    if (!server.readMemory(address + probeOffset(probe), word)) {
        logger().log(Logger::LOG_ERROR, kTag, "%s", probe.readFailure);
        return false;
    }
    if (probe.log == PortFrames::StackLog::ExceptionReturn) {
        logger().log(Logger::LOG_DEBUG, kTag, "LR_pendSV: 0x%x\n", word);
    }
    logStackPointer(probe.log);
    probed[&probe] = word;
    return true;
}

void SavedFrame::open(const PortFrames::Choice& choice) {
    if (!opened) {
        logStackPointer(choice.opening);
        opened = true;
    }
}

void SavedFrame::logStackPointer(PortFrames::StackLog log) const {
    if (log == PortFrames::StackLog::ContextEnd) {
        logger().log(Logger::LOG_DEBUG, kTag, "Saved context ends at: 0x%x\n", thread.getStackPtr());
    } else if (log != PortFrames::StackLog::None) {
        logger().log(Logger::LOG_DEBUG, kTag, "Saved SP: 0x%x\n", thread.getStackPtr());
    }
}

unsigned int SavedFrame::frameAddress(const FrameLayout& layout, PortFrames::Place place) {
    unsigned int stackPointer = thread.getStackPtr();
    if (place == PortFrames::Place::EndsAtStackPointer) {
        return stackPointer - layout.getSize();
    }
    unsigned int secureContext = 0;
    unsigned int secureStackPointer = 0;
    // A secure context that cannot be followed leaves the frame where the thread's own pointer says.
    if (place == PortFrames::Place::BehindSecureContext && server.readMemory(stackPointer, secureContext) &&
        server.readMemory(secureContext, secureStackPointer)) {
        return secureStackPointer;
    }
    return stackPointer;
}

bool SavedFrame::readChoice(const PortFrames::Choice& choice, RegisterList& registers) {
    open(choice);
    if (choice.message != nullptr) {
        logger().log(Logger::LOG_DEBUG, kTag, "%s", choice.message);
    }
    const FrameLayout& layout = *choice.layout;
    unsigned int address = frameAddress(layout, choice.place);
    std::vector<unsigned char> frame;
    if (!server.readMemory(address, layout.getSize(), frame)) {
        logger().log(Logger::LOG_ERROR, kTag,
                     choice.place == PortFrames::Place::EndsAtStackPointer ? "Failed reading saved context\n"
                                                                           : "failed reading frame\n");
        return false;
    }
    registers.addRegister(RegisterId::REG_SP, stackPointer(choice, address, frame));
    unsigned int offset = 0;
    // A thread that gave up the processor by a kernel call resumes at its return address.
    if (!layout.getOffset(RegisterId::REG_PC, offset) && layout.getOffset(RegisterId::REG_LR, offset)) {
        registers.addRegister(RegisterId::REG_PC, NumberCodec::toUINT32(&frame[offset]));
    }
    unpack(layout, address, frame, registers);
    return true;
}

unsigned int SavedFrame::stackPointer(const PortFrames::Choice& choice, unsigned int address,
                                      std::vector<unsigned char>& frame) const {
    const FrameLayout& layout = *choice.layout;
    unsigned int offset = 0;
    unsigned int stackPointer = layout.getOffset(RegisterId::REG_SP, offset)
                                    ? NumberCodec::toUINT32(&frame[offset]) + choice.processorFrame
                                    : address + layout.getSize();
    if (layout.getOffset(RegisterId::REG_XPSR, offset) &&
        (NumberCodec::toUINT32(&frame[offset]) & kStackAlignedBit) != 0) {
        logger().log(Logger::LOG_DEBUG, kTag, "Add alignment\n");
        stackPointer += kAlignmentWord;
    }
    return stackPointer;
}

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
