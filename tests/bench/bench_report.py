#!/usr/bin/env python3
"""Report of the benchmark results (the JSON files that the registered bench tests write into bench-results/):
Markdown tables of the figures on standard output, and the stop-cost plots as SVG. Standard library only.

Usage: bench_report.py RESULTS_DIR [--svg FILE] [--svg-threads FILE]
"""

import argparse
import glob
import json
import math
import os
import sys

KERNELS = [("freertos", "FreeRTOS", "#1f5fa8"), ("threadx", "ThreadX", "#c8601a")]
TASKS = [10, 100, 500]
DELAYS = [0, 1]


def load(directory):
    results = {}
    for path in sorted(glob.glob(os.path.join(directory, "*.json"))):
        with open(path) as source:
            results[os.path.splitext(os.path.basename(path))[0]] = json.load(source)
    return results


def number(value, digits=1):
    if value is None:
        return "-"
    if abs(value) >= 100 or digits == 0:
        return "{:,.0f}".format(value)
    return "{:,.{}f}".format(value, digits)


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "|".join("---" for _ in header) + "|"]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines)


def passthrough_section(results):
    run = results.get("passthrough")
    if run is None:
        return ""
    rows = [
        ["small round trip (m, 4 bytes), median", number(run["rtt_direct_median_us"]) + " us",
         number(run["rtt_through_median_us"]) + " us", number(run["added_median_us"]) + " us"],
        ["small round trip, 99th percentile", number(run["rtt_direct_p99_us"]) + " us",
         number(run["rtt_through_p99_us"]) + " us", number(run["added_p99_us"]) + " us"],
        ["%d MB each way in 8 KB m packets, median of 1 MB blocks" % (run["megabytes_per_round"] * run["rounds"]),
         number(run["throughput_direct_mb_s"]) + " MB/s",
         number(run["throughput_through_mb_s"]) + " MB/s",
         "ratio %.2f" % run["throughput_ratio"]],
        ["the same, %d MB, at 1 ms per read" % (run["slow_megabytes_per_round"] * run["slow_rounds"]),
         number(run["slow_throughput_direct_mb_s"], 2) + " MB/s", number(run["slow_throughput_through_mb_s"], 2) + " MB/s",
         "ratio %.3f" % run["slow_throughput_ratio"]],
        ["round trip in acknowledgement mode, median", number(run["ack_rtt_direct_median_us"]) + " us",
         number(run["ack_rtt_through_median_us"]) + " us", number(run["ack_added_median_us"]) + " us"],
    ]
    text = table(["", "direct", "through tarnwick", "added"], rows)
    text += "\n\ntarnwick's CPU time: %s us per small round trip (user %s, system %s), %s us per MB read.\n" % (
        number(run["proxy_cpu_per_round_trip_total_us"]), number(run["proxy_cpu_per_round_trip_user_us"]),
        number(run["proxy_cpu_per_round_trip_system_us"]), number(run["proxy_cpu_per_megabyte_total_us"], 0))
    text += "Load average before / after: %s / %s; %d round trips each way.\n" % (
        run["load_before"], run["load_after"], run["round_trips_each"])
    floor = results.get("passthrough_floor")
    if floor is not None:
        text += ("The floor, a relay that only moves bytes (tests/bench/FloorRelay.cpp) in tarnwick's place: "
                 "%s us added per small round trip, throughput ratio %.2f, at 1 ms per read %.3f.\n" % (
                     number(floor["added_median_us"]), floor["throughput_ratio"], floor["slow_throughput_ratio"]))
    return text


def stop_runs(results):
    for kernel, label, _ in KERNELS:
        for tasks in TASKS:
            for delay in DELAYS:
                run = results.get("stops_%s_%d_%dms" % (kernel, tasks, delay))
                if run is not None:
                    yield kernel, label, tasks, delay, run


def stops_section(results):
    rows = []
    for kernel, label, tasks, delay, run in stop_runs(results):
        rows.append([label, tasks, delay, "%d (%d)" % (run["reads_per_stop"], run["reads_expected"]),
                     number(run["stop_time_median_us"] / 1000, 2), number(run["floor_us"] / 1000, 2),
                     "%.2f" % run["stop_over_floor"], number(run["read_rtt_direct_median_us"]),
                     number(run["proxy_cpu_per_stop_us"] / 1000, 2),
                     number(run["proxy_cpu_user_per_stop_us"] / 1000, 2),
                     "%.1f %%" % (100 * run["proxy_cpu_over_floor"]),
                     "%.1f %%" % (100 * run["proxy_user_over_floor"]), int(run["stops"]),
                     run["load_before"].split()[0]])
    return table(["kernel", "tasks", "delay ms", "reads/stop (expected)", "stop ms", "floor ms", "stop/floor",
                  "read RTT us", "CPU ms/stop", "user ms/stop", "CPU/floor", "user/floor", "stops", "load"],
                 rows)


