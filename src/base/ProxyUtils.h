#ifndef TARNWICK_BASE_PROXYUTILS_H
#define TARNWICK_BASE_PROXYUTILS_H

class ProxyUtils {
public:
    virtual ~ProxyUtils() = default;
    // Milliseconds of a monotonic clock from an arbitrary start: only the difference of two readings means
    // anything. Unsigned, so that the difference stays right across a wrap.
    static unsigned int getTimeStamp();
};

#endif
