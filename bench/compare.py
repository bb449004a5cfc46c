#!/usr/bin/env python3
"""Sets kzcommon beside its peers from one Google Benchmark JSON run.

Usage: compare.py RESULT.json
where RESULT.json comes from
  kzcommon_bench --benchmark_repetitions=5 --benchmark_out=RESULT.json \
                 --benchmark_out_format=json
Prints, per case and size, kzcommon's median CPU time, each peer's median and the
ratio fastest-peer / kzcommon: above 1 means kzcommon is faster.
"""
import json
import sys


def medians(path):
    with open(path) as f:
        data = json.load(f)
    out = {}
    for b in data["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        if b.get("error_occurred"):
            continue
        name = b.get("run_name", b["name"])
        parts = name.split("/")
        if len(parts) < 3:
            continue
        case, peer, size = parts[0], parts[1], parts[2]
        # With repetitions only the median aggregate counts; a run without
        # repetitions has only iterations.
        if b.get("run_type") == "aggregate" or (case, size, peer) not in out:
            out[(case, size, peer)] = b["cpu_time"], b["time_unit"]
    return out


def fmt(value, unit):
    return f"{value:,.1f} {unit}"


def main():
    if len(sys.argv) != 2:
        print(__doc__)
        return 2
    results = medians(sys.argv[1])
    cases = sorted({(c, s) for c, s, _ in results},
                   key=lambda k: (k[0], int(k[1])))
    print("| case | size | kzcommon | peers (median) | fastest peer / kzcommon |")
    print("|---|---:|---:|---|---:|")
    for case, size in cases:
        kz = results.get((case, size, "kzcommon"))
        peers = {p: v for (c, s, p), v in results.items()
                 if c == case and s == size and p != "kzcommon"}
        if kz is None or not peers:
            continue
        fastest = min(v[0] for v in peers.values())
        peer_text = ", ".join(f"{p} {fmt(*v)}" for p, v in sorted(peers.items()))
        print(f"| {case} | {size} | {fmt(*kz)} | {peer_text} | {fastest / kz[0]:.2f} |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
