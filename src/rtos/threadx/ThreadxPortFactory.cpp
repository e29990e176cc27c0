#include "rtos/threadx/ThreadxPortFactory.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/ArmAttributes.h"
#include "debuginfo/ElfFile.h"
#include "rsp/RspClient.h"
#include "rtos/threadx/ThreadxPortCortexA7.h"
#include "rtos/threadx/ThreadxPortCortexM0.h"
#include "rtos/threadx/ThreadxPortCortexM33M55M85.h"
#include "rtos/threadx/ThreadxPortCortexM3M4M7.h"

namespace {

const char* const kTag = "create";

const std::string kCortexM0 = "cortex_m0";
const std::string kCortexM3 = "cortex_m3";
const std::string kCortexM4 = "cortex_m4";
const std::string kCortexM7 = "cortex_m7";
const std::string kCortexM33 = "cortex_m33";
const std::string kCortexM55 = "cortex_m55";
const std::string kCortexM85 = "cortex_m85";
const std::string kCortexA7 = "cortex_a7";

template <class Port> IRtosPortDriver* makePort() {
    return new Port();
}

struct PortOption {
    const std::string& value;
    IRtosPortDriver* (*make)();
};

// In the order the values are compared.
const PortOption kPortOptions[] = {
    {kCortexM0, makePort<ThreadxPortCortexM0>},         {kCortexM3, makePort<ThreadxPortCortexM3M4M7>},
    {kCortexM4, makePort<ThreadxPortCortexM3M4M7>},     {kCortexM7, makePort<ThreadxPortCortexM3M4M7>},
    {kCortexM33, makePort<ThreadxPortCortexM33M55M85>}, {kCortexM55, makePort<ThreadxPortCortexM33M55M85>},
    {kCortexM85, makePort<ThreadxPortCortexM33M55M85>}, {kCortexA7, makePort<ThreadxPortCortexA7>},
};

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

IRtosPortDriver* ThreadxPortFactory::create(const std::string& name) {
    for (const PortOption& option : kPortOptions) {
        if (option.value == name) {
            Logger::getInstance().log(Logger::LOG_DEBUG, kTag, "ThreadX, port driver created: %s\n",
                                      name.c_str());
            return option.make();
        }
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
