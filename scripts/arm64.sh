# Runs ARM64 Windows programs on an x64 machine: Debian's ARM64 Wine under an emulator, in private namespaces that do
# not change the machine. wine.sh sources it (TESSEL_MACHINE=arm64); it replaces functions of wine.sh.

. "$TESSEL_ROOT/scripts/debian13.sh"
ARM64_RUNTIME=$TESSEL_ROOT/build/arm64-runtime
ARM64_ROOT=$ARM64_RUNTIME/root
export WINEPREFIX=${TESSEL_PREFIX:-$TESSEL_ROOT/build/wine-arm64}
# With the emulator's default processor Wine does not end. Without the locale, file names are limited to ASCII.
export QEMU_CPU=cortex-a72 LC_ALL=C.UTF-8

# Downloads Wine for ARM64 and its libraries, with separate package lists, and unpacks them. Does nothing if that is
# done.
arm64_runtime_ready() {
    [ -e "$ARM64_ROOT/.ready" ] && return 0
    mkdir -p "$ARM64_RUNTIME" || return 1
    (
        flock 9
        [ -e "$ARM64_ROOT/.ready" ] && exit 0
        echo "Downloading Wine for ARM64 ..."
        arm64_download >"$ARM64_RUNTIME/log" 2>&1 </dev/null 9>&- ||
            { tail -n 20 "$ARM64_RUNTIME/log"; echo "Could not fetch Wine for ARM64"; exit 1; } >&2
    ) 9>"$ARM64_RUNTIME/lock"
}

arm64_download() {
    local apt=$ARM64_RUNTIME/apt package
    rm -rf "$ARM64_ROOT" "$apt"
    mkdir -p "$apt/packages" "$ARM64_ROOT" || return 1
    (
        debian13 "$apt" deb arm64 && cd "$apt/packages" &&
            apt-get download -q libc6 libc-bin libgcc-s1 libwine wine64
    ) || return 1
    for package in "$apt"/packages/*.deb; do
        # Leaves out the DLLs for other machines, which are the largest part.
        dpkg-deb --fsys-tarfile "$package" |
            tar -x -C "$ARM64_ROOT" --no-same-owner --exclude='*/wine/i386-windows' \
                --exclude='*/wine/x86_64-windows' || return 1
    done
    ln -s usr/lib "$ARM64_ROOT/lib"
    ln -sf wineserver64 "$ARM64_ROOT/usr/lib/wine/wineserver"
    mkdir -p "$ARM64_ROOT"/{dev,proc,tmp,binfmt} "$ARM64_ROOT$TESSEL_ROOT"
    rm -rf "$apt"
    touch "$ARM64_ROOT/.ready"
}

# Prints the id of the process that holds the namespaces of this prefix. Fails if there is none.
arm64_machine() {
    local pid
    read -r pid 2>/dev/null <"$WINEPREFIX.machine" || return 1
    [ "$(readlink "/proc/$pid/root")" = "$ARM64_ROOT" ] && echo "$pid"
}

# Starts that process.
arm64_machine_start() {
    local log=$WINEPREFIX.machine.log i
    rm -f "$WINEPREFIX.machine"
    setsid unshare --user --map-root-user --mount --pid --fork --propagation private \
        "$TESSEL_ROOT/scripts/arm64-machine" "$ARM64_ROOT" "$TESSEL_ROOT" "$WINEPREFIX.machine" \
        >"$log" 2>&1 </dev/null &
    local starter=$!
    for ((i = 0; i < 100; i++)); do
        arm64_machine >/dev/null && return 0
        [ -d "/proc/$starter" ] || break
        sleep 0.1
    done
    {
        cat "$log"
        echo "ARM64 programs cannot run here: they need user, mount and process namespaces with their own"
        echo "binfmt_misc, which needs Linux 6.7 or later; this is Linux $(uname -r)."
    } >&2
    return 1
}

# Runs an ARM64 Linux program of the unpacked packages in the namespaces, in the foreground.
arm64_enter() {
    local pid
    pid=$(arm64_machine) || { echo "the namespaces of $WINEPREFIX are gone" >&2; return 1; }
    timeout -k 5 "${WINE_TIMEOUT:-600}" nsenter --target "$pid" --user --mount --pid --root \
        --preserve-credentials --wdns="${ARM64_DIRECTORY:-$PWD}" "$@"
}

wine_program() {
    arm64_enter "$WINE_DIR/wine64" "$@"
}

# Removes the message about a library that is missing on purpose: with it, Wine hangs while it loads fonts under the
# emulator.
wine_output() {
    sed '/^Wine cannot find the FreeType font library/,/freetype\.org/d' "$1"
}

wine_prefix_ready() {
    arm64_runtime_ready && mkdir -p "$WINEPREFIX" || return 1
    (
        flock 9
        arm64_machine >/dev/null || arm64_machine_start 9>&- || exit 1
        ARM64_DIRECTORY=/
        arm64_enter "$WINE_DIR/wineserver64" -p </dev/null >/dev/null 2>&1 9>&-
        if [ ! -e "$WINEPREFIX/.ready" ]; then
            arm64_enter "$WINE_DIR/wine64" cmd /c exit </dev/null >/dev/null 2>&1 9>&- ||
                { echo "Wine for ARM64 does not start" >&2; exit 1; }
            touch "$WINEPREFIX/.ready"
        fi
    ) 9>"$WINEPREFIX.lock"
}

# Ends every program of the prefix. Ends Wine's server properly, so that it saves the registry.
wine_shutdown() {
    local pid
    pid=$(arm64_machine) || return 0
    WINE_TIMEOUT=30 ARM64_DIRECTORY=/ arm64_enter "$WINE_DIR/wineserver64" -k </dev/null >/dev/null 2>&1
    WINE_TIMEOUT=30 ARM64_DIRECTORY=/ arm64_enter "$WINE_DIR/wineserver64" -w </dev/null >/dev/null 2>&1
    # This ends all other processes of the namespace too.
    kill -KILL "$pid" 2>/dev/null
    rm -f "$WINEPREFIX.machine"
    return 0
}
