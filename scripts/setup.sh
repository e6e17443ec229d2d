# Installs the Debian packages for builds and tests, and builds. Other scripts source it.

# For the programs: the compiler, and the tools that build its runtimes.
BUILD_PACKAGES=(clang-19 lld-19 llvm-19 cmake ninja-build make python3-minimal bzip2 xz-utils ca-certificates
    debian-archive-keyring)
# For running them: the x64 programs, and the ARM64 programs.
X64_PACKAGES=("${BUILD_PACKAGES[@]}" wine64)
ARM64_PACKAGES=("${BUILD_PACKAGES[@]}" qemu-user-static)
# For the tests: GoogleTest's sources, and the interface compiler.
TEST_PACKAGES=(googletest mingw-w64-tools mono-mcs mono-runtime)
# For the checks of the sources and for fuzzing.
LINT_PACKAGES=(clang-format-19 clang-tidy-19 shellcheck)
FUZZ_PACKAGES=(clang-19 cmake ninja-build libclang-rt-19-dev)

# Clang would look there too, and the linker writes these folders into the symbols.
unset LIBRARY_PATH CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH

# The folder of this project.
TESSEL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# shown STATE COMMAND...: runs the command. Until it ends, shows the line that the function STATE prints: in a terminal
# each second in place, elsewhere every 20 seconds.
shown() {
    local state=$1 wait=20 shower code
    shift
    [ ! -t 1 ] || wait=1
    (
        # Not with sleep, which would keep the output open after the end.
        exec {never}<> <(:)
        while ! read -rt $wait -u "$never"; do
            if [ -t 1 ]; then printf '\r\e[K%.*s' "${COLUMNS:-80}" "$($state)"; else $state; fi
        done
    ) &
    shower=$!
    "$@"
    code=$?
    kill $shower
    wait $shower 2>/dev/null
    [ ! -t 1 ] || printf '\r\e[K'
    return $code
}

# apt_get ARGUMENT...: runs apt-get with its output in $APT_LOG. While another program has one of apt's locks, waits up
# to five minutes, and says for what. apt's option DPkg::Lock::Timeout does not wait for the lock of the lists.
apt_get() {
    local i
    for ((i = 0; i < 60; i++)); do
        DEBIAN_FRONTEND=noninteractive apt-get -q -o APT::Status-Fd=3 "$@" >"$APT_LOG" 2>&1 3>"$APT_LOG.state" \
            </dev/null && return 0
        grep -q '^E: Could not get lock' "$APT_LOG" || break
        [ $i -ne 0 ] || sed -n 's/^E: Could not get lock/Waiting for/p' "$APT_LOG"
        sleep 5
    done
    return 1
}

# How far apt-get is.
apt_state() {
    sed -nE '$s/^(dl|pm)status:[^:]*:([0-9]+)[0-9.]*:(.*)/  \2 %: \3/p' "$APT_LOG.state"
}

# install_packages PACKAGE...: installs the packages that are missing. Prints a message if it fails.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "These packages are missing; install them as root: ${missing[*]}" >&2
        return 1
    fi
    echo "Installing ${missing[*]} ..."
    APT_LOG=$(mktemp)
    touch "$APT_LOG.state"
    if ! { apt_get update && shown apt_state apt_get install -y --no-install-recommends "${missing[@]}"; }; then
        tail -20 "$APT_LOG" >&2
        echo "Could not install ${missing[*]}" >&2
        return 1
    fi
    rm -f "$APT_LOG" "$APT_LOG.state"
}

setup_x64() { install_packages "${X64_PACKAGES[@]}"; }
setup_arm64() { install_packages "${ARM64_PACKAGES[@]}"; }

# Runs a command, and shows its output only if it fails.
quietly() {
    local log
    log=$(mktemp)
    "$@" >"$log" 2>&1
    local code=$?
    [ $code -eq 0 ] || { cat "$log"; echo "failed: $*"; } >&2
    rm -f "$log"
    return $code
}

# building ARGUMENT...: runs cmake --build. Shows Ninja's own progress in a terminal, elsewhere a line for each tenth.
building() {
    if [ -t 1 ]; then
        cmake --build "$@"
    else
        cmake --build "$@" 2>&1 | awk '
            match($0, /^\[[0-9]+\/[0-9]+\]/) {
                split(substr($0, 2, RLENGTH - 2), done, "/")
                tenth = int(10 * done[1] / done[2])
                if (tenth > last && done[2] >= 20) { print "  " done[1] " of " done[2]; fflush() }
                last = tenth
                next
            }
            !/^ninja: no work to do/'
        return "${PIPESTATUS[0]}"
    fi
}

# build_preset PRESET [TARGET...]: configures and builds.
build_preset() {
    local preset=$1 runtimes
    shift
    # Not only when CMake runs it, whose output is hidden.
    runtimes=$(sed -n 's/^TESSEL_LLVM:PATH=//p' "$TESSEL_ROOT/build/$preset/CMakeCache.txt" 2>/dev/null)
    "$TESSEL_ROOT/cmake/llvm/build" "${runtimes:-${TESSEL_LLVM:-$TESSEL_ROOT/build/llvm}}" \
        "$([[ $preset == arm64* ]] && echo arm64 || echo x64)" &&
        quietly cmake --preset "$preset" && building --preset "$preset" ${1:+--target "$@"}
}
