#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the tests of a build folder and counts them one by one.

    tools/run_tests.py [--jobs N] [--only REGEX] FOLDER

A program of tests runs in shards, each of which writes a report when it has come to its end. The
tests of these reports are counted, and compared with those that the program lists: a shard without
a report, a test in no report and a test that was skipped are failures. Any other test of ctest
counts as one. Prints what failed and, as the last line, `N passed, M failed`; exits with 1 if
anything failed, or if there were no tests.
"""

import argparse
import json
import os
import subprocess
import sys
import xml.etree.ElementTree


class Counts:
    def __init__(self):
        self.passed = 0
        self.failed = 0

    def fail(self, message, count=1):
        self.failed += count
        print(f"FAILED: {message}")


def listed_by_ctest(folder, only):
    """The tests of the folder: name, command and environment of each."""
    command = ["ctest", "--test-dir", folder, "--show-only=json-v1"] + only
    listing = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    tests = []
    for test in json.loads(listing)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        variables = properties.get("ENVIRONMENT", [])
        environment = dict(variable.split("=", 1) for variable in variables)
        tests.append((test["name"], test.get("command", []), environment))
    return tests


def report_path(environment):
    return environment.get("GTEST_OUTPUT", "").removeprefix("json:")


def run_ctest(folder, only, jobs):
    """Runs everything; the names of the tests that ctest saw pass, and how ctest ended."""
    results = os.path.join(folder, "ctest_results.xml")
    if os.path.exists(results):
        os.remove(results)
    command = ["ctest", "--test-dir", folder, "--output-on-failure", "--no-tests=error"]
    command += ["--parallel", str(jobs), "--output-junit", os.path.abspath(results)]
    log_path = os.path.join(folder, "check_tests.log")
    with open(log_path, "w", encoding="utf-8") as log:
        status = subprocess.run(command + only, stdout=log, stderr=subprocess.STDOUT).returncode
    if status != 0:
        with open(log_path, encoding="utf-8", errors="replace") as log:
            print("".join(line for line in log if not is_quiet(line)), end="")
    if not os.path.exists(results):
        return set(), status
    cases = xml.etree.ElementTree.parse(results).getroot().iter("testcase")
    return {case.get("name") for case in cases if case.get("status") == "run"}, status


def is_quiet(line):
    """Whether a line of ctest or of a program of tests tells of a start or of a success."""
    quiet = ("Start ", "[ RUN ", "[       OK ", "[----------]", "Note: Google Test filter")
    return line.lstrip().startswith(quiet) or " Passed " in line


def listed_by_program(command, environment):
    """The names of all tests of a program, whatever the shard."""
    names = set()
    suite = ""
    plain = dict(os.environ)
    plain.update(environment)
    for name in ("GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX", "GTEST_OUTPUT"):
        plain.pop(name, None)
    command = command + ["--gtest_list_tests"]
    listing = subprocess.run(command, env=plain, check=True, capture_output=True, text=True).stdout
    for line in listing.splitlines():
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            names.add(suite + name.strip())
        else:
            suite = name
    return names


def count_report(path, name, passed_by_ctest, counts):
    """Counts the tests of a shard's report; the names of all that it holds."""
    try:
        with open(path, encoding="utf-8") as file:
            suites = json.load(file)["testsuites"]
    except (OSError, ValueError, KeyError):
        counts.fail(f"{name} ended without a report")
        return set()
    seen = set()
    failed_before = counts.failed
    for suite in suites:
        for test in suite["testsuite"]:
            full_name = f"{suite['name']}.{test['name']}"
            seen.add(full_name)
            if "failures" in test:
                counts.fail(full_name)
            elif test["status"] != "RUN" or test["result"] != "COMPLETED":
                counts.fail(f"{full_name} was not run")
            else:
                counts.passed += 1
    if not passed_by_ctest and counts.failed == failed_before:
        counts.fail(f"{name} ended badly after its tests")
    return seen


def count_tests(tests, passed_names, counts):
    programs = {}
    for name, command, environment in tests:
        path = report_path(environment)
        if path:
            seen = count_report(path, name, name in passed_names, counts)
            # By each instruction set, all of them.
            run = (tuple(command), environment.get("GAS_ISA"))
            programs.setdefault(run, (environment, set()))[1].update(seen)
        elif name in passed_names:
            counts.passed += 1
        else:
            counts.fail(name)
    for (command, _), (environment, seen) in programs.items():
        try:
            listed = listed_by_program(list(command), environment)
        except (OSError, subprocess.CalledProcessError):
            counts.fail(f"{' '.join(command)} does not list its tests")
            continue
        for missing in sorted(listed - seen):
            counts.fail(f"{missing} of {os.path.basename(command[-1])} stands in no report")


def main():
    parser = argparse.ArgumentParser(description="Runs the tests of a build folder.")
    parser.add_argument("folder")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--only", help="a regular expression that names of ctest's tests match")
    arguments = parser.parse_args()
    only = ["-R", arguments.only] if arguments.only else []

    # A filter from outside would leave out tests silently.
    for name in [name for name in os.environ if name.startswith("GTEST_")]:
        del os.environ[name]

    counts = Counts()
    tests = listed_by_ctest(arguments.folder, only)
    for _, _, environment in tests:
        path = report_path(environment)
        if path and os.path.exists(path):
            os.remove(path)
    passed_names, status = run_ctest(arguments.folder, only, arguments.jobs)
    count_tests(tests, passed_names, counts)
    if counts.failed == 0 and (status != 0 or counts.passed == 0):
        counts.fail(f"ctest ended with {status}")
    print(f"{counts.passed} passed, {counts.failed} failed")
    return 1 if counts.failed else 0


if __name__ == "__main__":
    sys.exit(main())
