# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Completion of the program gas; written by tools/help_files.py from what the program says of itself.

# The commands, and the options of a command or of the program.
_gas_commands="render merge build stats report query verify view"
_gas_options() {
    case "$1" in
    "") echo "-h --help --version" ;;
    render) echo "-h --help --items --build --tree --wide --cells --cell-progress --threads --motion --up --detail --json --quiet -o --output --format --load --tiles --tiles-folder --size --spp --ao --camera --look-at --repeat --frames --animate --refit-limit --seed --heatmap --packet --stream --brute-force" ;;
    merge) echo "-h --help -o --output --format --json --quiet" ;;
    build) echo "-h --help --items --build --tree --wide --cells --cell-progress --threads --motion --up --detail --json --quiet -o --output" ;;
    stats) echo "-h --help --items --build --tree --wide --cells --cell-progress --threads --motion --up --detail --json --quiet --validate" ;;
    report) echo "-h --help --items --build --tree --wide --cells --cell-progress --threads --motion --up --detail --json --quiet -o --output --load --size --spp --rounds --camera" ;;
    query) echo "-h --help --build --box --nearest --count --max-distance --json" ;;
    verify) echo "-h --help --rays --seed --items --build --in-turn --threads --json" ;;
    view) echo "-h --help --items --build --tree --wide --cells --cell-progress --threads --motion --up --detail --json --quiet --port" ;;
    esac
}

# What the value of an option may be: a few words, a FILE, or nothing that is known. Options without a
# value fail.
_gas_values() {
    case "$1 $2" in
    "render --items" | "render --cells" | "render --threads" | "render --detail" | \
        "render --tiles" | "render --tiles-folder" | "render --size" | "render --spp" | \
        "render --ao" | "render --camera" | "render --look-at" | "render --repeat" | \
        "render --frames" | "render --refit-limit" | "render --seed" | "render --packet" | \
        "merge -o" | "merge --output" | "merge --format" | "build --items" | "build --cells" | \
        "build --threads" | "build --detail" | "stats --items" | "stats --cells" | \
        "stats --threads" | "stats --detail" | "report --items" | "report --cells" | \
        "report --threads" | "report --detail" | "report --size" | "report --spp" | \
        "report --rounds" | "report --camera" | "query --box" | "query --nearest" | \
        "query --count" | "query --max-distance" | "verify --rays" | "verify --seed" | \
        "verify --items" | "verify --threads" | "view --items" | "view --cells" | \
        "view --threads" | "view --detail" | "view --port") echo "" ;;
    "render --build" | "build --build" | "stats --build" | "report --build" | "query --build" | \
        "view --build") echo "median hybrid sah-fast sah" ;;
    "render --tree" | "build --tree" | "stats --tree" | "report --tree" | "view --tree") echo "plain compressed grid" ;;
    "render --wide" | "build --wide" | "stats --wide" | "report --wide" | "view --wide") echo "on off" ;;
    "render --up" | "build --up" | "stats --up" | "report --up" | "view --up") echo "x y z" ;;
    "render -o" | "render --output" | "render --load" | "build -o" | "build --output" | \
        "report -o" | "report --output" | "report --load") echo "FILE" ;;
    "render --format") echo "png ppm pfm exr" ;;
    "render --animate") echo "turn wave" ;;
    "render --stream") echo "off on all" ;;
    "verify --build") echo "median hybrid sah-fast sah all" ;;
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
