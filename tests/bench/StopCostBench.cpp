// Stop cost: a client playing GDB continues a kernel image K times through tarnwick; at each stop tarnwick
// walks the kernel's tasks with memory reads before it answers. Measured per stop: the reads the
// simulator answered (checked against what the task walk implies), the wall time, and tarnwick's own CPU
// time. Beside it, the round-trip time of one read straight against a second simulator with the same read
// delay gives the floor: reads x round-trip time. Optionally "monitor rtos state" and the resident size
// over many stops.
//
// Usage: tarnwick_bench_stops --tarnwick PATH --target-sim PATH --elf KERNEL.elf --kernel freertos|threadx
//        --variant PORT --tasks N [--delay-ms 0] [--stops 50] [--state 0] [--rss-every 0]
//        [--reference 1000] [--lists 9] [--nonempty-lists 5] [--callgrind valgrind] [--json FILE]
//        [--scenario stop|threads|stepi] [--read-cache true|false] [--lazy-walk true|false]
//
// --lists and --nonempty-lists describe the FreeRTOS image: the lists the walk visits (four fixed ones and
// the ready lists up to the top priority) and how many of them hold tasks.
//
// --scenario says what one measured stop is: "stop" a c and its stop reply alone; "threads" that, then the
// thread list and the registers of every thread (Hg and g each), what GDB's "info threads" asks; "stepi" an
// s and the registers of the thread that stopped, what a stepi in the current task asks. --read-cache and
// --lazy-walk go to tarnwick as its options; the reads are checked against the walks only for "stop" with
// both false, where every stop walks with one read per value.

#include "BenchLink.h"
#include "BenchMain.h"
#include "BenchOptions.h"
#include "BenchReport.h"
#include "BenchRig.h"
#include "ProcessUsage.h"
#include "Samples.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

const char kReferenceRead[] = "m20000000,4";
const int kConnectMs = 10000;
const int kValgrindConnectMs = 60000;
const int kValgrindExitMs = 300000;

double microsecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

bool isFreeRtos(const BenchOptions& options) {
    return options.get("kernel") == "freertos";
}

// Every stop walks, one read per value: the reads are known in advance.
bool exactWalks(const BenchOptions& options) {
    return options.get("scenario", "stop") == "stop" && options.get("read-cache", "true") == "false" &&
           options.get("lazy-walk", "true") == "false";
}

// The reads of one stop. FreeRTOS: xSchedulerRunning; per list its item count and, if it holds tasks, its
// first item; the top priority; per task pvOwner, pxNext, pxCurrentTCB, ulTotalRunTime, pcTaskName and
// pxTopOfStack. ThreadX: _tx_thread_system_state, _tx_thread_current_ptr, _tx_thread_created_ptr; per
// thread the name pointer, the name, tx_thread_stack_ptr and tx_thread_created_next.
long expectedReads(const BenchOptions& options) {
    const long tasks = options.getNumber("tasks", 0);
    if (isFreeRtos(options)) {
        return 1 + options.getNumber("lists", 9) + options.getNumber("nonempty-lists", 5) + 1 + 6 * tasks;
    }
    return 3 + 4 * tasks;
}

std::string currentSymbol(const BenchOptions& options) {
    return isFreeRtos(options) ? "pxCurrentTCB" : "_tx_thread_current_ptr";
}

std::string firstTaskName(const BenchOptions& options) {
    return isFreeRtos(options) ? "Task000" : "Thread000";
}

unsigned int littleEndianWord(const std::string& hex) {
    unsigned int word = 0;
    for (int byte = 3; byte >= 0; --byte) {
        word = word << 8 | static_cast<unsigned int>(
                               std::stoul(hex.substr(static_cast<std::size_t>(byte) * 2, 2), nullptr, 16));
    }
    return word;
}

// tarnwick in front of a simulator of the image, with the symbols exchanged, the first stop (which never
// walks) and a second one behind it, whose thread list is checked.
struct Session {
    BenchRig rig;
    BenchLink link;
    unsigned short serverPort = 0;
    std::string expectedStop;
    long registerErrors = 0;

    Session(const BenchOptions& options) : rig(options.get("tarnwick"), options.get("target-sim")) {}

