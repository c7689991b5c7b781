#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks single lines of the library, one at a time, and looks whether the tests notice.

    tools/mutate.py [--seconds N] [--jobs N] [--again] [AREA...]
    tools/mutate.py --list | --report [AREA...]

The lists of tests/mutations/ name the lines, an area each (docs/testing.md says how). For each
mutation its file is changed in a copy of the tree, the programs of tests that its list names are
built one after the other, with as little as the change asks for, and run up to the first failure.
What came of it goes into build/mutation/record.txt: a run that was stopped, or whose --seconds are
over, goes on from there, and what was changed since is tried anew. --again tries survivors again.

Prints a line for each mutation, and at last a summary; fails where less than 95 of 100 were caught,
where a mutation does not compile or does not fit its file, or where not all were tried yet.
GAS_BUILD_DIR names the folder of the builds (build).
"""

import argparse
import dataclasses
import glob
import hashlib
import json
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LISTS = os.path.join(ROOT, "tests", "mutations")
FOLDER = os.path.join(ROOT, os.environ.get("GAS_BUILD_DIR", "build"), "mutation")
SOURCE = os.path.join(FOLDER, "source")
BUILD = os.path.join(FOLDER, "build")
RECORD = os.path.join(FOLDER, "record.txt")
TIMES = os.path.join(FOLDER, "times.json")
LEAST_CAUGHT = 0.95
# Whoever runs longer hangs: so many times what it takes otherwise, and some seconds.
SLOWER = 8
SLACK_SECONDS = 20


@dataclasses.dataclass
class Mutation:
    area: str
    path: str
    line: str
    changed: str
    programs: list
    reason: str = ""  # why nothing can notice; "": something should

    def key(self):
        text = "\0".join([self.path, self.line, self.changed, " ".join(self.programs)])
        return hashlib.sha256(text.encode()).hexdigest()[:16]

    def find_places(self, text):
        """Where the line stands in the file's text: once, if the list is right."""
        return [i for i, line in enumerate(text.split("\n")) if line.strip() == self.line]

    def apply(self, text):
        """The file's text with the change; fails unless one line alone is meant."""
        lines = text.split("\n")
        places = self.find_places(text)
        if len(places) != 1:
            sys.exit(f"{self.path}: {len(places)} lines are: {self.line}")
        old = lines[places[0]]
        lines[places[0]] = old[: len(old) - len(old.lstrip())] + self.changed
        return "\n".join(lines)


def read_list(path):
    area = os.path.splitext(os.path.basename(path))[0]
    mutations, source, programs, line = [], "", [], None
    with open(path, encoding="utf-8") as file:
        for number, text in enumerate(file, 1):
            text = text.rstrip("\n")
            if text.startswith("programs: "):
                programs = text.split()[1:]
            elif text.startswith("gas/"):
                source = text
            elif text.startswith("- "):
                line = text[2:].strip()
            elif text.startswith("+ ") and line is not None and source and programs:
                mutations.append(Mutation(area, source, line, text[2:].strip(), programs))
            elif text.startswith("= ") and mutations:
                mutations[-1].reason = (mutations[-1].reason + " " + text[2:]).strip()
            elif text and not text.startswith("#"):
                sys.exit(f"{path}:{number}: not understood: {text}")
    return mutations


def read_lists(areas):
    """All mutations, of each area the first, then of each the second, and so on."""
    lists = [read_list(path) for path in sorted(glob.glob(os.path.join(LISTS, "*.txt")))]
    if areas:
        lists = [found for found in lists if found and found[0].area in areas]
    return [found[i] for i in range(max(map(len, lists), default=0)) for found in lists if i < len(found)]


