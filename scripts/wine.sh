# The Wine prefix of the build folder and how programs run in it; sourced by the scripts.

TESSEL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${TESSEL_PREFIX:-$TESSEL_ROOT/build/wine}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# No desktop integration, no browser or .NET installers, no crash dialogs.
export WINEDLLOVERRIDES="winemenubuilder.exe,explorer.exe,winedbg.exe=d;mscoree,mshtml="
unset DISPLAY
# Without a locale of UTF-8 Wine takes texts and file names of the command line for ASCII.
export LC_ALL=C.UTF-8
WINE_DIR=/usr/lib/wine

# Runs a Windows program in the prefix, in the foreground; ends it after WINE_TIMEOUT seconds, if that is set.
wine_program() {
    timeout --foreground -k 5 "${WINE_TIMEOUT:-0}" "$WINE_DIR/wine64" "$@"
}

# Prints what a program printed, without Wine's own words.
wine_output() {
    cat "$1"
}

# Waits for a service manager that has just begun: it starts every automatic service, also one that is installed
# meanwhile, and lets nobody else start any.
wine_services_ready() {
    local said=$WINEPREFIX/services.txt i
    for ((i = 0; i < 20; i++)); do
        timeout 60 "$WINE_DIR/wine64" net start RpcSs </dev/null >"$said" 2>&1
        grep -q locked "$said" || return 0
        sleep 0.2
    done
}

# Makes the prefix on first use and keeps its server alive, so services and drivers survive between
# programs until wine_shutdown.
wine_prefix_ready() {
    mkdir -p "$WINEPREFIX" || return 1
    (
        flock 9
        # Prints nothing and does nothing when the server is up already, which it tells by its exit code.
        "$WINE_DIR/wineserver64" -p </dev/null >/dev/null 2>&1 9>&-
        started=$?
        if [ ! -e "$WINEPREFIX/.ready" ]; then
            # Any program makes the prefix. Naming wineboot here would run it twice, and leave two service
            # managers that do not know each other's services.
            timeout 180 "$WINE_DIR/wine64" cmd /c exit </dev/null >/dev/null 2>&1 9>&- || exit 1
            touch "$WINEPREFIX/.ready"
        fi
        [ $started -ne 0 ] || wine_services_ready 9>&-
    ) 9>"$WINEPREFIX.lock"
}

# Ends every program of the prefix.
wine_shutdown() {
    "$WINE_DIR/wineserver64" -k </dev/null >/dev/null 2>&1
    return 0
}

# Whose programs run is handed on to the scripts that this one starts.
export TESSEL_MACHINE=${TESSEL_MACHINE:-x64}
if [ "$TESSEL_MACHINE" = arm64 ]; then
    . "$TESSEL_ROOT/scripts/arm64.sh"
fi
