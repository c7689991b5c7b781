#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the rules of the house that a compiler does not: floors, sizes, names, the map of files.

Prints one line per finding, `file:line: message`, and exits with 1 if there is any. With
--add-licence it first writes the line of the licence into sources that lack it.
"""

import bisect
import json
import os
import re
import subprocess
import sys

import mutate

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# A folder of gas/ may include itself and the folders before it.
FLOORS = [
    "host", "object", "core", "scene", "traversal", "isa", "split", "build", "tree", "compressed",
    "grid", "rays", "diagnostics", "files", "easy",
]
# The rooms of a folder, likewise; files that stand in the folder itself are above its rooms.
ROOMS = {
    "gas/host": ["simd"],
    "gas/traversal": ["frame", "query", "single", "wide", "packet", "spatial"],
    "gas/tree": ["wide"],
    "apps/gas": ["math", "image", "mesh", "report", "trees", "scene", "render", "farm", "verify", "page",
                 "view", "cli"],
}
HOST_DOOR = "gas/host/host.h"
# Checks whichever host is behind the door; sources may include it.
HOST_CONTRACT = "gas/host/host_contract.h"

CODE_ROOTS = ("gas/", "apps/", "tests/", "bench/", "examples/", "fuzz/")
CODE_ENDINGS = (".h", ".cpp")
TEXT_ENDINGS = CODE_ENDINGS + (".py", ".sh", ".cmake", ".txt", ".md", ".json", ".in", ".yml")
BUILD_ENDINGS = (".py", ".sh", ".cmake", ".txt", ".json", ".in", ".yml")
LINE_LIMITS = {"gas/": 300, "apps/": 300, "tests/": 500, "bench/": 500, "examples/": 300}

# The page with the map of files. It has a heading for each folder of gas/, in the order of the
# floors, and a line for each header and the source of the same name:
# * `gas_tree.h` `.cpp`: what it holds
MAP_PAGE = "docs/architecture.md"
MAP_TITLE = "## Map of files"
MAP_FOLDER = re.compile(r"### `(gas/(?:\w+/)*)`: \S")
MAP_LINE = re.compile(r"\* `(\w+)(\.h|\.cpp)`(?: `(\.cpp)`)?: \S")

# A library file named in a comment or on a page must exist, except those that the build makes and
# those of a renderer.
FILE_NAME = re.compile(r"\bgas_\w+\.(?:h|cpp)\b")
OTHER_FILES = {"gas_export.h", "gas_files_export.h", "gas_host.h"}

# The line of the licence: the first of a source, or the second after #!. Golden hashes and the second
# implementation stay as they were written.
LICENCE = "SPDX-License-" + "Identifier: Apache-2.0"
LICENCE_MARKS = {
    "// ": (".h", ".cpp", ".h.in"),
    "# ": (".py", ".sh", ".cmake", ".cmake.in", "CMakeLists.txt", "/run", "check", "demo"),
}
UNCHANGED_FOLDERS = ("tests/golden/", "tests/naive/")

# The one version, and the recipe that has to repeat it.
VERSION_LIST = "CMakeLists.txt"
VERSION = re.compile(r"^\s*VERSION (\d+\.\d+\.\d+)$", re.M)
VERSION_COPY = "packaging/vcpkg/gas/vcpkg.json"

# The page that lists what a host has to provide, and where the names are used.
HOST_PAGE = "docs/host.md"
HOST_ACCESS = "gas/host/host_access.h"
HOST_FUNCTION = re.compile(r"^(?:inline|template)[^\n(]*?\b(\w+)\(", re.M)
HOST_CHECK = re.compile(r"^static_assert\(\w+<(\w+)", re.M)

# Pages whose tables name tests. Where the last column is headed "shown by", each row has there
# `tests/folder/file_test.cpp` `Suite.Name`, `Suite.Name`; or the path of another file of tests/.
TEST_PAGES = ("docs/limits.md", "docs/guarantees.md")
SHOWN_BY = re.compile(r"\| *shown by *\|$")
NAMED_TESTS = re.compile(r"`(tests/[\w./]+)`((?:,? `\w+\.\w+`)*)")
TEST = re.compile(r"\b(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)")

# The program that README.md shows.
README_PROGRAM = "examples/easy_first_ray.cpp"

# Files that may be longer, each with the reason beside it.
LONG_FILES: dict[str, str] = {}

# Files of tests/ that are not `<name>_test.cpp` beside a file of the library.
SUPPORT_FOLDERS = (
    "tests/support/", "tests/naive/", "tests/mirror/", "tests/package/", "tests/seam/", "tests/flags/",
    "tests/long/",
)

LANE_FILES = re.compile(
    r"gas/(host/(simd/\w+|simd_[fi])|core/gas_(lane_pairs|twin_lanes|box_lanes))\.h$"
)
LANE_RULES = [
    (
        re.compile(r"#\s*include\s*[<\"](\w*intrin\.h|arm_neon\.h|arm_sve\.h)[>\"]"),
        "an intrinsics header outside the lane back ends",
    ),
    (
        re.compile(
            r"\b(__SSE\w*|__AVX\w*|__ARM_\w+|__FMA__|__arm__|__aarch64__|__x86_64__|__i386__"
            r"|__amd64__|_M_X64|_M_IX86\w*|_M_ARM\w*|_M_AMD64)\b"
        ),
        "a test of the architecture outside the lane back ends",
    ),
    (
        re.compile(r"\b(_mm\d*_\w+|__m128\w*|__m256\w*|float32x4_t|u?int32x4_t|v\w+q_[fsu]32)\b"),
        "an intrinsic outside the lane back ends",
    ),
]

# What must not stand in the code of the library.
LIBRARY_RULES = [
    (
        re.compile(r"\bstd\s*::\s*(min|max|minmax|clamp|fmin|fmax)\b|\bf(min|max)[fl]?\s*\("),
        "use the ordered minimum and maximum of gas_numeric.h, not {0}",
    ),
    (
        re.compile(
            r"\bstd\s*::\s*((stable_|partial_)?sort|(stable_)?partition|nth_element|ranges\s*::"
            r"\s*(stable_)?(sort|partition))\b|\bqsort\s*\("
        ),
        "order shows in the result: use our own sort or partition, not {0}",
    ),
    (re.compile(r"\bstd\s*::\s*fma\b|\bfma[fl]?\s*\("), "nothing fuses here: {0}"),
    (re.compile(r"\bstd\s*::\s*l?l?(round|rint)f?\b|\bl?lrintf?\s*\("), "use gas_truncate, not {0}"),
]
STREAM_HEADER = re.compile(r"#\s*include\s*<(iostream|ostream|istream|fstream|sstream)>")
USING_NAMESPACE = re.compile(r"\busing\s+namespace\b")
ABI_NAMESPACE = "gas_abi1"
ABI_OPENING = re.compile(r"^inline namespace " + ABI_NAMESPACE + r" \{$", re.M)
ANY_ABI_OPENING = re.compile(r"\bnamespace\s+gas_abi\w*\s*\{")
ABI_CLOSING = re.compile(r"^\} // namespace " + ABI_NAMESPACE + "$", re.M)
PREPROCESSOR = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*$", re.M)
INCLUDE = re.compile(r"^[ \t]*#\s*include\s*(?P<open>[<\"])(?P<path>[^>\"]+)[>\"]", re.M)
TREE_CLASS = re.compile(r"\bGas(Compressed|Grid)?Tree\b")
FAST_MATH = re.compile(r"-f" + r"fast-math|-f" + r"unsafe-math|-O" + r"fast")

# Work left half done, and checks that cannot fail. Written in pieces, so that this file passes.
HALF_DONE = re.compile(
    "|".join(
        [
            r"\b" + word + r"\b"
            for word in ("TO" + "DO", "FIX" + "ME", "X" + "XX", "HA" + "CK")
        ]
        + [r"\bDIS" + r"ABLED_", "GTEST_" + "SKIP", r"(?:EXPECT|ASSERT)_TRUE\(" + r"true\)"]
    ),
    re.IGNORECASE,
)
NEVER_COMPILED = re.compile(r"^[ \t]*#[ \t]*if[ \t]+(0|false)\b", re.M)


class Source:
    """A file of the tree: its text, and for C++ its text without comments and strings."""

    def __init__(self, path):
        self.path = path
        with open(os.path.join(ROOT, path), encoding="utf-8", errors="replace") as file:
            self.text = file.read()
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", self.text)]
        self.is_code = path.endswith(CODE_ENDINGS)
        self.code = blank_comments_and_strings(self.text) if self.is_code else ""

    def line_of(self, offset):
        return bisect.bisect_right(self.line_starts, offset)

    def line_count(self):
        """Lines but for that of the licence."""
        return self.text.count("\n") - (licence_line(self.path) in self.text.split("\n", 2)[:2])


class Report:
    def __init__(self):
        self.findings = []

    def add(self, path, line, message):
        self.findings.append((path, line, message))

    def add_matches(self, source, pattern, message, text=None):
        for match in pattern.finditer(source.code if text is None else text):
            self.add(source.path, source.line_of(match.start()), message.format(match.group(0)))


COMMENT_OR_STRING = re.compile(
    r"//[^\n]*|/\*.*?\*/"
    r"|R\"(?P<delimiter>[^(\s]{0,16})\(.*?\)(?P=delimiter)\""
    r"|\"(?:\\.|[^\"\\\n])*\""
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'",
    re.S,
)


def blank_comments_and_strings(text):
    """Replaces comments and literals by spaces; line breaks, offsets and include paths stay."""

    def blank(match):
        line_start = text.rfind("\n", 0, match.start()) + 1
        if re.match(r"[ \t]*#\s*include\s*$", text[line_start : match.start()]):
            return match.group(0)
        return re.sub(r"[^\n]", " ", match.group(0))

    return COMMENT_OR_STRING.sub(blank, text)


def licence_line(path):
    """The line as a file has to have it, or None."""
    if path.startswith(UNCHANGED_FOLDERS):
        return None
    for mark, endings in LICENCE_MARKS.items():
        if path.endswith(endings):
            return mark + LICENCE
    return None


def add_licence(paths):
    """Writes the line of the licence into files that lack it."""
    for path in paths:
        line = licence_line(path)
        if line is None:
            continue
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            lines = file.read().split("\n")
        first = 1 if lines[0].startswith("#!") else 0
        if lines[first] != line:
            lines.insert(first, line)
            with open(os.path.join(ROOT, path), "w", encoding="utf-8") as file:
                file.write("\n".join(lines))


def check_licence(source, report):
    line = licence_line(source.path)
    if line is None:
        return
    lines = source.text.split("\n", 2)
    if lines[1 if lines[0].startswith("#!") else 0] != line:
        report.add(source.path, 1, f"lacks the line {line} (tools/check_house.py --add-licence)")


def tree_files():
    """The files of the tree, tracked or new, without what git ignores."""
    command = ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others"]
    command.append("--exclude-standard")
    try:
        listing = subprocess.run(command, cwd=ROOT, check=True, capture_output=True).stdout
        paths = set(listing.decode().split("\0")) - {""}
    except (OSError, subprocess.CalledProcessError):
        paths = set(walk_files())
    return sorted(path for path in paths if os.path.isfile(os.path.join(ROOT, path)))


def walk_files():
    for folder, subfolders, names in os.walk(ROOT):
        subfolders[:] = [name for name in subfolders if name not in (".git", "build", "pictures")]
        for name in names:
            yield os.path.relpath(os.path.join(folder, name), ROOT)


def floor_of(path):
    parts = path.split("/")
    return parts[1] if len(parts) > 2 and parts[0] == "gas" else None


def room_of(path, folder):
    """The place of a file's room in its folder; files of the folder itself come last."""
    rest = path[len(folder) + 1 :].split("/")
    rooms = ROOMS[folder]
    if len(rest) == 1:
        return len(rooms)
    return rooms.index(rest[0]) if rest[0] in rooms else None