    bool open(const BenchOptions& options, const std::vector<std::string>& wrapper, int connectMs,
              BenchReport& report) {
        const std::string elf = options.get("elf");
        const std::vector<std::string> simArgs = {"--read-delay-ms", options.get("delay-ms", "0")};
        std::map<std::string, unsigned int> symbols;
        serverPort = rig.startTargetSim(elf, simArgs);
        unsigned short proxyPort =
            serverPort == 0
                ? 0
                : rig.startTarnwick(
                      serverPort,
                      {"--file", elf, "--debug_info_cache", rig.getScratch() + "/cache", "--rtos",
                       options.get("kernel"), "--rtos_variant", options.get("variant"), "--read_cache",
                       options.get("read-cache", "true"), "--lazy_walk", options.get("lazy-walk", "true")},
                      wrapper);
        if (!report.check(proxyPort != 0 && rig.readSymbols(elf, symbols), "start: " + rig.getError()) ||
            !report.check(link.connect(proxyPort, connectMs) && link.startNoAckMode(),
                          "connect: " + rig.tarnwick().describe())) {
            return false;
        }
        int asked = 0;
        std::string reply;
        if (!report.check(BenchRig::answerSymbols(link, symbols, asked), "qSymbol exchange") ||
            !report.check(link.exchange("?", reply) && reply == "T05thread:1;", "first stop: " + reply)) {
            return false;
        }
        char request[32];
        std::snprintf(request, sizeof request, "m%x,4", symbols[currentSymbol(options)]);
        if (!report.check(link.exchange(request, reply) && reply.size() == 8, "current task: " + reply)) {
            return false;
        }
        char stop[48];
        std::snprintf(stop, sizeof stop, "T05thread:%x;", littleEndianWord(reply));
        expectedStop = stop;
        if (!report.check(link.exchange("c", reply) && reply == expectedStop,
                          "second stop: " + reply + " instead of " + expectedStop) ||
            !checkThreadCount(options, report)) {
            return false;
        }
        // The first g teaches tarnwick the length of a register reply, target.xml their order.
        std::string description;
        return report.check(link.exchange("g", reply) && !reply.empty() && reply[0] != 'E', "g: " + reply) &&
               report.check(link.exchange("qXfer:features:read:target.xml:0,3fff", description) &&
                                !description.empty(),
                            "target.xml");
    }

