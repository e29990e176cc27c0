#include "rtos/CachedArrayLength.h"

#include "base/Properties.h"
#include "debuginfo/ArrayLength.h"

#include <fstream>
#include <string>

bool CachedArrayLength::of(const char* variable, unsigned int& out) {
    std::string cachePath;
    if (!Properties::getInstance().getProperty("--debug_info_cache", cachePath)) {
        return false;
    }
    std::ifstream cache(cachePath);
    return ArrayLength::find(cache, variable, out);
}
