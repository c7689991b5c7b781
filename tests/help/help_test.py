#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the help of the program, its manual page, its completion and its bars: help_test.py GAS."""

import os
import pty
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
COMPLETION = os.path.join(ROOT, "apps", "gas", "help", "gas.bash")
MANUAL = os.path.join(ROOT, "apps", "gas", "help", "gas.1")
PROGRAM = ""


def ask(*arguments):
    return subprocess.run([PROGRAM, *arguments], check=True, capture_output=True, text=True).stdout


def list_commands():
    return re.findall(r"^  (\w+)  ", ask("--help").split("\nCommands:\n")[1], re.M)


def list_options(command):
    return re.findall(r"(?<![\w-])--?[a-z][\w-]*(?=[ ,\n])", "\n".join(
        line for line in ask(command, "--help").split("\n") if re.match(r"  -", line)) + "\n")


class Help(unittest.TestCase):
    def test_fits_a_screen(self):
        lines = ask("--help").splitlines()
        self.assertLessEqual(len(lines), 24)
        self.assertLessEqual(max(map(len, lines)), 80)

    def test_of_commands_fits_the_width_of_a_screen(self):
        commands = list_commands()
        self.assertIn("render", commands)
        for command in commands:
            # Nothing but the words of a choice may be longer.
            for line in ask(command, "--help").splitlines():
                self.assertLessEqual(len(line), 80, line)


class Manual(unittest.TestCase):
    def test_is_what_the_program_says(self):
        tool = os.path.join(ROOT, "tools", "help_files.py")
        run = subprocess.run([sys.executable, tool, "--check", PROGRAM], capture_output=True, text=True)
        self.assertEqual((run.stdout, run.stderr, run.returncode), ("", "", 0))

    def test_names_every_command_and_option(self):
        with open(MANUAL, encoding="utf-8") as file:
            sections = file.read().replace("\\-", "-").split("\n.SS gas ")
        by_command = {section.split()[0]: section for section in sections[1:]}
        self.assertEqual(list(by_command), list_commands())
        for command, section in by_command.items():
            options = list_options(command)
            self.assertIn("--help", options)
            for option in options:
                self.assertIn(f"\\fB{option}\\fR", section)


def complete(line):
    """What bash offers at the end of the line."""
    words = re.findall(r"=|[^\s=]+", line) + ([""] if line.endswith((" ", "=")) else [])
    script = """
        source "$1"; shift
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        _gas
        printf '%s\\n' "${COMPREPLY[@]}"
        complete -p gas >&2
    """
    run = subprocess.run(["bash", "-c", script, "bash", COMPLETION, *words], check=True,
                         capture_output=True, text=True, cwd=ROOT)
    if run.stderr != "complete -F _gas gas\n":
        raise AssertionError(run.stderr)
    return run.stdout.split()


class Completion(unittest.TestCase):
    def test_offers_what_may_come_next(self):
        for line, offered in (
            ("gas st", ["stats"]),
            ("gas ", list_commands()),
            ("gas --v", ["--version"]),
            ("gas render --he", ["--help", "--heatmap"]),
            ("gas query --b", ["--build", "--box"]),
            ("gas render --build ", ["median", "hybrid", "sah-fast", "sah"]),
            ("gas render --build sah", ["sah-fast", "sah"]),
            ("gas render --build=me", ["median"]),
            ("gas render --build=", ["median", "hybrid", "sah-fast", "sah"]),
            ("gas verify --build a", ["all"]),
            ("gas render --tree compressed --wide ", ["on", "off"]),
            ("gas render --spp ", []),
            ("gas render -o READ", ["README.md"]),
            ("gas render LIC", ["LICENSE"]),
            ("gas render --json CHANGE", ["CHANGELOG.md"]),
            ("gas nonsense --he", ["--help"]),
            ("gas query --nonsense", []),
        ):
            self.assertEqual(complete(line), offered, line)

    def test_offers_every_option(self):
        for command in list_commands():
            self.assertEqual(complete(f"gas {command} -"), list_options(command))


def run_on_terminal(*arguments):
    """What the program writes to a terminal."""
    child, screen = pty.fork()
    if child == 0:
        os.execv(PROGRAM, [PROGRAM, *arguments])
    written = b""
    try:
        while block := os.read(screen, 4096):
            written += block
    except OSError:
        pass  # the program has gone, and its terminal with it
    os.close(screen)
    return written.decode(), os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


class Bars(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def test_move_in_every_command_that_works_long(self):
        mesh = os.path.join(ROOT, "tests", "help", "square.obj")
        detail = ("--detail", "0.001")
        for arguments, titles in (
            (("render", *detail, "--size", "8x8", "-o", "/dev/null"),
             ("Making the scene", "Building trees", "Rendering", "Writing the picture")),
            (("stats", mesh, "--validate"),
             ("Reading the mesh", "Building trees", "Measuring trees", "Looking for flaws")),
            (("stats", *detail, "--tree", "grid"), ("Building trees", "Rendering")),
            (("build", mesh, "-o", os.path.join(self.folder.name, "a.gastree")),
             ("Reading the mesh", "Building trees", "Saving the tree")),
            (("query", mesh, "--nearest", "0,0,0"), ("Reading the mesh", "Building the tree")),
            (("verify", "--rays", "1", "--items", "4"), ("Comparing answers",)),
        ):
            written, status = run_on_terminal(*arguments)
            self.assertEqual(status, 0, written.split("\r")[-1])
            for title in titles:
                self.assertIn(f"{title} [{30 * '.'}] 0 %", written)
                self.assertIn(f"{title} [{30 * '#'}] 100 %", written)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