    // One measured stop of the scenario.
    bool scenarioStop(const std::string& scenario) {
        std::string reply;
        if (!link.exchange(scenario == "stepi" ? "s" : "c", reply) || reply != expectedStop) {
            return false;
        }
        if (scenario == "stepi") {
            return link.exchange("g", reply) && !reply.empty() && reply[0] != 'E';
        }
        if (scenario != "threads") {
            return true;
        }
        std::vector<std::string> ids;
        for (bool first = true;
             link.exchange(first ? "qfThreadInfo" : "qsThreadInfo", reply) && reply[0] == 'm';
             first = false) {
            std::string::size_type start = 1;
            for (std::string::size_type comma = reply.find(',', start);; comma = reply.find(',', start)) {
                ids.push_back(
                    reply.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
                if (comma == std::string::npos) {
                    break;
                }
                start = comma + 1;
            }
        }
        // Every thread of the images has a readable frame: an error reply is counted, and fails the run.
        for (const std::string& id : ids) {
            if (!link.exchange("Hg" + id, reply) || reply != "OK" || !link.exchange("g", reply) ||
                reply.empty()) {
                return false;
            }
            registerErrors += reply[0] == 'E' ? 1 : 0;
        }
        return !ids.empty();
    }

    bool checkThreadCount(const BenchOptions& options, BenchReport& report) {
        std::string reply;
        long threads = 0;
        for (bool first = true;
             link.exchange(first ? "qfThreadInfo" : "qsThreadInfo", reply) && reply[0] == 'm';
             first = false) {
            threads += 1 + static_cast<long>(std::count(reply.begin(), reply.end(), ','));
        }
        return report.check(reply == "l" && threads == options.getNumber("tasks", 0),
                            "thread list of " + std::to_string(threads) + " threads");
    }

    bool stops(const std::string& scenario, long count, Samples& times, long rssEvery, Samples& resident) {
        ProcessUsage usage;
        for (long i = 1; i <= count; ++i) {
            auto start = std::chrono::steady_clock::now();
            if (!scenarioStop(scenario)) {
                return false;
            }
            times.add(microsecondsSince(start));
            if (rssEvery > 0 && i % rssEvery == 0 && usage.read(rig.tarnwick().getPid())) {
                resident.add(static_cast<double>(usage.residentKb));
            }
        }
        return true;
    }

    bool stateCommands(const BenchOptions& options, long count, Samples& times, BenchReport& report) {
        std::string output;
        for (long i = 0; i < count; ++i) {
            auto start = std::chrono::steady_clock::now();
            if (!report.check(BenchRig::monitor(link, "rtos state", output) &&
                                  output.find(firstTaskName(options)) != std::string::npos,
                              "monitor rtos state: " + output.substr(0, 200))) {
                return false;
            }
            times.add(microsecondsSince(start));
        }
        return true;
    }

    bool resetReads() {
        std::string output;
        return BenchRig::monitor(link, "sim reset-stats", output);
    }
};

bool referenceRoundTrips(BenchLink& link, long count, Samples& times) {
    std::string reply;
    for (long i = 0; i < count; ++i) {
        auto start = std::chrono::steady_clock::now();
        if (!link.exchange(kReferenceRead, reply) || reply.size() != 8) {
            return false;
        }
        times.add(microsecondsSince(start));
    }
    return true;
}

bool timedRun(const BenchOptions& options, BenchReport& report) {
    const long stops = options.getNumber("stops", 50);
    const long states = options.getNumber("state", 0);
    const long rssEvery = options.getNumber("rss-every", 0);
    const long delayMs = options.getNumber("delay-ms", 0);
    const long reference = options.getNumber("reference", delayMs == 0 ? 1000 : 20);
    const long blocks = std::min(stops, 10L);
    const long reads = expectedReads(options);
    Session session(options);
    if (!session.open(options, {}, kConnectMs, report)) {
        return false;
    }
    pid_t proxy = session.rig.tarnwick().getPid();
    BenchLink direct;
    unsigned short directPort =
        session.rig.startTargetSim(options.get("elf"), {"--read-delay-ms", options.get("delay-ms", "0")});
    if (!report.check(directPort != 0 && direct.connect(directPort, kConnectMs) && direct.startNoAckMode(),
                      "reference simulator: " + session.rig.getError()) ||
        !report.check(session.resetReads(), "sim reset-stats")) {
        return false;
    }

    // Blocks of stops alternate with blocks of single reads: straight to a simulator of its own (the round
    // trip of the floor), and through tarnwick (the part of a measured stop that is not the walk: c
    // forwarded, the stop reply coming back). Only the stop blocks are charged with tarnwick's CPU time.
    Samples directTimes;
    Samples throughTimes;
    Samples stopTimes;
    Samples resident;
    double userSeconds = 0;
    double systemSeconds = 0;
    double runSeconds = 0;
    long done = 0;
    for (long block = 0; block < blocks; ++block) {
        long count = stops * (block + 1) / blocks - done;
        ProcessUsage before;
        ProcessUsage after;
        if (!report.check(referenceRoundTrips(direct, reference / blocks, directTimes) &&
                              referenceRoundTrips(session.link, reference / blocks, throughTimes),
                          "reference round trips") ||
            !report.check(
                before.read(proxy) &&
                    session.stops(options.get("scenario", "stop"), count, stopTimes, rssEvery, resident) &&
                    after.read(proxy),
                "stops")) {
            return false;
        }
        userSeconds += after.userSeconds - before.userSeconds;
        systemSeconds += after.systemSeconds - before.systemSeconds;
        runSeconds += after.runSeconds - before.runSeconds;
        done += count;
    }
    unsigned long simulatorReads = 0;
    if (!report.check(BenchRig::simulatorReads(session.link, simulatorReads), "sim stats")) {
        return false;
    }
    simulatorReads -= static_cast<unsigned long>(throughTimes.size());
    ProcessUsage last;
    last.read(proxy);

    const double perStop = 1e6 / static_cast<double>(stops);
    const double rtt = directTimes.median();
    const double readsPerStop = static_cast<double>(simulatorReads) / static_cast<double>(stops);
    const double floor = (exactWalks(options) ? static_cast<double>(reads) : readsPerStop) * rtt;
    const double walk = stopTimes.median() - throughTimes.median();
    report.add("kernel", options.get("kernel"));
    report.add("tasks", static_cast<double>(options.getNumber("tasks", 0)));
    report.add("delay_ms", static_cast<double>(delayMs));
    report.add("stops", static_cast<double>(stops));
    report.add("scenario", options.get("scenario", "stop"));
    report.add("read_cache", options.get("read-cache", "true"));
    report.add("lazy_walk", options.get("lazy-walk", "true"));
    report.add("reads_per_stop", readsPerStop);
    report.add("register_errors_per_stop",
               static_cast<double>(session.registerErrors) / static_cast<double>(stops));
    report.check(session.registerErrors == 0,
                 "registers: " + std::to_string(session.registerErrors) + " error replies to g");
    if (exactWalks(options)) {
        report.add("reads_expected", static_cast<double>(reads));
        report.check(simulatorReads == static_cast<unsigned long>(reads * stops),
                     "reads: " + std::to_string(simulatorReads) + " for " + std::to_string(stops) +
                         " stops, expected " + std::to_string(reads) + " each");
    }
    report.add("read_rtt_direct_median_us", rtt);
    report.add("read_rtt_through_median_us", throughTimes.median());
    report.add("stop_c_to_T_median_us", stopTimes.median());
    report.add("stop_c_to_T_p90_us", stopTimes.percentile(0.9));
    report.add("stop_time_median_us", walk);
    report.add("floor_us", floor);
    report.add("stop_over_floor", walk / floor);
    report.add("proxy_cpu_per_stop_us", runSeconds * perStop);
    report.add("proxy_cpu_user_per_stop_us", userSeconds * perStop);
    report.add("proxy_cpu_system_per_stop_us", systemSeconds * perStop);
    report.add("proxy_cpu_per_read_us", runSeconds * perStop / readsPerStop);
    report.add("proxy_cpu_over_floor", runSeconds * perStop / floor);
    report.add("proxy_user_over_floor", userSeconds * perStop / floor);
    if (rssEvery > 0) {
        report.add("rss_samples", static_cast<double>(resident.size()));
        report.add("rss_min_kb", resident.minimum());
        report.add("rss_max_kb", resident.percentile(1));
        report.add("peak_rss_kb", static_cast<double>(last.peakResidentKb));
    }

    if (states > 0) {
        Samples stateTimes;
        unsigned long stateReads = 0;
        if (!session.resetReads() || !session.stateCommands(options, states, stateTimes, report) ||
            !report.check(BenchRig::simulatorReads(session.link, stateReads), "sim stats")) {
            return false;
        }
        report.add("state_commands", static_cast<double>(states));
        report.add("state_median_us", stateTimes.median());
        report.add("state_reads", static_cast<double>(stateReads) / static_cast<double>(states));
        report.add("state_floor_us", static_cast<double>(stateReads) / static_cast<double>(states) * rtt);
    }
    return true;
}

// tarnwick under callgrind for a session of the given number of stops and state commands.
bool countedSession(const BenchOptions& options, long stops, long states, const std::string& out,
                    BenchReport& report) {
    Session session(options);
    std::vector<std::string> wrapper = {options.get("callgrind"), "--tool=callgrind",
                                        "--callgrind-out-file=" + out};
    Samples times;
    Samples ignored;
    bool done = session.open(options, wrapper, kValgrindConnectMs, report) &&
                session.stops("stop", stops, times, 0, ignored) &&
                session.stateCommands(options, states, times, report);
    session.link.close();
    done = session.rig.tarnwick().waitExit(kValgrindExitMs) && done;
    return report.check(done && BenchRig::callgrindInstructions(out) > 0, "callgrind session");
}

bool callgrindRun(const BenchOptions& options, BenchReport& report) {
    const long shortStops = 2;
    const long longStops = options.getNumber("stops", 12);
    const long states = options.getNumber("state", 0);
    const std::string prefix = options.get("callgrind-out", "/tmp/tarnwick-bench-callgrind") + "." +
                               options.get("kernel") + "." + options.get("tasks");
    if (!countedSession(options, shortStops, 0, prefix + ".short.out", report) ||
        !countedSession(options, longStops, 0, prefix + ".long.out", report) ||
        (states > 0 && !countedSession(options, shortStops, states, prefix + ".state.out", report))) {
        return false;
    }
    const double shortTotal = static_cast<double>(BenchRig::callgrindInstructions(prefix + ".short.out"));
    const double perStop =
        (static_cast<double>(BenchRig::callgrindInstructions(prefix + ".long.out")) - shortTotal) /
        static_cast<double>(longStops - shortStops);
    report.add("kernel", options.get("kernel"));
    report.add("tasks", static_cast<double>(options.getNumber("tasks", 0)));
    report.add("instructions_per_stop", perStop);
    report.add("instructions_per_read", perStop / static_cast<double>(expectedReads(options)));
    if (states > 0) {
        report.add(
            "instructions_per_state",
            (static_cast<double>(BenchRig::callgrindInstructions(prefix + ".state.out")) - shortTotal) /
                static_cast<double>(states));
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    return BenchMain::run(argc, argv, {"StopCostBench.cpp", {"tarnwick", "target-sim", "elf", "kernel", "variant", "tasks"}, "stop-cost", timedRun, callgrindRun});
}
