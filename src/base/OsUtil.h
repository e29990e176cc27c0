#ifndef TARNWICK_BASE_OSUTIL_H
#define TARNWICK_BASE_OSUTIL_H

#include <cstdint>
#include <string>

class OsUtil {
public:
    // Absolute path of the running program; false (and a warning) if it cannot be found.
    static bool executable(std::string& path);
    // executable() up to its last '/'; a path without '/' is returned whole.
    static bool executableDir(std::string& directory);
    // Linux stand-in for the platform call: 0 on success; -1 with the needed size in bufsize when too small.
    static int getExecutablePath(char* buffer, uint32_t* bufsize);
};

#endif
