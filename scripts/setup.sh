# Installs the Debian packages for builds and tests. Other scripts source it.

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
    local log
    log=$(mktemp)
    if ! { apt-get update -q && DEBIAN_FRONTEND=noninteractive apt-get install -q -y \
        --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        tail -20 "$log" >&2
        echo "Could not install ${missing[*]}" >&2
        return 1
    fi
    rm -f "$log"
}

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

# build_preset PRESET [TARGET...]: configures and builds.
build_preset() {
    local preset=$1
    shift
    quietly cmake --preset "$preset" && quietly cmake --build --preset "$preset" ${1:+--target "$@"}
}
