#ifndef TARNWICK_BASE_PROXYUTILS_H
#define TARNWICK_BASE_PROXYUTILS_H

class ProxyUtils {
public:
    virtual ~ProxyUtils() = default;
    // Always 0: the timing lines of the log print 0 ms, and are kept that way.
    static unsigned int getTimeStamp();
};

#endif
