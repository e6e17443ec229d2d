# Runs programs in the Wine prefix of the build folder. Other scripts source it.

TESSEL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${TESSEL_PREFIX:-$TESSEL_ROOT/build/wine}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# No desktop integration, no browser or .NET installers, no crash dialogs.
export WINEDLLOVERRIDES="winemenubuilder.exe,explorer.exe,winedbg.exe=d;mscoree,mshtml="
unset DISPLAY
# Without a UTF-8 locale Wine treats the command line as ASCII.
export LC_ALL=C.UTF-8
WINE_DIR=/usr/lib/wine

# Runs a Windows program in the prefix, in the foreground. Ends it after WINE_TIMEOUT seconds, if that is set.
wine_program() {
    timeout --foreground -k 5 "${WINE_TIMEOUT:-0}" "$WINE_DIR/wine64" "$@"
}

# Prints the output of a program without Wine's own messages.
wine_output() {
    cat "$1"
}

# Waits until the service control manager has started all automatic services. Until then it also starts services that
# were just installed, and refuses all other starts.
wine_services_ready() {
    local said=$WINEPREFIX/services.txt i
    for ((i = 0; i < 20; i++)); do
        timeout 60 "$WINE_DIR/wine64" net start RpcSs </dev/null >"$said" 2>&1
        grep -q locked "$said" || return 0
        sleep 0.2
    done
}

# Creates the prefix at the first use. Keeps its server running, so that services and drivers run until wine_shutdown.
wine_prefix_ready() {
    mkdir -p "$WINEPREFIX" || return 1
    (
        flock 9
        # If the server already runs, this only returns another exit code.
        "$WINE_DIR/wineserver64" -p </dev/null >/dev/null 2>&1 9>&-
        started=$?
        if [ ! -e "$WINEPREFIX/.ready" ]; then
            # Any program creates the prefix. With wineboot as the program, it would run twice and leave two service
            # control managers with different services.
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

# The scripts that this one starts use the same machine.
export TESSEL_MACHINE=${TESSEL_MACHINE:-x64}
if [ "$TESSEL_MACHINE" = arm64 ]; then
    . "$TESSEL_ROOT/scripts/arm64.sh"
fi
