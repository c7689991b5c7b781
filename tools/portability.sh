#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the library with each compiler, for each machine, and runs the tests of exact results there.
#
#   tools/portability.sh           all rows whose compilers and emulators are installed
#   tools/portability.sh ROW...    these rows
#   tools/portability.sh --list    the names of the rows, and the Debian packages that they need
#
# A row builds the libraries into build/portability/ROW and runs the tests of the host, which cover
# the lanes, the golden trees, those of byte orders, and a user's program with its own flags. Prints a
# table of the rows; a row that cannot run is in it with what is missing. Fails where any row does.
# build/portability/table.md keeps what is known of all rows, from this run and earlier ones.
# GAS_BUILD_DIR names the folder of the builds (build), GAS_JOBS how many jobs run at once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

root="${GAS_BUILD_DIR:-build}/portability"
jobs="${GAS_JOBS:-$(nproc)}"
# Programs of tests, as tests/CMakeLists.txt names them.
programs="host golden byte_order"

# Each row: name, C++ compiler, Debian packages, machine (empty: this one), flags, lanes, programs of
# tests beside those above.
rows=()
for flags in O0 O2 O3; do
    for compiler in g++-11 g++-12 clang++-13 clang++-22; do
        for lanes in auto scalar; do
            name="${compiler//+/}" # clang-13, g-11
            name="${name/#g-/gcc-}-$flags"
            [[ $lanes == auto ]] || name+="-scalar"
            rows+=("$name|$compiler|${compiler/clang++/clang}||$flags|$lanes|")
        done
    done
done
for flags in O2 O3; do
    rows+=("aarch64-$flags|aarch64-linux-gnu-g++|g++-aarch64-linux-gnu qemu-user-static|aarch64|$flags|auto|")
done
rows+=(
    "armhf-O2|arm-linux-gnueabihf-g++|g++-arm-linux-gnueabihf qemu-user-static|arm|O2|auto|files easy"
    "s390x-O2|s390x-linux-gnu-g++|g++-s390x-linux-gnu qemu-user-static|s390x|O2|auto|"
    "windows-O2|x86_64-w64-mingw32-g++-posix|g++-mingw-w64-x86-64-posix wine64|windows|O2|auto|easy"
    "windows-O2-scalar|x86_64-w64-mingw32-g++-posix|g++-mingw-w64-x86-64-posix wine64|windows|O2|scalar|"
)

# Sets the variables of a row.
read_row() {
    IFS='|' read -r name compiler packages machine flags lanes more_programs <<<"$1"
    emulator=""
    case "$machine" in
    "") ;;
    windows) emulator=wine ;;
    *) emulator="qemu-$machine-static" ;;
    esac
}

list_rows() {
    local row
    for row in "${rows[@]}"; do
        read_row "$row"
        printf '%-22s %s\n' "$name" "$packages"
    done
}

# What a row lacks, or nothing.
find_missing() {
    local command
    for command in cmake ninja "$compiler" $emulator; do
        if ! command -v "$command" >/dev/null; then
            echo "no $command (Debian: $packages)"
            return
        fi
    done
    if [[ -n "$machine" && ! -e /usr/src/googletest/CMakeLists.txt ]]; then
        echo "no sources of the test library (Debian: googletest)"
    elif [[ "$machine" == windows ]] && ! run_wine --version >/dev/null 2>&1; then
        echo "wine does not start here"
    fi
}

# A Windows of its own for these runs.
run_wine() {
    mkdir -p "$root"
    WINEDEBUG=-all WINEPREFIX="$PWD/$root/wine" timeout 120 wine "$@"
}

# Programs for Windows find no path of a Linux in GTEST_OUTPUT.
write_wine_launcher() {
    local launcher="$PWD/$root/run_wine"
    cat >"$launcher" <<EOF
#!/bin/sh
GTEST_OUTPUT="\$(echo "\$GTEST_OUTPUT" | sed 's|^json:/|json:Z:/|')"
export GTEST_OUTPUT WINEDEBUG=-all WINEPREFIX="$PWD/$root/wine"
exec wine "\$@"
EOF
    chmod +x "$launcher"
    echo "$launcher"
}

