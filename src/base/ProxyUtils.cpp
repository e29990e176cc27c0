#include "base/ProxyUtils.h"

#include <chrono>

unsigned int ProxyUtils::getTimeStamp() {
    auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<unsigned int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}
