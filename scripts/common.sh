# shellcheck shell=bash
# Sourced by the scripts in this folder. It sets `root`, and gives this clone a Wine prefix.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Programs run without a display and without Wine's messages, write nothing outside the build folder, and take names and
# arguments as UTF-8.
export WINEPREFIX=$root/build/wine WINEDEBUG=-all
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=d'
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

# quietly STEP COMMAND...: runs COMMAND, shows STEP and the seconds that it took, and shows the command's output only if it
# fails. On a terminal it also shows the last count in the output, such as 12/80, while the command runs.
quietly() {
    local step=$1 start=$SECONDS status=0 watcher='' log
    shift
    log=$(mktemp)
    printf '%s' "$step"
    if [ -t 1 ]; then
        show_counts "$step" "$log" &
        watcher=$!
    fi
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ -n "$watcher" ]; then
        kill "$watcher"
        wait "$watcher" 2>/dev/null || true
        printf '\r\033[K%s' "$step"
    fi
    echo ": $((SECONDS - start)) s"
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        echo "failed: $*" >&2
    fi
    rm -f "$log"
    return "$status"
}

show_counts() {
    while sleep 0.5 && kill -0 $$ 2>/dev/null; do
        printf '\r%s %s' "$1" "$(tail -c 1000 "$2" | grep -oE '^[[ ]*[0-9]+/[0-9]+' | tr -d '[ ' | tail -n 1)"
    done
}

# build PRESET [OPTION...] [-- TARGET...]: configures a preset and builds it, all of it without TARGET.
build() {
    local preset=$1 options=()
    shift
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        options+=("$1")
        shift
    done
    shift $(($# > 0))
    quietly "configuring $preset" cmake -S "$root" --preset "$preset" "${options[@]}"
    quietly "building $preset" cmake --build "$root/build/$preset" ${1:+--target "$@"}
}

# Starts Wine, and ends it and every program in it with the script. The server stays between two programs, because
# services that a program starts itself hold its output open for seconds.
start_wine() {
    trap stop_wine EXIT
    mkdir -p "$WINEPREFIX"
    wineserver -p300 </dev/null >/dev/null 2>&1 || true
    quietly "starting Wine" wineboot -i
}

stop_wine() {
    wineserver -k || true
    wineserver -w
} >/dev/null 2>&1

# is_version TOOL VERSION: whether TOOL is of this major version. Checks that depend on a tool's version run with the one
# that they were written for.
is_version() {
    [[ $("$1" --version 2>/dev/null) =~ version\ $2\. ]] && return
    echo "left out: $1 is not of version $2"
    return 1
}
