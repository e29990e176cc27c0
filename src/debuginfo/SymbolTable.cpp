#include "debuginfo/SymbolTable.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "base/ProxyUtils.h"
#include "debuginfo/DumpParser.h"
#include "debuginfo/DumpToolRunner.h"

#include <fstream>
#include <sys/stat.h>

namespace {

const char* const kFileOption = "--file";
const char* const kCacheOption = "--debug_info_cache";
const char* const kToolOption = "--debug_info_tool";
const char* const kCacheSuffix = ".proxy_cache";
const char* const kDefaultTool = "arm-none-eabi-readelf";

int elapsed(unsigned int start) {
    return static_cast<int>(ProxyUtils::getTimeStamp() - start);
}

} // namespace

SymbolTable& SymbolTable::getInstance() {
    static SymbolTable instance;
    return instance;
}

bool SymbolTable::init() {
    Properties& properties = Properties::getInstance();
    std::string elfPath;
    if (!properties.getProperty(kFileOption, elfPath)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init", "Missing property: %s\n", kFileOption);
        return false;
    }
    std::string value;
    if (!properties.getProperty(kCacheOption, value)) {
        properties.addProperty(kCacheOption, elfPath + kCacheSuffix);
    }
    if (!properties.getProperty(kToolOption, value)) {
        properties.addProperty(kToolOption, kDefaultTool);
    }
    if (validDebugInfo()) {
        return true;
    }
    if (!generateDebugInfo()) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init",
                                  "Failed to generate debug information from binary.\n");
        return false;
    }
    return true;
}

bool SymbolTable::isInitiated() {
    return !symbols.empty();
}

bool SymbolTable::validDebugInfo() {
    Properties& properties = Properties::getInstance();
    std::string cachePath;
    std::string elfPath;
    if (!properties.getProperty(kCacheOption, cachePath) || !properties.getProperty(kFileOption, elfPath)) {
        return false;
    }
    struct stat cacheStatus;
    struct stat elfStatus;
    if (stat(cachePath.c_str(), &cacheStatus) != 0 || stat(elfPath.c_str(), &elfStatus) != 0) {
        return false;
    }
    // Whole seconds: a cache written in the same second as the ELF file may predate the build's end.
    bool valid = cacheStatus.st_mtime > elfStatus.st_mtime;
    Logger::getInstance().log(Logger::LOG_DEBUG, "validDebugInfo", "SymbolTable::validDebugInfo(), %s\n",
                              valid ? "True" : "False");
    return valid;
}

bool SymbolTable::generateDebugInfo() {
    const char* const tag = "generateDebugInfo";
    Logger& logger = Logger::getInstance();
    Properties& properties = Properties::getInstance();
    unsigned int start = ProxyUtils::getTimeStamp();
    bool result = false;
    std::string elfPath;
    std::string tool;
    std::string cachePath;
    if (!properties.getProperty(kFileOption, elfPath)) {
        logger.log(Logger::LOG_ERROR, tag, "Missing property: %s\n", kFileOption);
    } else if (!properties.getProperty(kToolOption, tool)) {
        logger.log(Logger::LOG_ERROR, tag, "Missing property: %s\n", kToolOption);
    } else if (!properties.getProperty(kCacheOption, cachePath)) {
        logger.log(Logger::LOG_ERROR, tag, "Missing property: %s\n", kCacheOption);
    } else {
        bool failed = !DumpToolRunner::run(tool, elfPath, cachePath);
        // A failing tool must not stop the start-up: it shows in the log and the result stays true.
        result = true;
        if (failed) {
            logger.log(Logger::LOG_ERROR, tag, "Failed generate debug info\n");
            logger.log(Logger::LOG_DEBUG, tag, "CMD: %s, error: %d\n",
                       DumpToolRunner::describe(tool, elfPath, cachePath).c_str(), static_cast<int>(failed));
        }
    }
    logger.log(Logger::LOG_DEBUG, tag, "SymbolTable::generateDebugInfo(), %d ms\n", elapsed(start));
    logger.log(Logger::LOG_DEBUG, tag, "SymbolTable::generateDebugInfo(), Cache: %s\n", cachePath.c_str());
    return result;
}

void SymbolTable::addSymbol(const Symbol& symbol) {
    symbols.insert({symbol.getName(), symbol});
}

bool SymbolTable::lookupSymbol(const std::string& name, Symbol& out) {
    auto entry = symbols.find(name);
    if (entry == symbols.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

bool SymbolTable::lookupStruct(const std::string& name, StructInfo& out) {
    auto entry = structs.find(name);
    if (entry == structs.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

bool SymbolTable::resolveDataStructures(const std::vector<std::string>& names) {
    const char* const tag = "resolveDataStructures";
    Logger& logger = Logger::getInstance();
    structs.clear();
    DumpParser parser(names, structs);
    unsigned int start = ProxyUtils::getTimeStamp();
    bool complete = names.empty();
    std::string cachePath;
    if (!Properties::getInstance().getProperty(kCacheOption, cachePath)) {
        logger.log(Logger::LOG_ERROR, tag, "Missing required property: %s\n", kCacheOption);
    } else {
        std::ifstream cache(cachePath);
        if (!cache.is_open()) {
            logger.log(Logger::LOG_ERROR, tag, "Missing debug info cache: %s\n", cachePath.c_str());
        } else {
            complete = parser.parse(cache);
        }
    }
    logger.log(Logger::LOG_DEBUG, tag, "SymbolTable::resolveDataStructures(), %d ms\n", elapsed(start));
    return complete;
}

bool SymbolTable::resolveDataStructure(const std::string& name, unsigned int address, StructInfo& out) {
    if (!getInstance().lookupStruct(name, out)) {
        return false;
    }
    out.bindTo(address);
    return true;
}

void SymbolTable::clear() {
    symbols.clear();
    structs.clear();
}
