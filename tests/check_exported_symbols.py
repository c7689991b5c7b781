#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what shared libraries export with a list: usage: ... [--update] --nm NM LIST LIBRARY...

The list holds the library's own functions and data, one a line. Weak symbols are left out: whether
a compiler makes them depends on what it inlines. Outside of the library's namespace nothing may be
exported that others could define, too. With --update the list is written anew.
"""

import argparse
import difflib
import subprocess
import sys

NAMESPACE = "gas_abi1::"
STRONG = "ABDGRSTi"


def read_exports(nm, library):
    """The names of a library's strong symbols, as in C++."""
    command = [nm, "--dynamic", "--defined-only", "--demangle", library]
    listing = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    names = set()
    for line in listing.splitlines():
        kind, name = line[17:].split(" ", 1)
        if kind in STRONG:
            names.add(name)
    return names


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--nm", default="nm")
    parser.add_argument("list")
    parser.add_argument("libraries", nargs="+")
    arguments = parser.parse_args()

    names = set()
    for library in arguments.libraries:
        names |= read_exports(arguments.nm, library)
    foreign = sorted(name for name in names if NAMESPACE not in name)
    for name in foreign:
        print(f"exported outside of {NAMESPACE[:-2]}: {name}")
    found = "".join(f"{name}\n" for name in sorted(names))
    if arguments.update:
        with open(arguments.list, "w", encoding="utf-8") as file:
            file.write(found)
        return 1 if foreign else 0

    with open(arguments.list, encoding="utf-8") as file:
        expected = file.read()
    difference = difflib.unified_diff(
        expected.splitlines(), found.splitlines(), "listed", "exported", n=0, lineterm=""
    )
    lines = list(difference)
    for line in lines:
        print(line)
    if lines:
        print("If the change is meant: the same command with --update, and a line in CHANGELOG.md.")
        return 1
    print(f"{len(names)} symbols, all of them listed.")
    return 1 if foreign else 0


if __name__ == "__main__":
    sys.exit(main())
