# shellcheck shell=bash
# For the scripts beside it, which source it: `root`, and a Wine of this clone's own.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Programs run without display and without Wine's own messages, write nothing outside the build folder,
# and see names and arguments as UTF-8.
export WINEPREFIX=$root/build/wine WINEDEBUG=-all
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=d'
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

# quietly WHAT COMMAND...: says WHAT; what the command prints is shown only when it fails.
quietly() {
    local what=$1 log
    shift
    echo "$what"
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        rm -f "$log"
        echo "failed: $*" >&2
        return 1
    fi
    rm -f "$log"
}

# build PRESET [TARGET...]: configures and builds a preset, all of it without TARGET.
build() {
    local preset=$1
    shift
    quietly "configuring $preset" cmake -S "$root" --preset "$preset"
    quietly "building $preset" cmake --build "$root/build/$preset" ${1:+--target "$@"}
}

# Starts Wine for this script, and ends it and all that it started when the script ends. The server
# stays between two programs: services that a program starts itself keep its output open for seconds.
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
