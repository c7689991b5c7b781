#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Formats the C++ files of the tree in place; with --check only reports what would change.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/tree_files.sh

case "${1:-}" in
"") mode=(-i) ;;
--check) mode=(--dry-run -Werror) ;;
*)
    echo "usage: tools/format.sh [--check]" >&2
    exit 2
    ;;
esac

# Versions of clang-format disagree in details; 14 decides where it is at hand.
program=clang-format
if command -v clang-format-14 >/dev/null; then
    program=clang-format-14
fi
tree_files '*.h' '*.cpp' | xargs -0 -r "$program" "${mode[@]}"
