#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a part of the tests under valgrind's memcheck: what is used before it was given a value, which
# the address sanitizer does not see, and what leaks. Any error is a failure.
#
#   tools/valgrind.sh [<folder>]    the folder of a build with tests; build/release without one
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder="${1:-${GAS_BUILD_DIR:-build}/release}"
if ! command -v valgrind >/dev/null; then
    echo "valgrind is not installed."
    exit 0
fi

# A program of tests and which of them: each operation once at least, over small scenes.
suite=(
    'memory *'
    'object *'
    'core *'
    'files GasTreeFiles*:GasLoadTree*:GasValidateFile*'
    'easy *'
    'diagnostics *Validate*:*MemorySize*:GasTreePrint*:CountedQueries*'
    'tree GasTree*:Refit*:MotionSamples*:TreeWide*:NodePass*:UpwardPass*:WideNodes*'
    'trees TreesLife.*:TreesLife/*:TreesMoves*:TreesRays/*:TreesSamples*:TreesThrow*:TreesArrays*:TreesValidate*:TreesClosestItem*:TreeAllocations*:MotionSamples*:TreesStreams*'
    'compressed GasCompressedTree.*:BoxCodec.*:CompressedSamples*:CompressedStreams*:CompressedTreeAll*:Quantize*:Slots*:StaleCache*'
    'grid GasGridTree.*:GridAllocations*:GridCells.*:GridCopies*:GridLeafBboxes*:GridMotion*:GridMoves*:GridThrow*:GridStreams*'
)

# Valgrind 3.19 does not know every encoding of AVX that assemblers choose, such as a vmovq between
# two registers by the opcode of a store.
export GAS_ISA=baseline

# run_program <program and filter>
run_program() {
    local program="${1%% *}" filter="${1#* }"
    local log="$folder/valgrind_$program.log"
    # The operator new of programs that count or fail allocations is to be theirs.
    local memcheck=(valgrind --quiet --error-exitcode=9 --leak-check=full --num-callers=24
        --soname-synonyms=somalloc=nouserintercepts
        --errors-for-leak-kinds=definite,possible --show-leak-kinds=definite,possible)
    local seconds status=0
    TIMEFORMAT=%U
    seconds="$({ time "${memcheck[@]}" "$folder/tests/gas_${program}_tests" --gtest_brief=1 \
        --gtest_filter="$filter" >"$log" 2>&1; } 2>&1)" || status=$?
    if ((status != 0)) || grep -q 'Running 0 tests' "$log"; then
        echo "$program: FAILED, see $log"
        tail -n 60 "$log"
        return 1
    fi
    echo "$program: $(tail -n 1 "$log") in $seconds s of processor time"
}

export -f run_program
export folder
printf '%s\0' "${suite[@]}" | xargs -0 -P "$(nproc)" -I {} bash -c 'run_program "$1"' _ {}
