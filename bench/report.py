#!/usr/bin/env python3
"""Turns lxk_bench's JSON output into the results table of docs/performance.md.

    build-rel/bench/lxk_bench --benchmark_format=json --benchmark_out=bench.json \
        --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
    bench/report.py bench.json

Each row pairs a benchmark with its anchor (same name with ".anchor" added
to the first part) and gives the ratio of their CPU times; with repetitions,
the medians are used.
"""
import json
import sys


def cpu_times(path):
    with open(path) as f:
        data = json.load(f)
    times = {}
    for b in data["benchmarks"]:
        name = b["name"]
        if b.get("run_type") == "aggregate":
            if b.get("aggregate_name") != "median":
                continue
            name = name.rsplit("_", 1)[0]
        times[name] = b["cpu_time"]
    return times


def main():
    times = cpu_times(sys.argv[1])
    print("| benchmark | set | size | lxk (ns) | anchor (ns) | lxk / anchor |")
    print("|---|---|---|---:|---:|---:|")
    for name, t in times.items():
        first, _, rest = name.partition("/")
        if first.endswith(".anchor"):
            continue
        anchor = times.get(first + ".anchor/" + rest)
        if anchor is None:
            continue
        charset, _, size = rest.partition("/")
        fmt = (lambda v: f"{v:,.1f}") if t < 100 else (lambda v: f"{v:,.0f}")
        print(f"| {first} | {charset} | {size} | {fmt(t)} | {fmt(anchor)} | {t / anchor:.2f} |")


if __name__ == "__main__":
    main()
