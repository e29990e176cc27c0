#ifndef TARNWICK_TESTS_BENCH_BENCHRIG_H
#define TARNWICK_TESTS_BENCH_BENCHRIG_H

#include "BenchChild.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class BenchLink;

// The processes of one benchmark: target simulators and tarnwick, each started in a scratch folder and
// stopped with the rig. Also what a benchmark playing GDB needs besides the link: the program's symbols
// and the symbol exchange.
class BenchRig {
public:
    BenchRig(const std::string& newTarnwickPath, const std::string& newTargetSimPath);
    ~BenchRig();
    BenchRig(const BenchRig&) = delete;
    BenchRig& operator=(const BenchRig&) = delete;

    const std::string& getScratch() const { return scratch; }
    const std::string& getError() const { return error; }

    // A simulator serving the program on an ephemeral port; 0 on failure.
    unsigned short startTargetSim(const std::string& elf, const std::vector<std::string>& args);
    // tarnwick in front of serverPort, started through wrapper (such as valgrind) if it is not empty;
    // returns the port it listens on for GDB, 0 on failure.
    unsigned short startTarnwick(unsigned short serverPort, const std::vector<std::string>& args,
                                 const std::vector<std::string>& wrapper = {});
    // The most recently started tarnwick.
    BenchChild& tarnwick() { return *tarnwickChild; }

    // Symbol name to address, from arm-none-eabi-nm.
    bool readSymbols(const std::string& elf, std::map<std::string, unsigned int>& symbols);
    // Plays GDB's side of "qSymbol::": every symbol asked for is answered from symbols, or as unknown.
    // Returns false if the exchange does not end with OK; count is the number of symbols asked for.
    static bool answerSymbols(BenchLink& link, const std::map<std::string, unsigned int>& symbols,
                              int& count);
    // A monitor command sent to the server, its output decoded.
    static bool monitor(BenchLink& link, const std::string& command, std::string& output);
    // The m packets the simulator has answered since its counters were last reset.
    static bool simulatorReads(BenchLink& link, unsigned long& reads);
    // The instructions counted in a callgrind output file (its "summary:" or "totals:" line); 0 if none.
    static unsigned long long callgrindInstructions(const std::string& path);

    static std::string encodeHex(const std::string& text);
    static std::string decodeHex(const std::string& hex);

private:
    std::string tarnwickPath;
    std::string targetSimPath;
    std::string scratch;
    std::string error;
    std::vector<std::unique_ptr<BenchChild>> children;
    BenchChild* tarnwickChild = nullptr;
};

#endif