def state_section(results):
    rows = []
    for delay in DELAYS:
        run = results.get("stops_freertos_100_%dms" % delay)
        if run is not None and "state_median_us" in run:
            rows.append([delay, int(run["state_commands"]), number(run["state_reads"], 0),
                         number(run["state_median_us"] / 1000, 2), number(run["state_floor_us"] / 1000, 2)])
    return table(["delay ms", "commands", "reads per command", "wall ms (median)", "reads x RTT ms"], rows)


def memory_section(results):
    run = results.get("memory_freertos_500")
    if run is None:
        return ""
    return ("%d stops of 500 tasks: resident size sampled every 50 stops between %s and %s kB; peak (VmHWM) "
            "%s kB. Load average before: %s.\n" % (run["stops"], number(run["rss_min_kb"], 0),
                                                  number(run["rss_max_kb"], 0), number(run["peak_rss_kb"], 0),
                                                  run["load_before"]))


def callgrind_section(results):
    text = ""
    run = results.get("callgrind_passthrough")
    if run is not None:
        rows = [[mode, number(run[mode + "_instructions_per_small_packet"], 0),
                 number(run[mode + "_instructions_per_8k_exchange"], 0)] for mode in ("intercept", "bypass")]
        text += table(["mode", "instructions per small packet", "instructions per 8 KB exchange"], rows) + "\n\n"
    rows = []
    for kernel, label, _ in KERNELS:
        for tasks in TASKS:
            cg = results.get("callgrind_stops_%s_%d" % (kernel, tasks))
            if cg is not None:
                rows.append([label, tasks, number(cg["instructions_per_stop"], 0),
                             number(cg["instructions_per_read"], 0),
                             number(cg.get("instructions_per_state"), 0)])
    if rows:
        text += table(["kernel", "tasks", "instructions per stop", "per read", "per monitor rtos state"], rows)
    return text