def check_rooms(source, report):
    for folder, rooms in ROOMS.items():
        if not source.path.startswith(folder + "/"):
            continue
        room = room_of(source.path, folder)
        if room is None:
            report.add(source.path, 1, f"stands in no room of {folder}: {', '.join(rooms)}")
            continue
        for match in INCLUDE.finditer(source.code):
            included = match.group("path")
            if not included.startswith(folder + "/"):
                continue
            other = room_of(included, folder)
            if other is None or other > room:
                line = source.line_of(match.start("path"))
                report.add(source.path, line, f"a room looks up: <{included}>")


def check_includes(source, report):
    for match in INCLUDE.finditer(source.code):
        if match.group("open") == '"' and not source.path.startswith("examples/"):
            line = source.line_of(match.start("path"))
            written = match.group("path")
            report.add(source.path, line, f'includes start at the root, not "{written}"')
    check_rooms(source, report)
    floor = floor_of(source.path)
    if floor is None:
        return
    if floor not in FLOORS:
        report.add(source.path, 1, f"gas/{floor} is no floor of the library")
        return
    for match in INCLUDE.finditer(source.code):
        line = source.line_of(match.start("path"))
        included = match.group("path")
        other = floor_of(included)
        if other is None:
            continue
        if other not in FLOORS:
            report.add(source.path, line, f"gas/{other} is no floor of the library")
        elif FLOORS.index(other) > FLOORS.index(floor):
            report.add(source.path, line, f"{floor} looks up at {other}: <{included}>")
        elif other == "host" and floor != "host" and included != HOST_DOOR:
            if included == HOST_CONTRACT and source.path.endswith(".cpp"):
                continue
            report.add(source.path, line, f"the host has one door, <{HOST_DOOR}>: <{included}>")


