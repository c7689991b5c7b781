#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs `gas verify --in-turn` over very many rays, and records what it found.

    tools/verify_long.py [--rays N] [--threads N] [--program FILE] [--state FILE] [--record FILE] MESH...

Three fifths of the rays go through scenes of up to 2,000 random boxes, each of them held against brute
force. The others go through the meshes: a fifth through parts of 2,000 triangles, held against brute
force, and a fifth through whole meshes, tree against tree, by each build method, with brute force for
one ray of 500. The rays go in portions, of all scenes in turn. The state file has a line for each that is
done; a run that was stopped goes on from there as long as the program is the same one. With --record a
page of what is done is written after each portion. Exits with 1 where anything differs.
"""

import argparse
import collections
import hashlib
import json
import os
import platform
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
METHODS = ["median", "hybrid", "sah-fast", "sah"]
PART_ITEMS = 2000
# Large enough for what a whole mesh is built into once.
PORTION = 1_250_000


def portions(rays, meshes):
    """What is run, in order: the kind of scene, the mesh or none, and the arguments."""
    shares = [("random boxes", None, [], 0.6 if meshes else 1.0)]
    for mesh in meshes:
        name = os.path.basename(mesh)
        share = 0.2 / len(meshes)
        parts = [mesh, "--items", str(PART_ITEMS)]
        shares.append((f"{name}, parts of {PART_ITEMS} triangles", mesh, parts, share))
        for method in METHODS:
            whole = [mesh, "--build", method]
            shares.append((f"{name}, whole", mesh, whole, share / len(METHODS)))
    seed = 1
    found = []
    for kind, mesh, arguments, share in shares:
        wanted = round(rays * share)
        done = 0
        while done < wanted:
            count = min(wanted - done, PORTION)
            portion = kind, mesh, arguments + ["--rays", str(count), "--seed", str(seed)]
            found.append((done / wanted, len(found), portion))
            done += count
            seed += 1
    return [portion for _, _, portion in sorted(found)]


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()[:16]


def read_state(path):
    if not os.path.exists(path):
        return {}
    with open(path, encoding="utf-8") as file:
        return {line["key"]: line for line in map(json.loads, file)}


def run_portion(program, arguments, threads):
    start = time.monotonic()
    command = [program, "verify", "--in-turn", "--json", "--threads", str(threads)] + arguments
    run = subprocess.run(command, capture_output=True, text=True)
    if not run.stdout.startswith("{"):
        sys.exit(f"{' '.join(command)}\nended with {run.returncode}: {run.stderr}")
    report = json.loads(run.stdout)
    report["seconds"] = time.monotonic() - start
    return report


def machine():
    model = platform.machine()
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    return f"{model}, {os.cpu_count()} processors"


def commit():
    run = subprocess.run(["git", "-C", ROOT, "rev-parse", "--short", "HEAD"],
                         capture_output=True, text=True)
    return run.stdout.strip() or "unknown"


def add_up(lines, key):
    sums = collections.defaultdict(lambda: [0, 0, 0])
    for line in lines:
        for name, rays, comparisons, differences in key(line):
            for place, number in enumerate((rays, comparisons, differences)):
                sums[name][place] += number
    return sums


def page(lines, state):
    """The record, in Markdown."""
    rays = sum(line["rays"] for line in lines)
    comparisons = sum(line["comparisons"] for line in lines)
    differences = sum(line["differences"] for line in lines)
    seconds = sum(line["seconds"] for line in lines)
    text = [
        "# Verification",
        "",
        f"{rays:,} rays, {comparisons:,} comparisons, {differences:,} differences.",
        "",
        f"By `tools/verify_long.py`, in {seconds / 60:.0f} minutes. Each ray is asked one question, "
        "for its nearest hit,",
        "any hit or all hits, at rest or in motion, through trees of one kind and method, in turn.",
        "[program.md](program.md) says what is compared.",
        "",
        f"Machine: {state['machine']}. Commit: {state['commit']}.",
        "",
        "| scenes | rays | comparisons | differences |",
        "|---|--:|--:|--:|",
    ]
    scenes = add_up(lines, lambda line: [(line["kind"], line["rays"], line["comparisons"],
                                          line["differences"])])
    for name, (count, compared, different) in scenes.items():
        text.append(f"| {name} | {count:,} | {compared:,} | {different:,} |")
    text += ["", "| tree | way | against | comparisons | differences |", "|---|---|---|--:|--:|"]
    rows = add_up(lines, lambda line: [
        ((row["tree"], row["way"], row["against"]), 0, row["comparisons"], row["differences"])
        for row in line["rows"]])
    for (tree, way, against), (_, compared, different) in sorted(rows.items()):
        text.append(f"| {tree} | {way} | {against} | {compared:,} | {different:,} |")
    return "\n".join(text) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("meshes", metavar="MESH", nargs="*", help="OBJ, PLY or STL files")
    parser.add_argument("--rays", type=int, default=100_000_000)
    parser.add_argument("--threads", type=int, default=0, help="0: one for each processor")
    parser.add_argument("--program", default=os.path.join(ROOT, "build/release/apps/gas/gas"))
    parser.add_argument("--state", default=os.path.join(ROOT, "build/verify_long.jsonl"))
    parser.add_argument("--record", help="the page to write")
    options = parser.parse_args()

    program = digest(options.program)
    done = read_state(options.state)
    lines = []
    wanted = portions(options.rays, options.meshes)
    for number, (kind, mesh, arguments) in enumerate(wanted, 1):
        named = [os.path.basename(part) if part == mesh else part for part in arguments]
        key = " ".join([program, digest(mesh) if mesh else "-"] + named)
        if key not in done:
            report = run_portion(options.program, arguments, options.threads)
            done[key] = {"key": key, "kind": kind, "machine": machine(), "commit": commit()} | report
            with open(options.state, "a", encoding="utf-8") as file:
                file.write(json.dumps(done[key]) + "\n")
        line = done[key]
        lines.append(line)
        print(f"{number}/{len(wanted)} {' '.join(named)}: {line['comparisons']} comparisons, "
              f"{line['differences']} differences, {line['seconds']:.0f} s", flush=True)
        for description in line["described"]:
            print("  " + description, flush=True)
        if options.record:
            with open(options.record, "w", encoding="utf-8") as file:
                file.write(page(lines, lines[-1]))
    rays = sum(line["rays"] for line in lines)
    differences = sum(line["differences"] for line in lines)
    print(f"{rays} rays, {sum(line['comparisons'] for line in lines)} comparisons, "
          f"{differences} differences")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