def read_text(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def write_text(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def read_record():
    """The outcomes by key, the last of each."""
    outcomes = {}
    if os.path.exists(RECORD):
        for line in read_text(RECORD).splitlines():
            key, outcome, _ = line.split("\t", 2)
            outcomes[key] = outcome
    return outcomes


def copy_tree():
    """Brings the copy up to date, and says whether it was not: files that did not change keep their
    times."""
    is_changed = False
    listing = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    names = subprocess.run(listing, cwd=ROOT, check=True, capture_output=True).stdout.decode()
    for name in filter(None, names.split("\0")):
        source, target = os.path.join(ROOT, name), os.path.join(SOURCE, name)
        if not os.path.isfile(source):
            continue
        with open(source, "rb") as file:
            data = file.read()
        if os.path.exists(target):
            with open(target, "rb") as file:
                if file.read() == data:
                    continue
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as file:
            file.write(data)
        is_changed = True
    return is_changed


def configure():
    # One instruction set, each source by itself, little optimisation: a change compiles little.
    options = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG",
               "-DGAS_INSTRUCTION_SETS=baseline", "-DGAS_BUILD_APP=OFF", "-DGAS_BUILD_BENCH=OFF",
               "-DGAS_BUILD_EXAMPLES=OFF", "-DGAS_INSTALL=OFF"]
    ccache = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
    has_ccache = subprocess.run(["sh", "-c", "command -v ccache"], capture_output=True).returncode == 0
    command = ["cmake", "-S", SOURCE, "-B", BUILD] + options + (ccache if has_ccache else [])
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def build(program, jobs):
    # What a restored file compiles to comes from ccache, precompiled headers included.
    environment = dict(os.environ)
    environment.setdefault("CCACHE_SLOPPINESS", "pch_defines,time_macros,include_file_mtime,include_file_ctime")
    command = ["cmake", "--build", BUILD, "-j", str(jobs), "--target", f"gas_{program}_tests"]
    return subprocess.run(command, env=environment, capture_output=True, text=True)


def find_program(program):
    folder = "tests/host" if program == "host" else "tests/seam" if program == "seam" else "tests"
    return os.path.join(BUILD, folder, f"gas_{program}_tests")


def run(program, seconds=None):
    """The exit code; None: it was still running."""
    command = [find_program(program), "--gtest_brief=1", "--gtest_fail_fast"]
    log = os.path.join(FOLDER, "test.log")
    with open(log, "w", encoding="utf-8") as output:
        try:
            return subprocess.run(command, stdout=output, stderr=output, timeout=seconds).returncode
        except subprocess.TimeoutExpired:
            return None


def name_failure():
    for line in read_text(os.path.join(FOLDER, "test.log")).splitlines():
        if line.startswith("[  FAILED  ] "):
            return line.split()[3].rstrip(",")
    return "ended early"


def time_programs(mutations, jobs):
    """How long each program takes on the tree as it is, where it has to pass."""
    times = {}
    if not copy_tree() and os.path.exists(TIMES):
        times = json.loads(read_text(TIMES))
    if not times:
        configure()
    programs = {program for mutation in mutations for program in mutation.programs}
    for program in sorted(programs - set(times)):
        built = build(program, jobs)
        if built.returncode != 0:
            sys.exit(built.stdout + built.stderr)
        start = time.monotonic()
        if run(program) != 0:
            sys.exit(f"{program} fails as it is: {name_failure()}")
        times[program] = time.monotonic() - start
        print(f"{program}: {times[program]:.1f} s", flush=True)
        write_text(TIMES, json.dumps(times))
    return times


def try_programs(mutation, times, jobs):
    """What came of it, and which program and test said so."""
    for program in mutation.programs:
        built = build(program, jobs)
        if built.returncode != 0:
            write_text(os.path.join(FOLDER, "compiler.log"), built.stdout + built.stderr)
            return "invalid", f"{program} does not compile"
        code = run(program, times[program] * SLOWER + SLACK_SECONDS)
        if code is None:
            return "caught", f"{program} hangs"
        if code != 0:
            return "caught", f"{program} {name_failure()}"
    return "survived", " ".join(mutation.programs)


def try_mutation(mutation, times, jobs):
    path = os.path.join(SOURCE, mutation.path)
    original = read_text(path)
    write_text(path, mutation.apply(original))
    start = time.monotonic()
    try:
        outcome, by = try_programs(mutation, times, jobs)
    finally:
        write_text(path, original)
    seconds = time.monotonic() - start
    entry = "\t".join([mutation.key(), outcome, f"{seconds:.0f} s", by, mutation.path, mutation.changed])
    with open(RECORD, "a", encoding="utf-8") as file:
        file.write(entry + "\n")
    print(entry.split("\t", 1)[1].replace("\t", "  "), flush=True)


def report(mutations):
    """Prints the summary; whether all is as it should be."""
    outcomes = read_record()
    counts = {}
    for mutation in mutations:
        outcome = "equivalent" if mutation.reason else outcomes.get(mutation.key(), "open")
        area = counts.setdefault(mutation.area, {})
        area[outcome] = area.get(outcome, 0) + 1
        if outcome in ("survived", "invalid"):
            print(f"{outcome}: {mutation.path}\n  - {mutation.line}\n  + {mutation.changed}")
        elif outcome == "equivalent" and outcomes.get(mutation.key()) == "caught":
            print(f"not equivalent: {mutation.path}\n  - {mutation.line}\n  + {mutation.changed}")
    kinds = ["caught", "survived", "invalid", "equivalent", "open"]
    print("\n| area | " + " | ".join(kinds) + " |\n|---|" + "---|" * len(kinds))
    sums = {kind: sum(area.get(kind, 0) for area in counts.values()) for kind in kinds}
    for name, area in list(counts.items()) + [("all", sums)]:
        print(f"| {name} | " + " | ".join(str(area.get(kind, 0)) for kind in kinds) + " |")
    tried = sums["caught"] + sums["survived"]
    share = sums["caught"] / tried if tried else 0.0
    print(f"{sums['caught']} of {tried} caught, {100 * share:.1f} %; {sums['open']} not tried yet")
    return share >= LEAST_CAUGHT and sums["invalid"] == 0 and sums["open"] == 0


def main():
    parser = argparse.ArgumentParser(description="Looks whether the tests notice broken lines.")
    parser.add_argument("areas", nargs="*")
    parser.add_argument("--seconds", type=float, default=float("inf"), help="start no more after these")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--again", action="store_true", help="try those again that survived")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--report", action="store_true", help="the summary of the record alone")
    arguments = parser.parse_args()
    start = time.monotonic()

    mutations = read_lists(arguments.areas)
    for mutation in mutations:
        mutation.apply(read_text(os.path.join(ROOT, mutation.path)))
    if arguments.list:
        for mutation in mutations:
            print(f"{mutation.area}: {mutation.path}: {mutation.changed}")
        return 0
    if not arguments.report:
        os.makedirs(SOURCE, exist_ok=True)
        outcomes = read_record()
        again = ("survived", "invalid") if arguments.again else ("invalid",)
        waiting = [mutation for mutation in mutations
                   if outcomes.get(mutation.key(), "invalid") in again]
        # What nothing can notice is tried, too: all programs have to pass.
        waiting.sort(key=lambda mutation: mutation.reason != "")
        if waiting:
            times = time_programs(waiting, arguments.jobs)
        for mutation in waiting:
            if time.monotonic() - start > arguments.seconds:
                break
            try_mutation(mutation, times, arguments.jobs)
    return 0 if report(mutations) else 1


if __name__ == "__main__":
    sys.exit(main())