def check_code(source, report):
    if not LANE_FILES.match(source.path):
        for pattern, message in LANE_RULES:
            report.add_matches(source, pattern, message + ": {0}")
    is_header = source.path.endswith(".h")
    if is_header:
        if not re.search(r"^#pragma once$", source.code, re.M):
            report.add(source.path, 1, "a header starts with #pragma once")
        report.add_matches(source, USING_NAMESPACE, "no {0} in a header")
    report.add_matches(source, NEVER_COMPILED, "code that is never compiled: {0}")
    if not source.path.startswith("gas/"):
        return
    # What trees are and find depends on none of the owning interface's arithmetic.
    if not source.path.startswith("gas/easy/"):
        for pattern, message in LIBRARY_RULES:
            report.add_matches(source, pattern, message)
    if not (source.path.startswith("gas/host/") and not is_header):
        report.add_matches(source, STREAM_HEADER, "streams stay in the sources of the host: {0}")
    if source.path.startswith("gas/traversal/"):
        report.add_matches(source, TREE_CLASS, "traversal names no tree class: {0}")


def check_namespace(source, report):
    """What the library names stands in one inline namespace, so that two of its kinds can be linked."""
    if not source.path.startswith("gas/") or source.path == HOST_DOOR:
        return
    if not PREPROCESSOR.sub("", source.code).strip():
        return
    openings = [match.start() for match in ABI_OPENING.finditer(source.code)]
    closings = [match.start() for match in ABI_CLOSING.finditer(source.text)]
    once = len(openings) == len(closings) == len(ANY_ABI_OPENING.findall(source.code)) == 1
    if not once or openings[0] > closings[0]:
        report.add(source.path, 1, f"stands in one inline namespace {ABI_NAMESPACE}")
        return
    for match in INCLUDE.finditer(source.code, openings[0]):
        line = source.line_of(match.start("path"))
        report.add(source.path, line, f"an include behind inline namespace {ABI_NAMESPACE}")
    # Other namespaces may stand around it.
    if PREPROCESSOR.sub("", source.code[closings[0] + 1 :]).strip("} \n"):
        report.add(source.path, source.line_of(closings[0]), f"code behind {ABI_NAMESPACE}")


