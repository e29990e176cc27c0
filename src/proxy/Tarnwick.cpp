#include "proxy/Tarnwick.h"

#include "app/Logger.h"

Tarnwick& Tarnwick::getInstance() {
    static Tarnwick instance;
    return instance;
}

bool Tarnwick::init() {
    if (!RspProxy::init()) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init", "Failed initialize tarnwick\n");
        return false;
    }
    return true;
}

bool Tarnwick::interceptPacket(RspClient& /*from*/, RspClient& /*to*/, bool& handled) {
    handled = false;
    return true;
}
