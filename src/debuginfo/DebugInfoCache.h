#ifndef TARNWICK_DEBUGINFO_DEBUGINFOCACHE_H
#define TARNWICK_DEBUGINFO_DEBUGINFOCACHE_H

#include <fstream>

// The text dump of the ELF file's debug information, kept beside it so that a restart skips the dump
// tool: where it is (the options "--file", "--debug_info_cache", "--debug_info_tool"), whether it is
// still fresh, and making it.
class DebugInfoCache {
public:
    // Settles the cache options and makes sure the cache is newer than the ELF file.
    static bool prepare();
    // True when the cache's modification second is strictly later than the ELF file's.
    static bool isFresh();
    // Runs the dump tool into the cache; false only when an option is missing, not when the tool fails.
    static bool generate();
    // Opens the cache for reading; false, and logged, when it has no name or cannot be opened.
    static bool openForReading(std::ifstream& cache);
};

#endif
