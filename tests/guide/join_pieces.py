#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes one program of the pieces of C++ on a page, docs/guide.md, whose asserts all count.

    join_pieces.py PAGE SOURCE

A piece with an #include stands at file scope. The others of a section, from one heading to the next,
are the body of one function, in their order. What a compiler has to say names lines of the page.
"""

import re
import sys


def read_pieces(page):
    """The section of each piece, the line before its first, and its text."""
    section = 0
    first = None
    pieces = []
    with open(page, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if first is None:
                section += line.startswith("#")
                if line.startswith("```cpp"):
                    first, text = number, ""
                elif line.startswith("```"):
                    first, text = number, None
            elif line.startswith("```"):
                if text is not None:
                    pieces.append((section, first, text))
                first = None
            elif text is not None:
                text += line
    return pieces


def join(page):
    scope = "#undef NDEBUG\n"
    bodies = {}
    for section, line, text in read_pieces(page):
        placed = f'#line {line + 1} "{page}"\n{text}'
        if re.search(r"^#include", text, re.M):
            scope += placed
        else:
            bodies[section] = bodies.get(section, "") + placed
    functions = "".join(
        f"static void show_section_{section}() {{\n{body}}}\n" for section, body in bodies.items()
    )
    calls = "".join(f"    show_section_{section}();\n" for section in bodies)
    return f"{scope}{functions}int main() {{\n{calls}}}\n", len(bodies)


def main():
    page, source = sys.argv[1:]
    program, section_count = join(page)
    if section_count == 0:
        print(f"{page} has no pieces of code", file=sys.stderr)
        return 1
    with open(source, "w", encoding="utf-8") as file:
        file.write(program)
    return 0


if __name__ == "__main__":
    sys.exit(main())
