#include "base/Logger.h"

#include <cstdarg>
#include <cstdio>

Logger& Logger::getInstance() {
    static Logger instance;
    return instance;
}

bool Logger::init(unsigned int level) {
    logLevel = level;
    logSink = 0;
    return true;
}

void Logger::log(Severity_t severity, const char* /*tag*/, const char* format, ...) {
    if ((logLevel & severity) == 0) {
        return;
    }
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
    fflush(stdout);
}