def check_text(source, report):
    report.add_matches(source, HALF_DONE, "left half done: {0}", source.text)
    if source.path.endswith(BUILD_ENDINGS):
        report.add_matches(source, FAST_MATH, "inexact arithmetic: {0}", source.text)
    for folder, limit in LINE_LIMITS.items():
        if not (source.is_code and source.path.startswith(folder)):
            continue
        if source.line_count() > limit and source.path not in LONG_FILES:
            report.add(source.path, limit + 1, f"{source.line_count()} lines, more than {limit}")


def check_test_names(paths, report):
    """tests/<folder>/<name>_test.cpp stands for a file of gas/<folder>, whose name starts <name>.

    Suites over several tree classes stand in tests/trees/ under the name of their topic.
    """
    for path in paths:
        if not re.match(r"tests/\w+/.*\.cpp$", path):
            continue
        folder = path.split("/")[1]
        room = os.path.dirname(path)[len("tests/") :]
        name = os.path.basename(path)
        if not name.endswith("_test.cpp"):
            if not path.startswith(SUPPORT_FOLDERS):
                report.add(path, 1, "a test source is named <name>_test.cpp")
            continue
        if folder in FLOORS:
            mirrored = f"gas/{room}/"
        elif folder == "app":
            mirrored = "apps/"
        elif folder in ("support", "naive"):
            mirrored = f"tests/{folder}/"
        elif folder == "trees":
            if not re.fullmatch(r"trees_\w+_test\.cpp", name):
                report.add(path, 1, "suites over both tree classes are named trees_<topic>_test.cpp")
            continue
        else:
            continue
        stems = {
            os.path.splitext(os.path.relpath(other, mirrored))[0].split("/")[-1]
            for other in paths
            if other.startswith(mirrored)
            and other.endswith(CODE_ENDINGS)
            and not other.endswith("_test.cpp")
        }
        tested = name[: -len("_test.cpp")]
        if not any(tested == stem or tested.startswith(stem + "_") for stem in stems):
            report.add(path, 1, f"mirrors no file of {mirrored}")


