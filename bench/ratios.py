#!/usr/bin/env python3
"""Runs the benchmark program and prints each pair as a ratio (medians when repeated).

Benchmarks come in pairs named "<pair>/kz" (the library) and "<pair>/ref" (the reference); any
arguments after the side stay part of the pair's name. The ratio is reference time / library time:
above 1 the library is faster.
"""
import json
import subprocess
import sys


def main():
    binary, extra = sys.argv[1], sys.argv[2:]
    out = subprocess.run([binary, "--benchmark_format=json", *extra],
                         check=True, capture_output=True, text=True).stdout
    runs = json.loads(out)
    ctx = runs["context"]
    print(f"# {ctx.get('host_name', '?')}: {ctx['num_cpus']} cpus at {ctx['mhz_per_cpu']} MHz, "
          f"{ctx.get('library_build_type', '?')} benchmark library, {ctx['date']}")
    times, singles = {}, []
    benches = runs["benchmarks"]
    # With repetitions, the median of each benchmark stands for it.
    if any(b.get("aggregate_name") == "median" for b in benches):
        benches = [dict(b, name=b["run_name"]) for b in benches if b.get("aggregate_name") == "median"]
    else:
        benches = [b for b in benches if b.get("run_type") != "aggregate"]
    for b in benches:
        parts = b["name"].split("/")
        if len(parts) >= 2 and parts[1] in ("kz", "ref"):
            key = "/".join([parts[0]] + parts[2:])
            times.setdefault(key, {})[parts[1]] = b
        else:
            singles.append(b)
    print(f"{'pair':48} {'kz':>14} {'ref':>14} {'ref/kz':>8}")
    for key, sides in times.items():
        kz, ref = sides.get("kz"), sides.get("ref")
        cell = lambda b: f"{b['real_time']:.1f} {b['time_unit']}" if b else "-"
        ratio = f"{ref['real_time'] / kz['real_time']:.2f}" if kz and ref and kz['time_unit'] == ref['time_unit'] else "-"
        print(f"{key:48} {cell(kz):>14} {cell(ref):>14} {ratio:>8}")
    for b in singles:
        extra = " ".join(f"{k}={v:.3g}" for k, v in b.items()
                         if k not in ("real_time", "cpu_time", "iterations", "repetitions", "threads",
                                      "repetition_index", "family_index", "per_family_instance_index")
                         and isinstance(v, (int, float)))
        print(f"{b['name']:48} {b['real_time']:.1f} {b['time_unit']}  {extra}")


if __name__ == "__main__":
    main()
