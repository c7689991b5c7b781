# SPDX-License-Identifier: Apache-2.0
# Sourced: lists the files of the tree, tracked or new, but neither ignored nor deleted.
# shellcheck shell=bash

# Prints the files that match the given git path patterns, each followed by a zero byte.
tree_files() {
    local file
    git -c safe.directory='*' ls-files -z --cached --others --exclude-standard -- "$@" |
        sort -zu |
        while IFS= read -r -d '' file; do
            if [[ -f "$file" ]]; then
                printf '%s\0' "$file"
            fi
        done
}