def check_listed(paths, report):
    """Sources are listed, never globbed: what no list names is neither built nor run."""
    list_files = [path for path in paths if os.path.basename(path) == "CMakeLists.txt"]
    words = {}
    for path in list_files:
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            lines = [line.split("#")[0] for line in file]
        words[os.path.dirname(path)] = set(re.findall(r"[\w./-]+", "".join(lines)))
    for path in paths:
        if not path.startswith(CODE_ROOTS) or not path.endswith(CODE_ENDINGS):
            continue
        if path.endswith(".h") and not path.startswith("gas/"):
            continue
        folder = os.path.dirname(path)
        while folder and folder not in words:
            folder = os.path.dirname(folder)
        relative = os.path.relpath(path, folder or ".")
        # Examples and fuzz targets are listed by their names alone.
        names = {relative}
        if folder in ("examples", "fuzz"):
            names.add(os.path.splitext(relative)[0])
        if not names & words.get(folder, set()):
            report.add(path, 1, f"not listed in {os.path.join(folder, 'CMakeLists.txt')}")


def map_folders():
    """The folders of gas/ from the ground up, rooms before the files of their floor."""
    folders = ["gas/"]
    for floor in FLOORS:
        folder = f"gas/{floor}/"
        folders += [f"{folder}{room}/" for room in ROOMS.get(folder[:-1], [])] + [folder]
    return folders


def read_map(report):
    """The line of each file that the map names."""
    with open(os.path.join(ROOT, MAP_PAGE), encoding="utf-8") as page:
        lines = page.read().split("\n")
    first = lines.index(MAP_TITLE) + 1 if MAP_TITLE in lines else len(lines)
    folders = []
    named = {}
    for number, line in enumerate(lines[first:], first + 1):
        if line.startswith("## "):
            break
        heading = MAP_FOLDER.match(line)
        entry = MAP_LINE.match(line)
        if heading:
            folders.append(heading.group(1))
        elif entry and folders:
            stem, ending, source = entry.groups()
            for path in [folders[-1] + stem + ending] + [folders[-1] + stem + ".cpp"] * bool(source):
                if path in named:
                    report.add(MAP_PAGE, number, f"names {path} twice")
                named[path] = number
        elif folders and line:
            report.add(MAP_PAGE, number, "a line of the map is * `file.h` `.cpp`: what it holds")
    if folders != map_folders():
        report.add(MAP_PAGE, first, "the map has these folders: " + " ".join(map_folders()))
    return named


def check_map(paths, report):
    """The map of files names every header and source of gas/, and nothing else."""
    named = read_map(report)
    files = {path for path in paths if path.startswith("gas/") and path.endswith(CODE_ENDINGS)}
    for path in sorted(files - set(named)):
        report.add(path, 1, f"has no line on the map of files in {MAP_PAGE}")
    for path in sorted(set(named) - files):
        report.add(MAP_PAGE, named[path], f"names {path}, which is no file")


def check_file_names(source, known, report):
    """Comments and pages name files that exist; check_map looks at the lines of the map."""
    text = source.text
    if source.path == MAP_PAGE:
        text = re.sub(rf"^{MAP_LINE.pattern}", lambda entry: " " * len(entry.group(0)), text, flags=re.M)
    for match in FILE_NAME.finditer(text):
        if match.group(0) not in known and match.group(0) not in OTHER_FILES:
            line = source.line_of(match.start())
            report.add(source.path, line, f"names {match.group(0)}, which is no file")


