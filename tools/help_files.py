#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the program's manual page and its completion for bash from what --help says.

    tools/help_files.py GAS            writes apps/gas/help/gas.1 and apps/gas/help/gas.bash
    tools/help_files.py --check GAS    says whether they are what would be written

GAS is the program; it is asked for its help, and for that of each of its commands.
"""

import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDER = os.path.join(ROOT, "apps", "gas", "help")


class Option:
    """An option or an argument: its names, what takes the place of its value, and its description."""

    def __init__(self, head):
        words = head.replace(",", " ").split() if head.startswith("-") else [head]
        self.names = [word for word in words if word.startswith("-")]
        # A value's name may have commas.
        rest = re.sub(r"^(?:-[\w-]+,? ?)+", "", head) if self.names else head
        self.value = rest.strip()
        self.text = []

    def choices(self):
        return self.value.split("|") if "|" in self.value else []


class Help:
    """A text of --help: paragraphs of prose, then sections with indented entries."""

    def __init__(self, text):
        self.prose = []
        self.sections = {}
        section = None
        for line in text.splitlines():
            if re.fullmatch(r"[A-Z]\w+:", line):
                section = self.sections.setdefault(line[:-1], [])
            elif section is not None and re.match(r"      \S", line):
                section[-1].text.append(line.strip())
            elif section is not None and re.match(r"  \S", line):
                section.append(Option(line.strip()))
            else:
                section = None
                self.prose.append(line)
        self.paragraphs = [
            " ".join(part.split()) for part in "\n".join(self.prose).split("\n\n") if part.strip()
        ]

    def options(self):
        return self.sections.get("Options", [])


def ask(program, *arguments):
    run = subprocess.run([program, *arguments], check=True, capture_output=True, text=True)
    return run.stdout


class Commands:
    """The program's help and that of its commands, in their order."""

    def __init__(self, program):
        self.version = ask(program, "--version").split()[-1]
        text = ask(program, "--help")
        listed = text.split("\nCommands:\n")[1].split("\n\n")[0]
        self.program = Help(text.replace("\nCommands:\n" + listed, ""))
        self.names = re.findall(r"^  (\w+)  ", listed, re.M)
        self.helps = {name: Help(ask(program, name, "--help")) for name in self.names}


def roff(text):
    """Text as the manual's formatter takes it."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text.startswith((".", "'")) else text


def man_entry(option):
    names = ", ".join(f"\\fB{roff(name)}\\fR" for name in option.names)
    value = f"\\fI{roff(option.value)}\\fR" if option.value else ""
    return [".TP", " ".join(part for part in (names, value) if part), roff(" ".join(option.text)) + "."]


def man_page(commands):
    lines = [
        '.\\" SPDX-License-Identifier: Apache-2.0',
        '.\\" Written by tools/help_files.py from what the program says of itself.',
        f'.TH GAS 1 "" "gas {commands.version}" "User Commands"',
        ".SH NAME",
        "gas \\- trees of boxes for ray tracing: pictures, files, figures",
        ".SH SYNOPSIS",
        "\\fBgas\\fR \\fICOMMAND\\fR [\\fIOPTION\\fR]...",
        ".SH DESCRIPTION",
        roff(commands.program.paragraphs[0]),
        "Results go to standard output, progress and messages to standard error.",
        ".SH OPTIONS",
    ]
    for option in commands.program.options():
        lines += man_entry(option)
    lines.append(".SH COMMANDS")
    for name, help_of in commands.helps.items():
        usage = next(text for text in help_of.paragraphs if text.startswith("Usage: "))
        lines.append(f".SS {roff(usage.removeprefix('Usage: '))}")
        for number, text in enumerate(text for text in help_of.paragraphs if text != usage):
            lines += [".PP"] * (number > 0) + [roff(text)]
        for option in help_of.sections.get("Arguments", []) + help_of.options():
            lines += man_entry(option)
    lines += [
        ".SH ENVIRONMENT",
        ".TP",
        "\\fBGAS_ISA\\fR",
        "The instruction set that rays use, \\fBbaseline\\fR or \\fBavx2\\fR; usually the best that the",
        "machine has. Results are the same.",
        ".SH EXIT STATUS",
        "0 when all is done, 1 when a file, memory or something else failed, 2 when the command line is",
        "invalid.",
        ".SH SEE ALSO",
        "\\fIshare/doc/gas/docs/program.md\\fR, beside the library's other pages.",
    ]
    return "\n".join(lines) + "\n"


BASH = """\
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Completion of the program gas; written by tools/help_files.py from what the program says of itself.

