#ifndef TARNWICK_RTOS_CACHEDARRAYLENGTH_H
#define TARNWICK_RTOS_CACHEDARRAYLENGTH_H

// The bound of a kernel's global array, from the debug-information dump kept in the cache file that
// "--debug_info_cache" names.
class CachedArrayLength {
public:
    // False without a cache file or a bound for the variable in it.
    static bool of(const char* variable, unsigned int& out);
};

#endif
