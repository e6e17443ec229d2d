# The simulated notebook: the service and its client in a Wine prefix; sourced after wine.sh.

# Copies the programs to where the notebook keeps them.
notebook_install_programs() {
    mkdir -p "$WINEPREFIX/drive_c/Tessel" && cp "$1"/*.exe "$WINEPREFIX/drive_c/Tessel/"
}

# Runs a program in the notebook, by its Windows path or name.
notebook_run() {
    timeout "${NOTEBOOK_TIMEOUT:-120}" "$TESSEL_ROOT/scripts/wine-run" "$@"
}

tessel_service() {
    notebook_run 'C:\Tessel\tessel-service.exe' "$@"
}

tesselctl() {
    notebook_run 'C:\Tessel\tesselctl.exe' "$@"
}
