#include "target_sim/RegisterFile.h"

#include "target_sim/SimHex.h"

#include <vector>

namespace targetsim {

namespace {
struct RegisterInfo {
    const char* name;
    const char* alias;
    std::uint32_t number;
    const char* type;
};

// GDB's Arm numbering: r0..pc are 0..15, the status register is 25 (the gap held the old FPA registers).
const RegisterInfo kRegisters[RegisterFile::kCount] = {
    {"r0", "r0", 0, "int"},        {"r1", "r1", 1, "int"},        {"r2", "r2", 2, "int"},
    {"r3", "r3", 3, "int"},        {"r4", "r4", 4, "int"},        {"r5", "r5", 5, "int"},
    {"r6", "r6", 6, "int"},        {"r7", "r7", 7, "int"},        {"r8", "r8", 8, "int"},
    {"r9", "r9", 9, "int"},        {"r10", "r10", 10, "int"},     {"r11", "r11", 11, "int"},
    {"r12", "r12", 12, "int"},     {"sp", "r13", 13, "data_ptr"}, {"lr", "r14", 14, "int"},
    {"pc", "r15", 15, "code_ptr"}, {"xpsr", "cpsr", 25, "int"},
};

const char* statusName(Profile profile) {
    return profile == Profile::M ? "xpsr" : "cpsr";
}
const char* featureName(Profile profile) {
    return profile == Profile::M ? "org.gnu.gdb.arm.m-profile" : "org.gnu.gdb.arm.core";
}
} // namespace

RegisterFile::RegisterFile(Profile newProfile) : profile(newProfile) {}

bool RegisterFile::indexOf(const std::string& name, std::size_t& index) const {
    for (std::size_t i = 0; i < kCount; i++) {
        const char* shown = i == kStatus ? statusName(profile) : kRegisters[i].name;
        if (name == shown || (i != kStatus && name == kRegisters[i].alias)) {
            index = i;
            return true;
        }
    }
    return false;
}

bool RegisterFile::indexOfNumber(std::uint32_t number, std::size_t& index) const {
    for (std::size_t i = 0; i < kCount; i++) {
        if (kRegisters[i].number == number) {
            index = i;
            return true;
        }
    }
    return false;
}

bool RegisterFile::setByName(const std::string& name, std::uint32_t value) {
    std::size_t index = 0;
    if (!indexOf(name, index))
        return false;
    values[index] = value;
    return true;
}

bool RegisterFile::getByNumber(std::uint32_t number, std::uint32_t& value) const {
    std::size_t index = 0;
    if (!indexOfNumber(number, index))
        return false;
    value = values[index];
    return true;
}

bool RegisterFile::setByNumber(std::uint32_t number, std::uint32_t value) {
    std::size_t index = 0;
    if (!indexOfNumber(number, index))
        return false;
    values[index] = value;
    return true;
}

std::string RegisterFile::encode() const {
    std::string hex;
    for (std::uint32_t value : values)
        hex += SimHex::encodeWord(value);
    return hex;
}

bool RegisterFile::decode(const std::string& hex) {
    std::vector<std::uint8_t> bytes;
    if (hex.size() != kCount * 8 || !SimHex::decode(hex, bytes))
        return false;
    for (std::size_t i = 0; i < kCount; i++)
        values[i] = SimHex::decodeWord(&bytes[i * 4]);
    return true;
}

std::string RegisterFile::targetXml() const {
    std::string xml = "<?xml version=\"1.0\"?>\n"
                      "<!DOCTYPE target SYSTEM \"gdb-target.dtd\">\n"
                      "<target version=\"1.0\">\n"
                      "<architecture>arm</architecture>\n";
    xml += std::string("<feature name=\"") + featureName(profile) + "\">\n";
    for (std::size_t i = 0; i < kCount; i++) {
        const char* name = i == kStatus ? statusName(profile) : kRegisters[i].name;
        xml += std::string("<reg name=\"") + name + "\" bitsize=\"32\" regnum=\"" +
               std::to_string(kRegisters[i].number) + "\" type=\"" + kRegisters[i].type + "\"/>\n";
    }
    xml += "</feature>\n</target>\n";
    return xml;
}

} // namespace targetsim
