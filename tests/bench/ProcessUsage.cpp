#include "ProcessUsage.h"

#include <fstream>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace {

// Fields of /proc/<pid>/stat counted from the one behind the command name, which is field 3.
const std::size_t kUserTimeField = 14 - 3;
const std::size_t kSystemTimeField = 15 - 3;

std::string procPath(pid_t pid, const char* file) {
    return "/proc/" + std::to_string(pid) + "/" + file;
}

long statusKb(const std::string& status, const std::string& key) {
    std::size_t at = status.find(key);
    return at == std::string::npos ? -1 : std::stol(status.substr(at + key.size()));
}

} // namespace

bool ProcessUsage::read(pid_t pid) {
    std::ifstream statFile(procPath(pid, "stat"));
    std::string stat((std::istreambuf_iterator<char>(statFile)), std::istreambuf_iterator<char>());
    // The command name may hold blanks and parentheses; the fields start behind the last ')'.
    std::size_t close = stat.rfind(')');
    if (close == std::string::npos) {
        return false;
    }
    std::istringstream fields(stat.substr(close + 2));
    std::vector<std::string> values;
    for (std::string value; fields >> value;) {
        values.push_back(value);
    }
    if (values.size() <= kSystemTimeField) {
        return false;
    }
    const double ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    userSeconds = std::stod(values[kUserTimeField]) / ticks;
    systemSeconds = std::stod(values[kSystemTimeField]) / ticks;

    std::ifstream schedstat(procPath(pid, "schedstat"));
    double nanoseconds = -1;
    runSeconds = schedstat >> nanoseconds ? nanoseconds / 1e9 : userSeconds + systemSeconds;

    std::ifstream statusFile(procPath(pid, "status"));
    std::string status((std::istreambuf_iterator<char>(statusFile)), std::istreambuf_iterator<char>());
    residentKb = statusKb(status, "VmRSS:");
    peakResidentKb = statusKb(status, "VmHWM:");
    return true;
}

std::string ProcessUsage::loadAverage() {
    std::ifstream in("/proc/loadavg");
    std::string line;
    std::getline(in, line);
    return line;
}
