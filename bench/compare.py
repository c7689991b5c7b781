#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the benchmarks and prints how many times as fast as GasTree the other tree classes are.

All take turns within one run, so that a change of the machine's speed meets all of them. A ratio is
GasTree's median CPU time over the other's: above 1 the other is faster. GasTree's own figures come
first. (The program gas_peer compares with another library.)

    bench/compare.py build/release/bench/gas_bench --items=100000,1000000 --obj=mesh.obj
    bench/compare.py build/release/bench/gas_bench --items=30000 --filter='nearest|any'
"""

import argparse
import json
import math
import statistics
import subprocess
import sys

SCENES = ["uniform", "clustered", "long_thin", "coincident", "surface", "interior"]

# Participants: GasTree and the other tree classes.
PLAIN = "gas"
OTHERS = {"compressed": "GasCompressedTree", "grid": "GasGridTree"}


def read_arguments():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("program", help="the built gas_bench")
    parser.add_argument("--items", default="100000", help="item counts of generated scenes")
    parser.add_argument("--scenes", default=",".join(SCENES), help="generated scenes to use")
    parser.add_argument("--obj", action="append", default=[], help="a mesh as well; repeatable")
    parser.add_argument("--rays", default="65536", help="rays per round")
    parser.add_argument("--filter", default=".", help="only benchmarks that match")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--min-time", default="0.1", help="seconds per repetition")
    return parser.parse_args()


def run(arguments, own_options):
    """Runs one program over one workload; returns its repetitions."""
    command = [
        arguments.program,
        f"--rays={arguments.rays}",
        f"--benchmark_filter={arguments.filter}",
        f"--benchmark_repetitions={arguments.repetitions}",
        f"--benchmark_min_time={arguments.min_time}",
        "--benchmark_enable_random_interleaving=true",
        "--benchmark_format=json",
        *own_options,
    ]
    result = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    if result.returncode != 0:
        sys.exit(f"{arguments.program} failed")
    output = result.stdout.decode()
    if "{" not in output:
        sys.exit("no benchmark matches")
    runs = json.loads(output[output.index("{") :])["benchmarks"]
    return [one for one in runs if one["run_type"] == "iteration"]


def collect(runs):
    """Medians by (question, workload) and participant: time, and the counters of one run."""
    times = {}
    counters = {}
    for one in runs:
        # question/kind/scene/items/who, and what Google Benchmark appends.
        question, kind, scene, items, who = one["run_name"].split("/")[:5]
        key = (f"{question}/{kind}", f"{scene}/{items}")
        times.setdefault(key, {}).setdefault(who, []).append(one["cpu_time"])
        counters.setdefault(key, {})[who] = one
    medians = {
        key: {who: statistics.median(values) for who, values in participants.items()}
        for key, participants in times.items()
    }
    return medians, counters


def describe(one):
    """What the library's own run did: speed and cause."""
    parts = []
    for name in ("rays/s", "items/s", "pairs/s"):
        if name in one:
            parts.append(f"{one[name] / 1e6:8.2f} M{name}")
    for name in ("nodes/ray", "leaves/ray", "sah_cost", "us/query", "nodes/query"):
        if name in one:
            parts.append(f"{one[name]:8.1f} {name}")
    for name in ("times_single", "times_brute_force", "us/cell"):
        if name in one:
            parts.append(f"{one[name]:8.2f} {name}")
    if "bytes/item" in one:
        parts.append(f"{one['bytes/item']:6.1f} bytes/item")
    return "  ".join(parts)


def summarise(title, ratios):
    """One line for each question: the geometric mean over the workloads, and the worst of them."""
    print(f"\n{title:40}{'mean':>6}{'worst':>8}")
    for question, entries in ratios.items():
        mean = math.exp(statistics.fmean(math.log(ratio) for ratio, _ in entries))
        worst, where = min(entries)
        print(f"{question:40}{mean:6.2f}{worst:8.2f}  {where}")


def report_plain(medians, counters):
    """GasTree's own figures."""
    print("GasTree")
    for (question, workload), participants in sorted(medians.items()):
        if PLAIN in participants:
            details = describe(counters[(question, workload)][PLAIN])
            print(f"{question:30}{workload:20}{'':6}  {details}")


def report_other(tree, medians, counters):
    """Another tree class: its own figures, and its speed over GasTree's."""
    ratios = {}
    workloads = []
    print(f"\n{OTHERS[tree]}")
    for (question, workload), participants in sorted(medians.items()):
        if tree not in participants:
            continue
        ratio = None
        if PLAIN in participants:
            ratio = participants[PLAIN] / participants[tree]
            ratios.setdefault(question, {})[workload] = ratio
            if workload not in workloads:
                workloads.append(workload)
        text = f"{ratio:6.2f}" if ratio else "     -"
        details = describe(counters[(question, workload)][tree])
        print(f"{question:30}{workload:20}{text}  {details}")

    if not ratios:
        return
    summarise(
        f"{OTHERS[tree]}, times as fast as GasTree",
        {
            question: [(ratio, workload) for workload, ratio in row.items()]
            for question, row in ratios.items()
        },
    )
    # The same by workload, as a table of the documentation.
    print("\n| question | " + " | ".join(f"`{workload}`" for workload in workloads) + " |")
    print("|---" * (len(workloads) + 1) + "|")
    for question, row in ratios.items():
        cells = [f"{row[workload]:.2f}" if workload in row else "" for workload in workloads]
        print(f"| `{question}` | " + " | ".join(cells) + " |")


def main():
    arguments = read_arguments()
    workloads = [
        [f"--scenes={scene}", f"--items={items}"]
        for scene in filter(None, arguments.scenes.split(","))
        for items in arguments.items.split(",")
    ]
    workloads += [["--scenes=", f"--obj={path}"] for path in arguments.obj]
    runs = []
    for number, options in enumerate(workloads, 1):
        print(f"{number} of {len(workloads)}: {' '.join(options)}", file=sys.stderr)
        runs += run(arguments, options)
    medians, counters = collect(runs)
    report_plain(medians, counters)
    for tree in OTHERS:
        report_other(tree, medians, counters)


if __name__ == "__main__":
    main()
