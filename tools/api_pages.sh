#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes pages of the public headers by Doxygen, whose warnings are errors.
#
#   tools/api_pages.sh [<folder>]    build/api_pages without one; the pages are in its folder api/
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder="${1:-${GAS_BUILD_DIR:-build}/api_pages}"
if ! command -v doxygen >/dev/null; then
    echo "doxygen is not installed."
    exit 0
fi
cmake -S . -B "$folder" -G Ninja -DGAS_BUILD_APP=OFF -DGAS_BUILD_BENCH=OFF \
    -DGAS_BUILD_EXAMPLES=OFF -DGAS_BUILD_TESTS=OFF >/dev/null
cmake --build "$folder" --target gas_api_pages
echo "The first page is $folder/api/index.html"
