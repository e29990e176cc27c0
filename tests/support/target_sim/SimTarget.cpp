#include "target_sim/SimTarget.h"

#include "target_sim/SimHex.h"

#include <algorithm>

namespace targetsim {

namespace {
const std::uint32_t kThumbBit = 0x01000000; // xPSR.T: an M-profile core only runs Thumb code
const std::uint32_t kCpsrSvcMasked =
    0x000001d3; // reset state of an A-profile core: SVC mode, IRQ and FIQ off
const std::uint32_t kCpsrThumb = 0x20;
const char kError[] = "E01";

bool overlaps(const ErrorRange& range, std::uint32_t address, std::uint32_t length) {
    std::uint64_t end = std::uint64_t{address} + (length == 0 ? 1 : length);
    return address < std::uint64_t{range.address} + range.length && range.address < end;
}
} // namespace

SimTarget::SimTarget(Profile profile) : memory(&memoryMap), registers(profile) {
    if (profile == Profile::M)
        registers.set(RegisterFile::kStatus, kThumbBit);
    else
        registers.set(RegisterFile::kStatus, kCpsrSvcMasked);
}

bool SimTarget::loadElf(const ElfImage& image) {
    std::lock_guard<std::mutex> guard(lock);
    std::uint32_t lowest = 0xFFFFFFFF;
    for (const ElfSegment& segment : image.getSegments()) {
        if (!memoryMap.map(segment.address, segment.memorySize) ||
            !memoryMap.write(segment.address, segment.bytes))
            return false;
        lowest = std::min(lowest, segment.address);
    }
    bool thumbEntry = (image.getEntry() & 1) != 0;
    registers.set(RegisterFile::kPc, image.getEntry() & ~1u);
    if (registers.getProfile() == Profile::A) {
        registers.set(RegisterFile::kStatus, kCpsrSvcMasked | (thumbEntry ? kCpsrThumb : 0));
        return true;
    }
    // The core fetches its stack pointer from address 0; parts that alias flash there link it higher.
    std::uint32_t vectorTable = memoryMap.isMapped(0) ? 0 : lowest;
    std::vector<std::uint8_t> word;
    memoryMap.read(vectorTable, 4, word);
    if (word.size() == 4)
        registers.set(RegisterFile::kSp, SimHex::decodeWord(word.data()));
    return true;
}

bool SimTarget::mapRam(std::uint32_t address, std::uint32_t size) {
    std::lock_guard<std::mutex> guard(lock);
    return memoryMap.map(address, size);
}

bool SimTarget::loadMemory(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    std::lock_guard<std::mutex> guard(lock);
    return memoryMap.load(address, bytes);
}

void SimTarget::addErrorRange(const ErrorRange& range) {
    std::lock_guard<std::mutex> guard(lock);
    errorRanges.push_back(range);
}

void SimTarget::useMemorySource(MemorySource& source) {
    std::lock_guard<std::mutex> guard(lock);
    memory = &source;
}

bool SimTarget::setRegister(const std::string& name, std::uint32_t value) {
    std::lock_guard<std::mutex> guard(lock);
    return registers.setByName(name, value);
}

std::uint32_t SimTarget::getRegister(std::size_t index) const {
    std::lock_guard<std::mutex> guard(lock);
    return registers.get(index);
}

std::string SimTarget::readMemory(std::uint32_t address, std::uint32_t length) {
    memoryReads++;
    std::lock_guard<std::mutex> guard(lock);
    for (const ErrorRange& range : errorRanges) {
        if (overlaps(range, address, length))
            return range.reply;
    }
    std::vector<std::uint8_t> bytes;
    memory->read(address, length, bytes);
    // Like a real server: what can be read from the start is answered, nothing readable is an error.
    if (bytes.empty() && length > 0)
        return kError;
    memoryReadBytes += bytes.size();
    return SimHex::encode(bytes);
}

std::string SimTarget::writeMemory(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    std::lock_guard<std::mutex> guard(lock);
    for (const ErrorRange& range : errorRanges) {
        if (overlaps(range, address, static_cast<std::uint32_t>(bytes.size())))
            return range.reply;
    }
    return memory->write(address, bytes) ? "OK" : kError;
}

std::string SimTarget::readRegisters() const {
    std::lock_guard<std::mutex> guard(lock);
    return registers.encode();
}

std::string SimTarget::writeRegisters(const std::string& hex) {
    std::lock_guard<std::mutex> guard(lock);
    return registers.decode(hex) ? "OK" : kError;
}

std::string SimTarget::readRegister(std::uint32_t number) const {
    std::lock_guard<std::mutex> guard(lock);
    std::uint32_t value = 0;
    if (!registers.getByNumber(number, value))
        return kError;
    return SimHex::encodeWord(value);
}

std::string SimTarget::writeRegister(std::uint32_t number, const std::string& valueHex) {
    std::vector<std::uint8_t> bytes;
    if (valueHex.size() != 8 || !SimHex::decode(valueHex, bytes))
        return kError;
    std::lock_guard<std::mutex> guard(lock);
    return registers.setByNumber(number, SimHex::decodeWord(bytes.data())) ? "OK" : kError;
}

std::string SimTarget::targetXml() const {
    std::lock_guard<std::mutex> guard(lock);
    return registers.targetXml();
}

void SimTarget::insertBreakpoint(std::uint32_t address) {
    std::lock_guard<std::mutex> guard(lock);
    breakpoints.insert(address);
}

void SimTarget::removeBreakpoint(std::uint32_t address) {
    std::lock_guard<std::mutex> guard(lock);
    breakpoints.erase(address);
}

void SimTarget::resume() {
    std::lock_guard<std::mutex> guard(lock);
    if (breakpoints.empty())
        return;
    auto next = breakpoints.upper_bound(registers.get(RegisterFile::kPc));
    registers.set(RegisterFile::kPc, next == breakpoints.end() ? *breakpoints.begin() : *next);
}

void SimTarget::step() {
    std::lock_guard<std::mutex> guard(lock);
    std::uint32_t pc = registers.get(RegisterFile::kPc);
    registers.set(RegisterFile::kPc, pc + instructionSize(pc));
}

std::uint32_t SimTarget::instructionSize(std::uint32_t address) const {
    bool thumb =
        registers.getProfile() == Profile::M || (registers.get(RegisterFile::kStatus) & kCpsrThumb) != 0;
    if (!thumb)
        return 4;
    std::vector<std::uint8_t> half;
    memory->read(address, 2, half);
    if (half.size() < 2)
        return 2;
    // A Thumb halfword whose top five bits are 0b11101, 0b11110 or 0b11111 opens a 32-bit instruction.
    unsigned top = half[1] >> 3;
    return top >= 0x1d ? 4 : 2;
}

void SimTarget::countPacket() {
    packets++;
}

SimStats SimTarget::getStats() const {
    SimStats stats;
    stats.packets = packets;
    stats.memoryReads = memoryReads;
    stats.memoryReadBytes = memoryReadBytes;
    return stats;
}

void SimTarget::resetStats() {
    packets = 0;
    memoryReads = 0;
    memoryReadBytes = 0;
}

} // namespace targetsim
