#ifndef TARNWICK_DEBUGINFO_DUMPTOOLRUNNER_H
#define TARNWICK_DEBUGINFO_DUMPTOOLRUNNER_H

#include <string>

// Runs the debug-information dump tool without a shell, so that no character of a file name (a quote,
// "$(...)", a backquote, a semicolon) can run a command: options files are shared in repositories.
class DumpToolRunner {
public:
    // Runs "<tool> -wi <elfPath>" with its standard output in cachePath, which is created or emptied first,
    // so that a failed run leaves an empty cache as a shell's redirect did. tool may carry the tool's own
    // arguments after its name, separated by blanks; the name is searched on the PATH unless it holds a '/'.
    // True only if the tool ran and exited with status 0.
    static bool run(const std::string& tool, const std::string& elfPath, const std::string& cachePath);
    // The same run as a shell command line, for the log.
    static std::string describe(const std::string& tool, const std::string& elfPath,
                                const std::string& cachePath);
};

#endif