configure() {
    local folder="$1"
    local options=(-G Ninja -DCMAKE_CXX_COMPILER="$(command -v "$compiler")" -DGAS_SIMD="$lanes"
        -DGAS_JOIN_SOURCES=ON -DGAS_TEST_SHARDS=2 -DGAS_BUILD_APP=OFF -DGAS_BUILD_BENCH=OFF
        -DGAS_BUILD_EXAMPLES=OFF -DGAS_INSTALL=OFF)
    if [[ "$flags" == O0 ]]; then
        options+=(-DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O0")
    else
        options+=(-DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-$flags -DNDEBUG")
    fi
    if command -v ccache >/dev/null; then
        options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    if [[ -n "$machine" ]]; then
        # The test library is built with the C compiler of the same name.
        options+=(-DGAS_GTEST_SOURCES=/usr/src/googletest
            -DCMAKE_C_COMPILER="$(command -v "${compiler/g++/gcc}")" -DCMAKE_SYSTEM_PROCESSOR="$machine")
    fi
    if [[ "$machine" == windows ]]; then
        # One file for each program: no path leads to the compiler's libraries.
        options+=(-DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=AMD64
            -DCMAKE_EXE_LINKER_FLAGS=-static "-DCMAKE_CROSSCOMPILING_EMULATOR=$(write_wine_launcher)")
    elif [[ -n "$machine" ]]; then
        options+=(-DCMAKE_SYSTEM_NAME=Linux
            "-DCMAKE_CROSSCOMPILING_EMULATOR=$emulator;-L;/usr/$("$compiler" -dumpmachine)")
    fi
    cmake --fresh -B "$folder" "${options[@]}"
}

# build_and_test <folder>: the last line of its output counts the tests.
build_and_test() {
    local folder="$1"
    configure "$folder" || return 1
    local targets=(gas_easy gas_flags_exact gas_flags_fused gas_flags_rounded_pairs_O{0,2,3})
    local names="" program
    for program in $programs $more_programs; do
        targets+=("gas_${program}_tests")
        if [[ $program == easy ]]; then
            targets+=(gas_easy_own_names)
        fi
        names+="${names:+|}$program"
    done
    cmake --build "$folder" --parallel "$jobs" --target "${targets[@]}" || return 1
    python3 tools/run_tests.py --jobs "$jobs" --only "^($names)[.]|^flags[.](exact\$|fused\$|rounded)" "$folder"
}

describe_target() {
    case "$machine" in
    "") uname -m ;;
    windows) echo "Windows x86_64, $(run_wine --version)" ;;
    arm) echo "armhf, 32 bits, $(describe_emulator)" ;;
    s390x) echo "s390x, big endian, $(describe_emulator)" ;;
    *) echo "$machine, $(describe_emulator)" ;;
    esac
}

describe_emulator() { "$emulator" --version | sed -n '1s/.*version \([0-9.]*\).*/QEMU \1/p'; }

describe_compiler() {
    case "$compiler" in
    clang*) "$compiler" --version | sed -n '1s/.*clang version \([0-9.]*\).*/Clang \1/p' ;;
    *) "$compiler" --version | sed -n '1s/.* (\(.*\)) \(.*\)/GCC \2/p' ;;
    esac
}

describe_lanes() {
    case "$lanes$machine" in
    scalar* | autoarm | autos390x) echo "scalar" ;;
    autoaarch64) echo "NEON" ;;
    autowindows) echo "SSE2" ;;
    *) echo "SSE2, rays by AVX2 where there is" ;;
    esac
}

failed=0
# run_row <row>: a line of the table in `line`.
run_row() {
    read_row "$1"
    local missing
    missing="$(find_missing)"
    if [[ -n "$missing" ]]; then
        line="| $name | | -$flags | | | skipped: $missing |"
        return
    fi
    local folder="$root/$name"
    mkdir -p "$folder"
    local log="$folder/portability.log" outcome start=$SECONDS
    if build_and_test "$folder" >"$log" 2>&1; then
        outcome="$(tail -n 1 "$log")"
    else
        outcome="FAILED: $(grep -cE '^FAILED: |error: ' "$log" || true) errors in $log"
        grep -E '^FAILED: |error: ' "$log" | head -n 20 >&2 || tail -n 20 "$log" >&2
        failed=1
    fi
    echo "$name: $outcome, $((SECONDS - start)) s" >&2
    line="| $name | $(describe_compiler) | -$flags | $(describe_lanes) | $(describe_target) | $outcome |"
}

if [[ "${1:-}" == --list ]]; then
    list_rows
    exit 0
fi
chosen=()
if (($# == 0)); then
    chosen=("${rows[@]}")
fi
for wanted in "$@"; do
    found=false
    for row in "${rows[@]}"; do
        if [[ "$row" == "$wanted|"* ]]; then
            chosen+=("$row")
            found=true
        fi
    done
    if ! $found; then
        echo "no row is called '$wanted'; see --list" >&2
        exit 2
    fi
done

# print_table <row>...: what is known of them.
print_table() {
    echo "| row | compiler | flags | lanes | machine | tests |"
    echo "|---|---|---|---|---|---|"
    local row
    for row in "$@"; do
        if [[ -f "$root/${row%%|*}.line" ]]; then
            cat "$root/${row%%|*}.line"
        fi
    done
}

mkdir -p "$root"
for row in "${chosen[@]}"; do
    run_row "$row"
    echo "$line" >"$root/$name.line"
done
print_table "${rows[@]}" >"$root/table.md"
print_table "${chosen[@]}"
exit "$failed"
