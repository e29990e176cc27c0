// The structure layouts of SymbolTable::resolveDataStructures from a random dump, as the cache file holds
// it, then every layout found bound to addresses at the ends of the address space.
#include "FuzzCheck.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/ArrayLength.h"
#include "debuginfo/MemberInfo.h"
#include "debuginfo/StructInfo.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosPortDetector.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/threadx/ThreadxRtosDriver.h"

#include <cstdio>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

int cacheFile = -1;
std::vector<std::string> wanted;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    std::freopen("/dev/null", "w", stdout);
    Logger::getInstance().setLogLevel(15);
    cacheFile = memfd_create("tarnwick_cache", 0);
    fuzzRequire(cacheFile >= 0, "an in-memory cache file");
    Properties::getInstance().addProperty("--debug_info_cache", "/proc/self/fd/" + std::to_string(cacheFile));
    // What the two drivers ask for, and one name that no kernel has.
    RtosDriverInfo row;
    FreeRtosRtosDriver freertos(row);
    ThreadxRtosDriver threadx(row);
    std::vector<std::string> names;
    freertos.getDataStructures(wanted);
    threadx.getDataStructures(names);
    wanted.insert(wanted.end(), names.begin(), names.end());
    wanted.push_back("u");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzRequire(ftruncate(cacheFile, 0) == 0 &&
                    pwrite(cacheFile, data, size, 0) == static_cast<ssize_t>(size),
                "the cache takes the input");
    SymbolTable& table = SymbolTable::getInstance();
    bool complete = table.resolveDataStructures(wanted);
    unsigned int found = 0;
    for (const std::string& name : wanted) {
        StructInfo layout;
        if (!table.lookupStruct(name, layout)) {
            continue;
        }
        ++found;
        const unsigned int addresses[] = {0, 0x20000000, 0xfffffffc};
        for (unsigned int address : addresses) {
            StructInfo bound;
            fuzzRequire(SymbolTable::resolveDataStructure(name, address, bound), "a found layout binds");
            for (auto& member : bound.getMembers()) {
                MemberInfo copy;
                fuzzRequire(bound.lookup(member.first, copy) &&
                                copy.getAddress() == address + copy.getOffset(),
                            "a bound member lies at address plus offset");
            }
        }
    }
    fuzzRequire(!complete || found == wanted.size(), "a complete result has every layout");
    // The same cache also tells the registry's length and the kernel's port.
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::istringstream arrays(text);
    unsigned int length = 0;
    fuzzRequire(!ArrayLength::find(arrays, "xQueueRegistry", length) || length > 0,
                "a found length is not 0");
    std::istringstream units(text);
    FreeRtosPortDetector detector;
    detector.readDump(units);
    std::string variant;
    fuzzRequire(!detector.detect(variant) || detector.signals() != "no port file", "a port has its reason");
    return 0;
}
