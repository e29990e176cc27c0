// Pass-through cost: a client playing GDB reads target memory in GDB-sized m packets and runs small round
// trips, once straight against a target simulator and once through tarnwick in front of a second,
// identical simulator, in the same run and in alternating blocks, so that a change of the machine's load
// hits both alike. A third pair runs in acknowledgement mode, as QEMU's gdbstub does.
//
// Usage: tarnwick_bench_passthrough --tarnwick PATH --target-sim PATH --elf sim_cm3.elf [--megabytes 16]
//        [--round-trips 20000] [--block 1000] [--rounds 5] [--ack-round-trips 40] [--slow-megabytes 4]
//        [--slow-rounds 3] [--bypass] [--callgrind valgrind] [--json FILE]
//
// Each round reads the megabytes on each side in blocks of a megabyte, the sides taking turns per block;
// the throughput is the median over the blocks.
//
// The reads are timed once more against simulators that take a millisecond per read, a server about as
// fast as a debug probe: what tarnwick adds per packet is the same, the share of it is not.
//
// With --callgrind, nothing is timed: tarnwick runs under callgrind for sessions of different lengths, and
// the difference of their instruction counts gives the instructions per forwarded packet.

#include "BenchLink.h"
#include "BenchMain.h"
#include "BenchOptions.h"
#include "BenchReport.h"
#include "BenchRig.h"
#include "ProcessUsage.h"
#include "Samples.h"

#include <chrono>
#include <cstdio>
#include <functional>

