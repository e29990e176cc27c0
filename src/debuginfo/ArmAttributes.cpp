#include "debuginfo/ArmAttributes.h"

#include "debuginfo/ElfFile.h"

namespace {

constexpr char kFormatVersion = 'A';
const std::string kVendor = "aeabi";
constexpr unsigned char kFileScope = 1;
constexpr unsigned int kTagCpuRawName = 4;
constexpr unsigned int kTagCpuName = 5;
constexpr unsigned int kTagCpuArch = 6;
constexpr unsigned int kTagCpuArchProfile = 7;
constexpr unsigned int kTagFpArch = 10;
constexpr unsigned int kTagCompatibility = 32;
constexpr unsigned int kTagConformance = 67;
// Above this tag, odd tags carry text and even ones a number.
constexpr unsigned int kLastNumberedTag = 32;

// No Tag_CPU_arch_profile: the profile does not matter for the architecture.
constexpr unsigned int kAnyProfile = 0;

struct Architecture {
    unsigned int cpuArch;
    unsigned int profile;
    const char* name;
};

const Architecture kArchitectures[] = {
    {10, 'M', "v7-M"},
    {10, 'A', "v7-A"},
    {10, 'R', "v7-R"},
    {11, kAnyProfile, "v6-M"},
    {12, kAnyProfile, "v6S-M"},
    {13, kAnyProfile, "v7E-M"},
    {16, kAnyProfile, "v8-M baseline"},
    {17, kAnyProfile, "v8-M mainline"},
    {21, kAnyProfile, "v8.1-M mainline"},
};

bool readNumber(const std::string& bytes, std::size_t& position, std::size_t end, unsigned int& value) {
    value = 0;
    unsigned int shift = 0;
    while (position < end) {
        unsigned char byte = static_cast<unsigned char>(bytes[position++]);
        if (shift < 32) {
            value |= static_cast<unsigned int>(byte & 0x7f) << shift;
        }
        shift += 7;
        if ((byte & 0x80) == 0) {
            return true;
        }
    }
    return false;
}

bool skipText(const std::string& bytes, std::size_t& position, std::size_t end) {
    while (position < end) {
        if (bytes[position++] == '\0') {
            return true;
        }
    }
    return false;
}

bool carriesText(unsigned int tag) {
    return tag == kTagCpuRawName || tag == kTagCpuName || tag == kTagConformance ||
           (tag > kLastNumberedTag && tag % 2 == 1);
}

} // namespace

bool ArmAttributes::parse(const std::string& bytes) {
    architecture.clear();
    floatingPoint = false;
    archSeen = false;
    cpuArch = 0;
    profile = kAnyProfile;
    if (bytes.empty() || bytes[0] != kFormatVersion) {
        return false;
    }
    bool found = false;
    std::size_t position = 1;
    while (position + 4 <= bytes.size()) {
        std::size_t sectionEnd = position + ElfFile::word(bytes, position);
        if (sectionEnd <= position + 4 || sectionEnd > bytes.size()) {
            return false;
        }
        std::size_t vendorEnd = bytes.find('\0', position + 4);
        bool aeabi =
            vendorEnd < sectionEnd && bytes.compare(position + 4, vendorEnd - position - 4, kVendor) == 0;
        std::size_t scope = vendorEnd + 1;
        while (aeabi && scope + 5 <= sectionEnd) {
            unsigned char tag = static_cast<unsigned char>(bytes[scope]);
            std::size_t scopeEnd = scope + ElfFile::word(bytes, scope + 1);
            if (scopeEnd <= scope + 5 || scopeEnd > sectionEnd) {
                return false;
            }
            if (tag == kFileScope) {
                found = true;
                for (std::size_t at = scope + 5; at < scopeEnd;) {
                    if (!readAttribute(bytes, at, scopeEnd)) {
                        return false;
                    }
                }
            }
            scope = scopeEnd;
        }
        position = sectionEnd;
    }
    for (const Architecture& known : kArchitectures) {
        if (archSeen && known.cpuArch == cpuArch &&
            (known.profile == kAnyProfile || known.profile == profile)) {
            architecture = known.name;
            break;
        }
    }
    return found;
}

bool ArmAttributes::read(const ElfFile& elf) {
    std::string bytes;
    return elf.section(".ARM.attributes", bytes) && parse(bytes);
}

bool ArmAttributes::readAttribute(const std::string& bytes, std::size_t& position, std::size_t end) {
    unsigned int tag = 0;
    if (!readNumber(bytes, position, end, tag)) {
        return false;
    }
    if (tag == kTagCompatibility) {
        unsigned int flag = 0;
        return readNumber(bytes, position, end, flag) && skipText(bytes, position, end);
    }
    if (carriesText(tag)) {
        return skipText(bytes, position, end);
    }
    unsigned int value = 0;
    if (!readNumber(bytes, position, end, value)) {
        return false;
    }
    if (tag == kTagCpuArch) {
        cpuArch = value;
        archSeen = true;
    } else if (tag == kTagCpuArchProfile) {
        profile = value;
    } else if (tag == kTagFpArch) {
        floatingPoint = value != 0;
    }
    return true;
}
