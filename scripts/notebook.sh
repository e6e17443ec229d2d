# The simulated notebook: the service and its client in a Wine prefix. Source it after wine.sh.

# Copies programs to their folder on the notebook. Changes only the import table: wingap.dll, padded with NULs to the
# same length, replaces the names of the DLLs that are not complete in Wine.
notebook_copy() {
    local folder=$WINEPREFIX/drive_c/windows/Tessel stand_in=wingap.dll edit="" name filling program
    for name in ADVAPI32.dll RPCRT4.dll CFGMGR32.dll api-ms-win-security-base-l1-2-2.dll; do
        printf -v filling '%*s' $((${#name} + 1 - ${#stand_in})) ''
        edit+="s/${name//./\\.}\\x00/$stand_in${filling// /\\x00}/I;"
    done
    mkdir -p "$folder" || return 1
    for program in "$@"; do
        LC_ALL=C sed "$edit" "$program" >"$folder/new" && mv "$folder/new" "$folder/${program##*/}" || return 1
    done
}

# Copies the service, its client and wingap.dll from a build folder.
notebook_install_programs() {
    notebook_copy "$1/service/tessel-service.exe" "$1/client/tesselctl.exe" &&
        cp --remove-destination "$1/notebook/wingap.dll" "$WINEPREFIX/drive_c/windows/Tessel/"
}

# Runs a program in the notebook, by its Windows path or name. Processes that it starts must not hold the lock of
# ../run.
notebook_run() {
    WINE_TIMEOUT=${NOTEBOOK_TIMEOUT:-120} "$TESSEL_ROOT/scripts/wine-run" "$@" 8>&-
}

# Tests whether notebook_run can find a program: by its path on C:, or by its name in Windows' folders.
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

# The control device. Its driver ends with the server of the prefix.
NOTEBOOK_CONTROL_DEVICE_KEY='HKLM\SOFTWARE\Tessel Simulator\ControlDevice'

# Runs a Windows program without showing its output.
notebook_quiet() {
    notebook_run "$@" >/dev/null
}

# notebook_control_device_load FILE.sys: installs and starts the driver, and lists it as the only device interface.
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

# Removes the device and its state. Does nothing if there is no device.
notebook_control_device_unload() {
    notebook_quiet sc stop TesselControl
    notebook_quiet sc delete TesselControl
    notebook_quiet reg delete "$NOTEBOOK_CONTROL_DEVICE_KEY" /f
    rm -f "$WINEPREFIX/drive_c/windows/system32/drivers/tesselcontrol.sys"
}

# notebook_control_device_set NAME NUMBER: sets a number of the driver, such as Value 85, Support 0, Fail 1.
notebook_control_device_set() {
    notebook_quiet reg add "$NOTEBOOK_CONTROL_DEVICE_KEY" /f /v "$1" /t REG_DWORD /d "$2"
}

# The modem. simulator/modem/README.md describes its state.
NOTEBOOK_MODEM_KEY='HKLM\SOFTWARE\Tessel Simulator\Modem'

# Removes all interfaces of the modem.
notebook_modem_remove() {
    notebook_quiet reg delete "$NOTEBOOK_MODEM_KEY" /f
}

# notebook_modem_insert FILE.dll: registers the modem and gives it one interface with a SIM.
notebook_modem_insert() {
    cp --remove-destination "$1" "$WINEPREFIX/drive_c/windows/Tessel/tesselmodem.dll" || return 1
    notebook_quiet regsvr32 /s 'C:\Windows\Tessel\tesselmodem.dll' || return 1
    notebook_modem_remove
    notebook_modem_add 0 8949012345678901234 262011234567890 26201 'Bramble Mobile'
}

# notebook_modem_add INTERFACE ICCID IMSI PROVIDER-ID PROVIDER: adds an interface with a SIM. Interfaces are numbered
# without gaps.
notebook_modem_add() {
    notebook_modem_set ReadyState 1 "$1"
    notebook_modem_set ActivationState 3 "$1"
    notebook_modem_set SimIccId "$2" "$1"
    notebook_modem_set SubscriberId "$3" "$1"
    notebook_modem_set ProviderId "$4" "$1"
    notebook_modem_set ProviderName "$5" "$1"
}

# notebook_modem_set NAME VALUE [INTERFACE]: sets a value of the modem's first interface, or of the interface with this
# number: a number for states and failures, else a text.
notebook_modem_set() {
    local type=REG_SZ
    case $1 in *State | Fail* | Null*) type=REG_DWORD ;; esac
    notebook_quiet reg add "$NOTEBOOK_MODEM_KEY\\${3:-0}" /f /v "$1" /t $type /d "$2"
}

# Creates a document for COMMONHELPER_READEULADOCUMENT.
notebook_write_documents() {
    printf 'End-user agreement\r\n\r\nBe kind to your notebook.' \
        >"$WINEPREFIX/drive_c/windows/Tessel/agreement.txt"
}
