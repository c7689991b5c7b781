#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the binary interface with that of an older commit, by abidiff of libabigail.
#
#   tools/abi_diff.sh [<commit>]    against the commit, or the latest tag before this one
#
# Fails where a library of the same SONAME has changed in anything but new symbols: programs that were
# linked to the older one may break. Without abidiff, or without a tag, there is nothing to compare.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
older="${1:-$(git describe --tags --abbrev=0 HEAD 2>/dev/null || true)}"
if [[ -z "$older" ]]; then
    echo "No tag to compare with."
    exit 0
fi
if ! command -v abidiff >/dev/null; then
    echo "abidiff is not installed."
    exit 0
fi

folder="${GAS_BUILD_DIR:-build}/abi"
mkdir -p "$folder"
folder="$(cd "$folder" && pwd)"
rm -rf "$folder/older_source"
git worktree prune
git worktree add --quiet --detach "$folder/older_source" "$older"
trap 'git worktree remove --force "$folder/older_source"' EXIT

# build <source> <folder>: the shared libraries, with what abidiff reads of their types.
build() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=-g \
        -DBUILD_SHARED_LIBS=ON -DGAS_BUILD_APP=OFF -DGAS_BUILD_BENCH=OFF -DGAS_BUILD_EXAMPLES=OFF \
        -DGAS_BUILD_TESTS=OFF >/dev/null
    cmake --build "$2" >/dev/null
}
build "$folder/older_source" "$folder/older"
build . "$folder/newer"

broken=0
for library in libgas_host.so libgas.so libgas_files.so; do
    if [[ ! -e "$folder/older/gas/$library" ]]; then
        continue # it came later
    fi
    older_name="$(readlink "$folder/older/gas/$library")"
    newer_name="$(readlink "$folder/newer/gas/$library")"
    status=0
    abidiff --no-added-syms "$folder/older/gas/$library" "$folder/newer/gas/$library" || status=$?
    # Bits 0 and 1: abidiff itself failed. Bit 2: something changed that is no new symbol; programs may
    # break, as a new SONAME says. Bit 3, which comes with bit 2: they are sure to.
    if ((status & 3)) || { ((status & 4)) && [[ "$older_name" == "$newer_name" ]]; }; then
        echo "$library is not what programs of $older were linked to."
        broken=1
    fi
done
exit "$broken"