namespace {

const unsigned int kRamStart = 0x20000000;
const char kSmallRead[] = "m20000000,4";
const std::size_t kSmallReply = 8;
// What GDB asks for at a time when the server offers PacketSize=4000: half of it, two digits per byte.
const unsigned int kPacketBytes = 0x2000;
const int kConnectMs = 10000;
// The unit of the timed reads: long enough to time, short enough that a burst of load hits few of them.
const long kBlockBytes = 1024 * 1024;
const int kValgrindConnectMs = 60000;
const int kValgrindExitMs = 120000;

double microsecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

bool smallRoundTrips(BenchLink& link, long count, Samples& samples) {
    std::string reply;
    for (long i = 0; i < count; ++i) {
        auto start = std::chrono::steady_clock::now();
        if (!link.exchange(kSmallRead, reply) || reply.size() != kSmallReply) {
            return false;
        }
        samples.add(microsecondsSince(start));
    }
    return true;
}

bool readMemory(BenchLink& link, long bytes, double& seconds) {
    std::string reply;
    char request[32];
    auto start = std::chrono::steady_clock::now();
    for (unsigned int offset = 0; offset < bytes; offset += kPacketBytes) {
        std::snprintf(request, sizeof request, "m%x,%x", kRamStart + offset, kPacketBytes);
        if (!link.exchange(request, reply) || reply.size() != 2 * kPacketBytes) {
            return false;
        }
    }
    seconds = microsecondsSince(start) / 1e6;
    return true;
}

struct Side {
    const char* name;
    BenchLink link;
    Samples latency;
    Samples throughput;
};

// Runs work on both sides in turn, the order swapped each time, and charges tarnwick's CPU time to the
// through side.
bool alternate(Side& direct, Side& through, long turns, const std::function<bool(Side&)>& work) {
    for (long turn = 0; turn < turns; ++turn) {
        Side& first = turn % 2 == 0 ? direct : through;
        Side& second = turn % 2 == 0 ? through : direct;
        if (!work(first) || !work(second)) {
            return false;
        }
    }
    return true;
}

void addCpu(BenchReport& report, const std::string& prefix, const ProcessUsage& before,
            const ProcessUsage& after, double units) {
    report.add(prefix + "_user_us", (after.userSeconds - before.userSeconds) * 1e6 / units);
    report.add(prefix + "_system_us", (after.systemSeconds - before.systemSeconds) * 1e6 / units);
    report.add(prefix + "_total_us", (after.runSeconds - before.runSeconds) * 1e6 / units);
}

// Reads one block on the side, adding its throughput.
bool timedBlock(Side& side) {
    double seconds = 0;
    if (!readMemory(side.link, kBlockBytes, seconds)) {
        return false;
    }
    side.throughput.add(static_cast<double>(kBlockBytes) / (1024.0 * 1024.0) / seconds);
    return true;
}

// Two simulators of elf started with simArgs, one reached directly and one through a tarnwick started with
// tarnwickArgs, and a link to each.
bool connectSides(BenchRig& rig, const std::string& elf, const std::vector<std::string>& simArgs,
                  const std::vector<std::string>& tarnwickArgs, Side& direct, Side& through, BenchReport& report) {
    unsigned short directPort = rig.startTargetSim(elf, simArgs);
    unsigned short serverPort = rig.startTargetSim(elf, simArgs);
    unsigned short proxyPort = serverPort == 0 ? 0 : rig.startTarnwick(serverPort, tarnwickArgs);
    return report.check(directPort != 0 && proxyPort != 0, "start: " + rig.getError()) &&
           report.check(direct.link.connect(directPort, kConnectMs) && through.link.connect(proxyPort, kConnectMs),
                        std::string("connect ") + through.name + ": " + rig.tarnwick().describe());
}

bool timedRun(const BenchOptions& options, BenchReport& report) {
    const std::string elf = options.get("elf");
    const long megabytes = options.getNumber("megabytes", 16);
    const long roundTrips = options.getNumber("round-trips", 20000);
    const long block = options.getNumber("block", 1000);
    const long rounds = options.getNumber("rounds", 5);
    const long ackRoundTrips = options.getNumber("ack-round-trips", 40);
    const std::vector<std::string> simArgs = {"--ram", "0x20000000:0x1000000"};
    BenchRig rig(options.get("tarnwick"), options.get("target-sim"));
    std::vector<std::string> tarnwickArgs = {
        "--file", elf,        "--debug_info_cache", rig.getScratch() + "/cache",
        "--rtos", "freertos", "--rtos_variant",     "ARM_CM3"};
    if (options.has("bypass")) {
        tarnwickArgs.insert(tarnwickArgs.end(), {"--bypass", "true"});
    }

    Side direct{"direct", {}, {}, {}};
    Side through{"through", {}, {}, {}};
    if (!connectSides(rig, elf, simArgs, tarnwickArgs, direct, through, report) ||
        !report.check(direct.link.startNoAckMode() && through.link.startNoAckMode(), "QStartNoAckMode")) {
        return false;
    }
    pid_t proxy = rig.tarnwick().getPid();

    ProcessUsage before;
    ProcessUsage after;
    before.read(proxy);
    bool latencyDone = alternate(direct, through, 2 * roundTrips / block / 2, [block](Side& side) {
        return smallRoundTrips(side.link, block, side.latency);
    });
    after.read(proxy);
    if (!report.check(latencyDone, "small round trips")) {
        return false;
    }
    double directMedian = direct.latency.median();
    double throughMedian = through.latency.median();
    report.add("round_trips_each", static_cast<double>(through.latency.size()));
    report.add("rtt_direct_median_us", directMedian);
    report.add("rtt_direct_p99_us", direct.latency.percentile(0.99));
    report.add("rtt_through_median_us", throughMedian);
    report.add("rtt_through_p99_us", through.latency.percentile(0.99));
    report.add("added_median_us", throughMedian - directMedian);
    report.add("added_p99_us", through.latency.percentile(0.99) - direct.latency.percentile(0.99));
    addCpu(report, "proxy_cpu_per_round_trip", before, after, static_cast<double>(through.latency.size()));

    before.read(proxy);
    bool readDone = alternate(direct, through, rounds * megabytes, timedBlock);
    after.read(proxy);
    if (!report.check(readDone, "memory reads")) {
        return false;
    }
    report.add("megabytes_per_round", static_cast<double>(megabytes));
    report.add("rounds", static_cast<double>(rounds));
    report.add("throughput_direct_mb_s", direct.throughput.median());
    report.add("throughput_through_mb_s", through.throughput.median());
    report.add("throughput_ratio", through.throughput.median() / direct.throughput.median());
    addCpu(report, "proxy_cpu_per_megabyte", before, after, static_cast<double>(megabytes * rounds));

    const long slowMegabytes = options.getNumber("slow-megabytes", 4);
    const std::vector<std::string> slowSimArgs = {"--ram", "0x20000000:0x1000000", "--read-delay-ms", "1"};
    Side slowDirect{"slow direct", {}, {}, {}};
    Side slowThrough{"slow through", {}, {}, {}};
    if (!connectSides(rig, elf, slowSimArgs, tarnwickArgs, slowDirect, slowThrough, report) ||
        !report.check(slowDirect.link.startNoAckMode() && slowThrough.link.startNoAckMode(),
                      "QStartNoAckMode at 1 ms per read")) {
        return false;
    }
    bool slowDone =
        alternate(slowDirect, slowThrough, options.getNumber("slow-rounds", 3) * slowMegabytes, timedBlock);
    if (!report.check(slowDone, "memory reads at 1 ms per read")) {
        return false;
    }
    report.add("slow_megabytes_per_round", static_cast<double>(slowMegabytes));
    report.add("slow_rounds", static_cast<double>(options.getNumber("slow-rounds", 3)));
    report.add("slow_throughput_direct_mb_s", slowDirect.throughput.median());
    report.add("slow_throughput_through_mb_s", slowThrough.throughput.median());
    report.add("slow_throughput_ratio", slowThrough.throughput.median() / slowDirect.throughput.median());

    // Acknowledgement mode: every frame is answered by a '+' of its own write, both ways.
    Side ackDirect{"ack direct", {}, {}, {}};
    Side ackThrough{"ack through", {}, {}, {}};
    const std::vector<std::string> ackSimArgs = {"--ram", "0x20000000:0x1000000", "--ack-mode"};
    if (!connectSides(rig, elf, ackSimArgs, tarnwickArgs, ackDirect, ackThrough, report)) {
        return false;
    }
    ackDirect.link.setAcknowledging(true);
    ackThrough.link.setAcknowledging(true);
    bool ackDone = alternate(ackDirect, ackThrough, 2, [ackRoundTrips](Side& side) {
        return smallRoundTrips(side.link, ackRoundTrips / 2, side.latency);
    });
    if (!report.check(ackDone, "round trips in acknowledgement mode")) {
        return false;
    }
    report.add("ack_rtt_direct_median_us", ackDirect.latency.median());
    report.add("ack_rtt_through_median_us", ackThrough.latency.median());
    report.add("ack_added_median_us", ackThrough.latency.median() - ackDirect.latency.median());
    return true;
}

// One tarnwick session under callgrind: count small round trips and megabytes of GDB-sized reads.
bool countedSession(const BenchOptions& options, bool bypass, long count, long megabytes,
                    const std::string& out, BenchReport& report) {
    const std::string elf = options.get("elf");
    BenchRig rig(options.get("tarnwick"), options.get("target-sim"));
    std::vector<std::string> args = {"--file", elf,        "--debug_info_cache", rig.getScratch() + "/cache",
                                     "--rtos", "freertos", "--rtos_variant",     "ARM_CM3"};
    if (bypass) {
        args.insert(args.end(), {"--bypass", "true"});
    }
    std::vector<std::string> wrapper = {options.get("callgrind"), "--tool=callgrind",
                                        "--callgrind-out-file=" + out};
    unsigned short serverPort = rig.startTargetSim(elf, {"--ram", "0x20000000:0x1000000"});
    unsigned short proxyPort = serverPort == 0 ? 0 : rig.startTarnwick(serverPort, args, wrapper);
    BenchLink link;
    Samples ignored;
    double seconds = 0;
    bool done = proxyPort != 0 && link.connect(proxyPort, kValgrindConnectMs) && link.startNoAckMode() &&
                smallRoundTrips(link, count, ignored) && readMemory(link, megabytes * 1024 * 1024, seconds);
    link.close();
    // callgrind writes its counts when tarnwick ends, which it does when its client goes.
    done = rig.tarnwick().waitExit(kValgrindExitMs) && done;
    return report.check(done && BenchRig::callgrindInstructions(out) > 0,
                        "callgrind session: " + rig.getError());
}

bool callgrindRun(const BenchOptions& options, BenchReport& report) {
    const long shortCount = 1000;
    const long longCount = 5000;
    const long megabytes = 4;
    const std::string prefix = options.get("callgrind-out", "/tmp/tarnwick-bench-callgrind");
    const double packetsPerMegabyte = 1024.0 * 1024.0 / kPacketBytes;
    for (bool bypass : {false, true}) {
        const std::string mode = bypass ? "bypass" : "intercept";
        const std::string shortOut = prefix + "." + mode + ".short.out";
        const std::string longOut = prefix + "." + mode + ".long.out";
        const std::string readOut = prefix + "." + mode + ".read.out";
        if (!countedSession(options, bypass, shortCount, 0, shortOut, report) ||
            !countedSession(options, bypass, longCount, 0, longOut, report) ||
            !countedSession(options, bypass, shortCount, megabytes, readOut, report)) {
            return false;
        }
        double shortTotal = static_cast<double>(BenchRig::callgrindInstructions(shortOut));
        double perRoundTrip = (static_cast<double>(BenchRig::callgrindInstructions(longOut)) - shortTotal) /
                              (longCount - shortCount);
        double perRead = (static_cast<double>(BenchRig::callgrindInstructions(readOut)) - shortTotal) /
                         (megabytes * packetsPerMegabyte);
        report.add(mode + "_instructions_session", shortTotal);
        report.add(mode + "_instructions_per_round_trip", perRoundTrip);
        report.add(mode + "_instructions_per_small_packet", perRoundTrip / 2);
        report.add(mode + "_instructions_per_8k_exchange", perRead);
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    return BenchMain::run(argc, argv, {"PassThroughBench.cpp", {"tarnwick", "target-sim", "elf"}, "pass-through", timedRun, callgrindRun});
}
