#include "base/ProxyUtils.h"

unsigned int ProxyUtils::getTimeStamp() {
    return 0;
}
