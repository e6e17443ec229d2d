# The simulated notebook: the service and its client in a Wine prefix; sourced after wine.sh.

# Copies programs to where the notebook keeps them. Nothing of them is changed but the names of the DLLs that Wine
# has not in full: in the import table stands wingap.dll for them, filled up with NULs to the same length.
notebook_copy() {
    local folder=$WINEPREFIX/drive_c/windows/Tessel stand_in=wingap.dll edit="" name filling program
    for name in RPCRT4.dll CFGMGR32.dll api-ms-win-security-base-l1-2-2.dll; do
        printf -v filling '%*s' $((${#name} + 1 - ${#stand_in})) ''
        edit+="s/${name//./\\.}\\x00/$stand_in${filling// /\\x00}/I;"
    done
    mkdir -p "$folder" || return 1
    for program in "$@"; do
        LC_ALL=C sed "$edit" "$program" >"$folder/new" && mv "$folder/new" "$folder/${program##*/}" || return 1
    done
}

# Installs the service and its client from the folder where they were built, and what they need here.
notebook_install_programs() {
    notebook_copy "$1/service/tessel-service.exe" "$1/client/tesselctl.exe" &&
        cp --remove-destination "$1/notebook/wingap.dll" "$WINEPREFIX/drive_c/windows/Tessel/"
}

# Runs a program in the notebook, by its Windows path or name. What it leaves running must not hold the lock of
# ../run.
notebook_run() {
    timeout "${NOTEBOOK_TIMEOUT:-120}" "$TESSEL_ROOT/scripts/wine-run" "$@" 8>&-
}

# Whether notebook_run will find the program: by its path on C:, or by its name alone in Windows' folders.
notebook_has_program() {
    local drive=$WINEPREFIX/drive_c path=${1//\\//}
    case $path in
        *[*?[]*) ;;
        [Cc]:/*.[Ee][Xx][Ee]) find "$drive" -ipath "$drive/${path:3}" ;;
        */*) ;;
        *) find "$drive"/windows{,/system32} -maxdepth 1 -iname "${path%.[Ee][Xx][Ee]}.exe" ;;
    esac | grep -q .
}

tessel_service() {
    notebook_run 'C:\Windows\Tessel\tessel-service.exe' "$@"
}

tesselctl() {
    notebook_run 'C:\Windows\Tessel\tesselctl.exe' "$@"
}

# The control device. Its driver lives no longer than the prefix's server.
NOTEBOOK_CONTROL_DEVICE_KEY='HKLM\SOFTWARE\Tessel Simulator\ControlDevice'

# Runs a Windows program for its effect alone: nothing printed.
notebook_quiet() {
    notebook_run "$@" >/dev/null
}

# Installs the driver (its .sys file is the argument), starts it, and lists it as the one device interface.
notebook_control_device_load() {
    local drivers=$WINEPREFIX/drive_c/windows/system32/drivers
    notebook_control_device_unload
    mkdir -p "$drivers" && cp --remove-destination "$1" "$drivers/tesselcontrol.sys" || return 1
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

# The modem. simulator/modem/README.md says what its state means.
NOTEBOOK_MODEM_KEY='HKLM\SOFTWARE\Tessel Simulator\Modem'

# Leaves the notebook without any interface of a modem.
notebook_modem_remove() {
    notebook_quiet reg delete "$NOTEBOOK_MODEM_KEY" /f
}

# Registers the modem (its DLL is the argument) and gives it one interface with a SIM.
notebook_modem_insert() {
    cp --remove-destination "$1" "$WINEPREFIX/drive_c/windows/Tessel/tesselmodem.dll" || return 1
    notebook_quiet regsvr32 /s 'C:\Windows\Tessel\tesselmodem.dll' || return 1
    notebook_modem_remove
    notebook_modem_set ReadyState 1
    notebook_modem_set ActivationState 3
    notebook_modem_set SimIccId 8949012345678901234
    notebook_modem_set SubscriberId 262011234567890
    notebook_modem_set ProviderId 26201
    notebook_modem_set ProviderName 'Bramble Mobile'
}

# Sets a value of the modem's first interface: a number for states and failures, else a text.
notebook_modem_set() {
    local type=REG_SZ
    case $1 in *State | Fail* | Null*) type=REG_DWORD ;; esac
    notebook_quiet reg add "$NOTEBOOK_MODEM_KEY\\0" /f /v "$1" /t $type /d "$2"
}

# A document to read.
notebook_write_documents() {
    printf 'End-user agreement\r\n\r\nBe kind to your notebook.' \
        >"$WINEPREFIX/drive_c/windows/Tessel/agreement.txt"
}
