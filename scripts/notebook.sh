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

# The control device. Its driver lives no longer than the prefix's server.
NOTEBOOK_CONTROL_DEVICE_KEY='HKLM\SOFTWARE\Tessel Simulator\ControlDevice'

# Runs a Windows program for its effect alone: nothing printed, and no pipe held by what it starts.
notebook_quiet() {
    timeout 60 "$WINE_DIR/wine64" "$@" </dev/null >/dev/null 2>&1
}

# Installs the driver (its .sys file is the argument), starts it, and lists it as the one device interface.
notebook_control_device_load() {
    local drivers=$WINEPREFIX/drive_c/windows/system32/drivers
    notebook_control_device_unload
    mkdir -p "$drivers" && cp "$1" "$drivers/tesselcontrol.sys" || return 1
    notebook_quiet sc create TesselControl type= kernel start= demand \
        binPath= 'C:\windows\system32\drivers\tesselcontrol.sys' || return 1
    notebook_quiet sc start TesselControl || return 1
    notebook_quiet reg add "$NOTEBOOK_CONTROL_DEVICE_KEY" /f /v Interfaces \
        /t REG_MULTI_SZ /d '\\.\TesselControl'
}

# Takes the device away again, with everything that was set; does nothing if it is not there.
notebook_control_device_unload() {
    notebook_quiet sc stop TesselControl
    notebook_quiet sc delete TesselControl
    notebook_quiet reg delete "$NOTEBOOK_CONTROL_DEVICE_KEY" /f
    rm -f "$WINEPREFIX/drive_c/windows/system32/drivers/tesselcontrol.sys"
}

# Sets one of the driver's numbers: Value 85, Support 0, Fail 1.
notebook_control_device_set() {
    notebook_quiet reg add "$NOTEBOOK_CONTROL_DEVICE_KEY" /f /v "$1" /t REG_DWORD /d "$2"
}
