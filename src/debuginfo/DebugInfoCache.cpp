#include "debuginfo/DebugInfoCache.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "base/ProxyUtils.h"
#include "debuginfo/DumpToolRunner.h"

#include <string>
#include <sys/stat.h>

namespace {

const char* const kFileOption = "--file";
const char* const kCacheOption = "--debug_info_cache";
const char* const kToolOption = "--debug_info_tool";
const char* const kCacheSuffix = ".proxy_cache";
const char* const kDefaultTool = "arm-none-eabi-readelf";

} // namespace

bool DebugInfoCache::prepare() {
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
    if (isFresh()) {
        return true;
    }
    if (!generate()) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init",
                                  "Failed to generate debug information from binary.\n");
        return false;
    }
    return true;
}

bool DebugInfoCache::isFresh() {
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

bool DebugInfoCache::generate() {
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
    logger.log(Logger::LOG_DEBUG, tag, "SymbolTable::generateDebugInfo(), %d ms\n",
               static_cast<int>(ProxyUtils::getTimeStamp() - start));
    logger.log(Logger::LOG_DEBUG, tag, "SymbolTable::generateDebugInfo(), Cache: %s\n", cachePath.c_str());
    return result;
}

bool DebugInfoCache::openForReading(std::ifstream& cache) {
    const char* const tag = "resolveDataStructures";
    Logger& logger = Logger::getInstance();
    std::string cachePath;
    if (!Properties::getInstance().getProperty(kCacheOption, cachePath)) {
        logger.log(Logger::LOG_ERROR, tag, "Missing required property: %s\n", kCacheOption);
        return false;
    }
    cache.open(cachePath);
    if (!cache.is_open()) {
        logger.log(Logger::LOG_ERROR, tag, "Missing debug info cache: %s\n", cachePath.c_str());
        return false;
    }
    return true;
}
