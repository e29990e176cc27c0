// Speed of structure resolution over a large dump, beside a plain line-reading loop over the same file.
// The dump is the real one of a fixture program, repeated with renamed entries until it passes the
// wanted size, with the original, and so the wanted structures, last: the parser has to read it all.
//
// Usage: tarnwick_bench_dump <dump file> [megabytes, default 256] [rounds, default 3]

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

const std::vector<std::string> kWanted = {"QueueDefinition",
                                          "QUEUE_REGISTRY_ITEM",
                                          "tskTaskControlBlock",
                                          "xLIST",
                                          "xMINI_LIST_ITEM",
                                          "xLIST_ITEM",
                                          "tmrTimerControl",
                                          "EventGroupDef_t",
                                          "TX_THREAD_STRUCT",
                                          "TX_MUTEX_STRUCT",
                                          "TX_SEMAPHORE_STRUCT",
                                          "TX_TIMER_STRUCT",
                                          "TX_TIMER_INTERNAL_STRUCT",
                                          "TX_QUEUE_STRUCT",
                                          "TX_EVENT_FLAGS_GROUP_STRUCT",
                                          "TX_BYTE_POOL_STRUCT",
                                          "TX_BLOCK_POOL_STRUCT"};

double megabytes(double bytes) {
    return bytes / (1024.0 * 1024.0);
}

long long fileSize(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? static_cast<long long>(status.st_size) : -1;
}

std::string realDump(const std::string& elf) {
    std::string text;
    FILE* pipe = popen(("arm-none-eabi-readelf -wi '" + elf + "'").c_str(), "r");
    if (pipe == nullptr) {
        return text;
    }
    char buffer[65536];
    std::size_t count = 0;
    while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        text.append(buffer, count);
    }
    pclose(pipe);
    return text;
}

// Every name attribute of a copy gets a suffix, so that no copy holds a wanted structure.
std::string renamedCopy(const std::string& dump, int copy) {
    std::istringstream lines(dump);
    std::string out;
    out.reserve(dump.size() + dump.size() / 8);
    std::string line;
    const std::string suffix = "_copy" + std::to_string(copy);
    while (std::getline(lines, line)) {
        out += line;
        if (line.find("DW_AT_name") != std::string::npos) {
            out += suffix;
        }
        out += '\n';
    }
    return out;
}

bool generate(const std::string& path, long long wantedBytes) {
    if (fileSize(path) >= wantedBytes) {
        return true;
    }
    std::string dump = realDump(std::string(TARNWICK_FIXTURES_DIR) + "/shapes_both_kernels.elf");
    if (dump.empty()) {
        std::printf("no dump of the fixture program\n");
        return false;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    long long written = 0;
    for (int copy = 0; written + static_cast<long long>(dump.size()) < wantedBytes; ++copy) {
        std::string text = renamedCopy(dump, copy);
        out << text;
        written += static_cast<long long>(text.size());
    }
    out << dump;
    return out.good();
}

template <typename Action> double bestSeconds(int rounds, Action action) {
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
        auto start = std::chrono::steady_clock::now();
        action();
        std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        best = taken.count() < best ? taken.count() : best;
    }
    return best;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::printf("usage: %s <dump file> [megabytes] [rounds]\n", argv[0]);
        return 2;
    }
    const std::string path = argv[1];
    const long long wantedBytes = (argc > 2 ? std::stoll(argv[2]) : 256) * 1024 * 1024;
    const int rounds = argc > 3 ? std::stoi(argv[3]) : 3;
    if (!generate(path, wantedBytes)) {
        return 1;
    }
    const double size = megabytes(static_cast<double>(fileSize(path)));

    std::size_t lines = 0;
    double plain = bestSeconds(rounds, [&] {
        std::ifstream in(path);
        std::string line;
        lines = 0;
        while (std::getline(in, line)) {
            ++lines;
        }
    });

    Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR);
    Properties::getInstance().addProperty("--debug_info_cache", path);
    bool complete = false;
    double parsed =
        bestSeconds(rounds, [&] { complete = SymbolTable::getInstance().resolveDataStructures(kWanted); });

    std::printf("dump: %s, %.1f MB, %zu lines, best of %d rounds\n", path.c_str(), size, lines, rounds);
    std::printf("std::getline loop:        %8.1f MB/s (%.3f s)\n", size / plain, plain);
    std::printf("resolveDataStructures:    %8.1f MB/s (%.3f s)\n", size / parsed, parsed);
    std::printf("parser speed / loop speed: %.2f\n", plain / parsed);
    if (!complete) {
        std::printf("the wanted structures were not all resolved\n");
        return 1;
    }
    return 0;
}