def plot(path, title, panels):
    """panels: (caption, series) pairs; series: (label, colour, points, dashed), points (tasks, ms)."""
    width, height = 960, 450
    panel_w, panel_h = 360, 300
    left, top = 80, 50
    out = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" font-family="sans-serif" '
           'font-size="12">' % (width, height),
           '<rect width="100%" height="100%" fill="white"/>',
           '<text x="%d" y="22" font-size="15">%s</text>' % (left, title)]
    legend = []
    for panel, (caption, series) in enumerate(panels):
        values = [v for _, _, points, _ in series for _, v in points if v > 0]
        if not values:
            continue
        low = 10 ** math.floor(math.log10(min(values)))
        high = 10 ** math.ceil(math.log10(max(values)))
        x0 = left + panel * (panel_w + 90)

        def sx(tasks):
            return x0 + (math.log10(tasks) - 1) / (math.log10(500) - 1) * panel_w

        def sy(ms):
            return top + panel_h - (math.log10(ms) - math.log10(low)) / (math.log10(high) - math.log10(low)) * panel_h

        out.append('<rect x="%d" y="%d" width="%d" height="%d" fill="none" stroke="#888"/>' % (x0, top, panel_w,
                                                                                               panel_h))
        out.append('<text x="%d" y="%d">%s</text>' % (x0, top - 8, caption))
        decade = low
        while decade <= high * 1.0001:
            y = sy(decade)
            out.append('<line x1="%d" y1="%.1f" x2="%d" y2="%.1f" stroke="#ddd"/>' % (x0, y, x0 + panel_w, y))
            out.append('<text x="%d" y="%.1f" text-anchor="end">%g ms</text>' % (x0 - 5, y + 4, decade))
            decade *= 10
        for tasks in TASKS:
            x = sx(tasks)
            out.append('<line x1="%.1f" y1="%d" x2="%.1f" y2="%d" stroke="#ddd"/>' % (x, top, x, top + panel_h))
            out.append('<text x="%.1f" y="%d" text-anchor="middle">%d</text>' % (x, top + panel_h + 16, tasks))
        out.append('<text x="%.1f" y="%d" text-anchor="middle">tasks / threads</text>' % (x0 + panel_w / 2,
                                                                                         top + panel_h + 34))
        for label, colour, points, dashed in series:
            dash = ' stroke-dasharray="6,4"' if dashed else ""
            if (label, colour, dashed) not in legend:
                legend.append((label, colour, dashed))
            if len(points) > 1:
                path_d = " ".join("%s%.1f,%.1f" % ("M" if i == 0 else "L", sx(t), sy(v))
                                  for i, (t, v) in enumerate(points))
                out.append('<path d="%s" fill="none" stroke="%s" stroke-width="2"%s/>' % (path_d, colour, dash))
            if not dashed:
                for tasks, value in points:
                    out.append('<circle cx="%.1f" cy="%.1f" r="3.5" fill="%s"><title>%s %d tasks: %.2f ms</title>'
                               '</circle>' % (sx(tasks), sy(value), colour, label, tasks, value))
    legend_y = top + panel_h + 60
    for index, (label, colour, dashed) in enumerate(legend):
        x = left + (index // 2) * 330 + (index % 2) * 150
        dash = ' stroke-dasharray="6,4"' if dashed else ""
        out.append('<line x1="%d" y1="%d" x2="%d" y2="%d" stroke="%s" stroke-width="2"%s/>' % (
            x, legend_y, x + 30, legend_y, colour, dash))
        out.append('<text x="%d" y="%d">%s</text>' % (x + 36, legend_y + 4, label))
    out.append("</svg>")
    with open(path, "w") as target:
        target.write("\n".join(out) + "\n")


def points(results, name, key, scale=1000.0):
    found = []
    for tasks in TASKS:
        run = results.get(name % tasks)
        if run is not None:
            found.append((tasks, run[key] / scale))
    return found


def svg_plot(results, path):
    panels = []
    for delay in DELAYS:
        series = []
        for kernel, label, colour in KERNELS:
            name = "stops_%s_%%d_%dms" % (kernel, delay)
            series.append((label + " stop time", colour, points(results, name, "stop_time_median_us"), False))
            series.append((label + " floor", colour, points(results, name, "floor_us"), True))
        panels.append(("read delay %d ms" % delay, series))
    plot(path, "Stop time against tasks; dashed: reads x measured read round trip", panels)


def threads_plot(results, path):
    panels = []
    for delay in DELAYS:
        series = []
        for kernel, label, colour in KERNELS:
            for mode, suffix, dashed in (("default", "", False), ("exact", " one read per value", True)):
                name = "threads_%s_%%d_%dms_%s" % (kernel, delay, mode)
                series.append((label + suffix, colour, points(results, name, "stop_c_to_T_median_us"), dashed))
        panels.append(("read delay %d ms" % delay, series))
    plot(path, "Stop, thread list and every thread's registers; dashed: --read_cache false --lazy_walk false",
         panels)


def scenarios_section(results):
    rows = []
    for scenario in ("threads", "stepi"):
        for kernel, label, _ in KERNELS:
            for delay in DELAYS:
                for tasks in TASKS:
                    exact = results.get("%s_%s_%d_%dms_exact" % (scenario, kernel, tasks, delay))
                    default = results.get("%s_%s_%d_%dms_default" % (scenario, kernel, tasks, delay))
                    if exact is None or default is None:
                        continue
                    rows.append([scenario, label, str(tasks), str(delay), number(exact["reads_per_stop"], 0),
                                 number(default["reads_per_stop"], 0),
                                 number(exact["stop_c_to_T_median_us"] / 1000, 1),
                                 number(default["stop_c_to_T_median_us"] / 1000, 2),
                                 number(default["stop_c_to_T_median_us"] / exact["stop_c_to_T_median_us"], 2)])
    if not rows:
        return "No runs.\n"
    return table(["scenario", "kernel", "tasks", "delay ms", "reads/stop opt-out", "reads/stop default",
                  "ms/stop opt-out", "ms/stop default", "default/opt-out"], rows)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results")
    parser.add_argument("--svg")
    parser.add_argument("--svg-threads")
    args = parser.parse_args()
    results = load(args.results)
    if not results:
        sys.exit("no results in " + args.results)
    for title, section in (("Pass-through", passthrough_section(results)), ("Stop cost", stops_section(results)),
                           ("Thread list and stepi, opt-out and default", scenarios_section(results)),
                           ("monitor rtos state, 100 FreeRTOS tasks", state_section(results)),
                           ("Memory", memory_section(results)), ("Instructions (callgrind)", callgrind_section(results))):
        print("### " + title + "\n\n" + section.rstrip() + "\n")
    failed = [name for name, run in results.items() if run.get("failures")]
    if failed:
        print("Runs with failed checks: " + ", ".join(failed))
    if args.svg:
        svg_plot(results, args.svg)
    if args.svg_threads:
        threads_plot(results, args.svg_threads)


if __name__ == "__main__":
    main()