# The commands, and the options of a command or of the program.
_gas_commands="@commands@"
_gas_options() {
    case "$1" in
@options@
    esac
}

# What the value of an option may be: a few words, a FILE, or nothing that is known. Options without a
# value fail.
_gas_values() {
    case "$1 $2" in
@values@
    *) return 1 ;;
    esac
}

# The command of a line, the first of its words that is one.
_gas_command() {
    local word
    for word in "$@"; do
        if [[ " $_gas_commands " == *" $word "* ]]; then
            echo "$word"
            return
        fi
    done
}

_gas_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

_gas() {
    local word="${COMP_WORDS[COMP_CWORD]}" option="" command values
    local before=("${COMP_WORDS[@]:1:COMP_CWORD-1}")
    command="$(_gas_command "${before[@]}")"
    COMPREPLY=()
    # --option=value comes in three words.
    if [[ "$word" == = ]]; then
        word=""
        option="${COMP_WORDS[COMP_CWORD - 1]}"
    elif ((COMP_CWORD > 2)) && [[ "${COMP_WORDS[COMP_CWORD - 1]}" == = ]]; then
        option="${COMP_WORDS[COMP_CWORD - 2]}"
    elif ((COMP_CWORD > 1)); then
        option="${COMP_WORDS[COMP_CWORD - 1]}"
    fi
    if values="$(_gas_values "$command" "$option")"; then
        if [[ "$values" == FILE ]]; then
            _gas_files "$word"
        else
            mapfile -t COMPREPLY < <(compgen -W "$values" -- "$word")
        fi
    elif [[ "$word" == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_gas_options "$command")" -- "$word")
    elif [[ -z "$command" ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$_gas_commands" -- "$word")
    else
        _gas_files "$word"
    fi
}

complete -F _gas gas
"""


def completion(commands):
    by_name = {"": commands.program} | commands.helps
    options = []
    values = {}
    for command, help_of in by_name.items():
        names = [name for option in help_of.options() for name in option.names]
        pattern = command if command else '""'
        options.append(f'    {pattern}) echo "{" ".join(names)}" ;;')
        for option in help_of.options():
            if option.value:
                known = " ".join(option.choices()) or ("FILE" if option.value == "FILE" else "")
                for name in option.names:
                    values.setdefault(known, []).append(f'"{command} {name}"')
    branches = []
    for known, patterns in values.items():
        # Words are broken between patterns.
        lines = ["   "]
        for number, pattern in enumerate(patterns):
            piece = pattern + (" |" if number + 1 < len(patterns) else ")")
            if len(lines[-1]) + 1 + len(piece) > 96:
                lines[-1] += " \\"
                lines.append("       ")
            lines[-1] += " " + piece
        branches.append("\n".join(lines) + f' echo "{known}" ;;')
    text = BASH.replace("@commands@", " ".join(commands.names))
    return text.replace("@options@", "\n".join(options)).replace("@values@", "\n".join(branches))


def main():
    arguments = sys.argv[1:]
    is_check = arguments[:1] == ["--check"]
    if len(arguments) != 1 + is_check:
        print("usage: tools/help_files.py [--check] GAS", file=sys.stderr)
        return 2
    commands = Commands(arguments[-1])
    stale = 0
    for name, text in (("gas.1", man_page(commands)), ("gas.bash", completion(commands))):
        path = os.path.join(FOLDER, name)
        if not is_check:
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
            continue
        with open(path, encoding="utf-8") as file:
            if file.read() != text:
                print(f"{path} is not what --help says: run tools/help_files.py GAS")
                stale += 1
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
