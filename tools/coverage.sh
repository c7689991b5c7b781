#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tells how much of the library its tests reach: lines and branches of gas/, by gcov and gcovr.
#
#   tools/coverage.sh            builds, runs all tests of the library, reports
#   tools/coverage.sh --report   reports on the last run
#
# Branches that the compiler makes for exceptions are left out, and asserts are not compiled. Writes
# what is not reached to build/coverage/lines.txt and branches.txt, and pages to html/; docs/testing.md
# says why it is not. Fails below 95 of 100 lines or 90 of 100 branches.
# GAS_BUILD_DIR names the folder of the builds (build), GAS_JOBS how many jobs run at once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

folder="${GAS_BUILD_DIR:-build}/coverage"
jobs="${GAS_JOBS:-$(nproc)}"
least_lines=95
least_branches=90

build_and_run() {
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    # Threads count at once. Nothing is inlined, so that each line stands for itself; of the
    # instruction sets the baseline alone can be mapped to its lines.
    cmake -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Release \
        "-DCMAKE_CXX_FLAGS_RELEASE=-O0 -DNDEBUG" \
        "-DCMAKE_CXX_FLAGS=--coverage -fprofile-update=atomic -fprofile-abs-path -DGAS_INLINE_FREELY" \
        -DGAS_INSTRUCTION_SETS=baseline -DGAS_JOIN_SOURCES=ON -DGAS_BUILD_APP=OFF -DGAS_BUILD_BENCH=OFF \
        -DGAS_BUILD_EXAMPLES=OFF -DGAS_INSTALL=OFF "${launcher[@]}" >"$folder/configure.log"
    cmake --build "$folder" --parallel "$jobs"
    find "$folder" -name '*.gcda' -delete
    # Tests that only compile have nothing to count.
    python3 tools/run_tests.py --jobs "$jobs" --only '^[a-z_]+[.][0-9]+$|^easy' "$folder"
}

report() {
    gcovr --root . --filter gas/ --object-directory "$folder" --exclude-throw-branches \
        --exclude-unreachable-branches -j "$jobs" --json "$folder/coverage.json" >/dev/null
    local from_json=(gcovr --root . --add-tracefile "$folder/coverage.json")
    mkdir -p "$folder/html"
    "${from_json[@]}" --txt "$folder/lines.txt" --html-details "$folder/html/index.html"
    "${from_json[@]}" --branches --txt "$folder/branches.txt"
    "${from_json[@]}" --print-summary --txt /dev/null --fail-under-line "$least_lines" \
        --fail-under-branch "$least_branches"
}

mkdir -p "$folder"
if [[ "${1:-}" != --report ]]; then
    build_and_run
fi
report
