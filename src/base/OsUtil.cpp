#include "base/OsUtil.h"

#include "base/Logger.h"

#include <cstring>
#include <unistd.h>
#include <vector>

int OsUtil::getExecutablePath(char* buffer, uint32_t* bufsize) {
    // readlink does not say how long the link is, so ask with room to spare and see if it filled up.
    std::vector<char> probe(4096);
    for (;;) {
        ssize_t length = readlink("/proc/self/exe", probe.data(), probe.size());
        if (length < 0) {
            return -1;
        }
        if (static_cast<std::size_t>(length) < probe.size()) {
            uint32_t needed = static_cast<uint32_t>(length) + 1;
            if (needed > *bufsize) {
                *bufsize = needed;
                return -1;
            }
            std::memcpy(buffer, probe.data(), static_cast<std::size_t>(length));
            buffer[length] = '\0';
            return 0;
        }
        probe.resize(probe.size() * 2);
    }
}

bool OsUtil::executable(std::string& path) {
    uint32_t size = 256;
    std::vector<char> buffer(size);
    int result = getExecutablePath(buffer.data(), &size);
    if (result == -1 && size > buffer.size()) {
        buffer.resize(size);
        result = getExecutablePath(buffer.data(), &size);
    }
    if (result != 0) {
        Logger::getInstance().log(Logger::LOG_WARNING, "executable", "Failed to read path to executable\n");
        return false;
    }
    path = buffer.data();
    return true;
}

bool OsUtil::executableDir(std::string& directory) {
    std::string path;
    if (!executable(path)) {
        return false;
    }
    std::string::size_type slash = path.rfind('/');
    directory = slash == std::string::npos ? path : path.substr(0, slash);
    return true;
}
