#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that code for a further instruction set cannot reach a machine that lacks it.

    check_instruction_sets.py --nm NM --objdump OBJDUMP
        --sealed SYMBOL OBJECT ... --baseline OBJECT ...

A sealed object holds such code. Of what it defines, the named symbol alone can be seen from outside,
so that the linker takes no inline function of it in place of another object's; and nothing of it
runs before the program chooses to. Objects of the baseline hold no instruction of AVX. Prints a line
for each finding, and exits with 1 if there is any.
"""

import argparse
import re
import subprocess
import sys

# What the address sanitizer registers its globals with, by plain instructions.
SANITIZER = re.compile(r"(__|\.)?(asan|sancov|tsan|ubsan)")
# Sections whose functions run when a program or library is loaded.
STARTING_SECTION = re.compile(r"\s\.(init_array|ctors|preinit_array)\S*\s")
# Mnemonics of AVX begin with a v; so do these few that are older.
VECTOR_INSTRUCTION = re.compile(r":\s+(v(?!er[rw]\b|mcall\b|mx|mread|mwrite)\w+)")


def read(command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def check_sealed(nm, objdump, symbol, path):
    findings = []
    visible = set()
    for line in read([nm, "--defined-only", "--extern-only", "--format=posix", path]).splitlines():
        name, kind = line.split()[:2]
        visible.add(name)
        if kind in "wWvVu":
            findings.append(f"{name} may be taken in place of another object's")
    if visible != {symbol}:
        findings.append(f"defines {sorted(visible)} for others, not {symbol} alone")
    starting = read([objdump, "-h", path])
    if STARTING_SECTION.search(starting):
        names = [line.split()[-1] for line in read([nm, path]).splitlines()]
        if not any(SANITIZER.match(name) for name in names):
            findings.append("has code that runs when it is loaded")
    if not find_vector_instruction(objdump, path):
        findings.append("holds no instruction of its set")
    return findings


def find_vector_instruction(objdump, path):
    disassembly = read([objdump, "-d", "--no-show-raw-insn", path])
    match = VECTOR_INSTRUCTION.search(disassembly)
    return match.group(1) if match else None


def main():
    parser = argparse.ArgumentParser(description="Checks objects for instruction sets.")
    parser.add_argument("--nm", required=True)
    parser.add_argument("--objdump", required=True)
    parser.add_argument("--sealed", nargs=2, action="append", metavar=("SYMBOL", "OBJECT"))
    parser.add_argument("--baseline", nargs="+", metavar="OBJECT")
    arguments = parser.parse_args()

    findings = []
    for symbol, path in arguments.sealed:
        for finding in check_sealed(arguments.nm, arguments.objdump, symbol, path):
            findings.append(f"{path}: {finding}")
    sealed = {path for _, path in arguments.sealed}
    # A list of a library's objects may hold sealed ones, and precompiled headers.
    baseline = [path for path in arguments.baseline if path.endswith(".o") and path not in sealed]
    for path in baseline:
        found = find_vector_instruction(arguments.objdump, path)
        if found:
            findings.append(f"{path}: holds {found}, an instruction of AVX")
    for finding in findings:
        print(finding)
    print(f"{len(sealed)} sealed objects, {len(baseline)} others, {len(findings)} findings")
    return 1 if findings or not baseline else 0


if __name__ == "__main__":
    sys.exit(main())