def check_named_tests(paths, report):
    """Pages that promise something name tests that exist."""
    for page in set(TEST_PAGES) & set(paths):
        is_shown_by = False
        for number, line in enumerate(Source(page).text.split("\n"), 1):
            if not line.startswith("|"):
                is_shown_by = False
            elif SHOWN_BY.search(line):
                is_shown_by = True
            elif is_shown_by and not line.startswith("|---"):
                if not NAMED_TESTS.search(line.rstrip("| ").rpartition("|")[2]):
                    report.add(page, number, "a row without a test")
            for path, names in NAMED_TESTS.findall(line):
                check_named_test(page, number, path, names, paths, report)


def check_named_test(page, number, path, names, paths, report):
    if path not in paths:
        report.add(page, number, f"names {path}, which is no file")
        return
    names = re.findall(r"\w+\.\w+", names)
    if path.endswith("_test.cpp") and not names:
        report.add(page, number, f"names no test of {path}")
    tests = {".".join(test) for test in TEST.findall(Source(path).text)}
    for name in names:
        if name not in tests:
            report.add(page, number, f"names {name}, which is no test of {path}")


def check_readme(report):
    """The program that README.md shows is the one that is built and run."""
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
        shown = re.search(r"```cpp\n(.*?)```", readme.read(), re.DOTALL)
    with open(os.path.join(ROOT, README_PROGRAM), encoding="utf-8") as program:
        if not shown or f"// {LICENCE}\n{shown.group(1)}" != program.read():
            report.add("README.md", 1, f"its first program is not {README_PROGRAM}")


def check_host_page(report):
    """The page of hosts names each function that reads their records, and each type that is checked."""
    page = set(re.findall(r"`(\w+)", Source(HOST_PAGE).text))
    names = set(HOST_FUNCTION.findall(Source(HOST_ACCESS).code))
    for path in (HOST_CONTRACT, HOST_CONTRACT.replace(".h", "_values.h")):
        names |= set(HOST_CHECK.findall(Source(path).code)) - {"std"}
    for name in sorted(names - page):
        report.add(HOST_PAGE, 1, f"does not list `{name}`, which a host has to provide")


def check_mutations(report):
    """The lists of mutations follow the library: each line of theirs stands in its file once."""
    for mutation in mutate.read_lists([]):
        path = os.path.join(ROOT, mutation.path)
        places = mutation.find_places(mutate.read_text(path)) if os.path.exists(path) else []
        if len(places) != 1:
            page = f"tests/mutations/{mutation.area}.txt"
            report.add(page, 1, f"{len(places)} lines of {mutation.path} are: {mutation.line}")


def check_version(report):
    """Recipes of packages name the project's version."""
    with open(os.path.join(ROOT, VERSION_LIST), encoding="utf-8") as file:
        version = VERSION.search(file.read()).group(1)
    with open(os.path.join(ROOT, VERSION_COPY), encoding="utf-8") as file:
        copied = json.load(file)["version-semver"]
    if copied != version:
        report.add(VERSION_COPY, 1, f"has version {copied}, the project {version}")


def main():
    paths = tree_files()
    if sys.argv[1:] == ["--add-licence"]:
        add_licence(paths)
    elif sys.argv[1:]:
        print("usage: tools/check_house.py [--add-licence]", file=sys.stderr)
        return 2
    known = {os.path.basename(path) for path in paths}
    report = Report()
    for path in paths:
        is_text = path.endswith(TEXT_ENDINGS) or "." not in os.path.basename(path)
        if not is_text or path == "LICENSE":
            continue
        source = Source(path)
        check_text(source, report)
        check_licence(source, report)
        # The changelog lists old names, too.
        if source.is_code or (path.endswith(".md") and path != "CHANGELOG.md"):
            check_file_names(source, known, report)
        if source.is_code and path.startswith(CODE_ROOTS):
            check_includes(source, report)
            check_code(source, report)
            check_namespace(source, report)
    check_test_names(paths, report)
    check_listed(paths, report)
    check_map(paths, report)
    check_named_tests(paths, report)
    check_readme(report)
    check_host_page(report)
    check_mutations(report)
    check_version(report)

    for path, line, message in sorted(report.findings):
        print(f"{path}:{line}: {message}")
    if report.findings:
        print(f"{len(report.findings)} findings")
        return 1
    print(f"{len(paths)} files keep the rules of the house.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
