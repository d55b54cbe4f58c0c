#!/usr/bin/env python3
"""Turns lxk_bench's JSON output into the results table of docs/performance.md.

    build-rel/bench/lxk_bench --benchmark_format=json --benchmark_out=bench.json \
        --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
    bench/report.py bench.json

Each row pairs a benchmark with its anchor and gives the ratio of their CPU
times; with repetitions, the medians are used.  The anchor is the same name
with ".anchor" added to the first part, or inserted before its last dotted
component (LinMatch.CI -> LinMatch.anchor.CI).  INSTR's exact searches
(Instr.right, Instr.left) take the faster of their memmem and find anchors,
its linguistic searches (Instr.CI, Instr.AI) ICU's string search on the same
text (LinMatch.anchor.<collation>).
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


def anchor_time(times, first, rest):
    if first in ("Instr.right", "Instr.left"):
        found = [times[a] for a in (f"Instr.memmem.anchor/{rest}", f"Instr.find.anchor/{rest}")
                 if a in times]
        return min(found) if found else None
    if first in ("Instr.CI", "Instr.AI"):
        return times.get(f"LinMatch.anchor.{first[len('Instr.'):]}/{rest}")
    head, _, last = first.rpartition(".")
    for name in (first + ".anchor/" + rest, f"{head}.anchor.{last}/{rest}" if head else None):
        if name in times:
            return times[name]
    return None


def main():
    times = cpu_times(sys.argv[1])
    print("| benchmark | set | size | lxk (ns) | anchor (ns) | lxk / anchor |")
    print("|---|---|---|---:|---:|---:|")
    for name, t in times.items():
        first, _, rest = name.partition("/")
        if ".anchor" in first:
            continue
        anchor = anchor_time(times, first, rest)
        if anchor is None:
            continue
        charset, _, size = rest.partition("/")
        fmt = (lambda v: f"{v:,.1f}") if t < 100 else (lambda v: f"{v:,.0f}")
        print(f"| {first} | {charset} | {size} | {fmt(t)} | {fmt(anchor)} | {t / anchor:.2f} |")


if __name__ == "__main__":
    main()
