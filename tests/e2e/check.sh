#!/usr/bin/env bash
# tesselctl --check finds each fault once and changes nothing; --grant and --revoke give and remove the rights.
# check.sh DIRECTORY-OF-PROGRAMS MODEM CONTROL-DEVICE
set -u
programs=$1 modem=$2 driver=$3
. "$(dirname "$0")/lib.sh"
findings=$(mktemp) before=$(mktemp)
trap 'rm -f "$findings" "$before"; [ -z "${TESSEL_PREFIX:-}" ] || wine_shutdown' EXIT

# check EXIT-CODE: looks at everything.
check() {
    tesselctl --check --json >"$findings"
    local code=$?
    [ $code = "$1" ] || fail "check: exit $code, wanted $1: $(grep -v '"ok"' "$findings")"
}

# finds STATUS ITEM PART-OF-WHAT-WAS-FOUND
finds() {
    local line
    line=$(grep -F "{\"item\":\"${2//\\/\\\\}\",\"status\":\"$1\"," "$findings")
    [[ $line == *\"found\":\"*"$3"*\"advice\":* ]] ||
        fail "check: wanted $1 $2 $3: $(grep -F "\"${2//\\/\\\\}\"" "$findings")"
}

# The lines of a grant by their status: "failed 0 not here 1 done 8 unchanged 0".
changes() {
    local lines status
    lines=$(tesselctl "$1" --json)
    for status in failed "not here" "done" unchanged; do
        printf '%s %s ' "$status" "$(grep -c "\"status\":\"$status\"" <<<"$lines")"
    done
}

# devices PATHS: what the list of control devices has.
devices() {
    notebook_quiet reg add "$NOTEBOOK_CONTROL_DEVICE_KEY" /f /v Interfaces /t REG_MULTI_SZ /d "$1"
}

export_registry() {
    notebook_quiet reg export HKLM 'C:\Windows\Tessel\registry.txt' /y
    cat "$WINEPREFIX/drive_c/windows/Tessel/registry.txt"
}

settings='SOFTWARE\Bramble\BrambleSettings'
wine_prefix_ready || exit 1
notebook_install_programs "$programs"
tessel_service -remove >/dev/null
notebook_modem_remove
notebook_control_device_unload
for key in 'SOFTWARE\Bramble' 'SOFTWARE\Microsoft\Windows\CurrentVersion\ClickNote' \
    'SYSTEM\ControlSet001\Control\USB' 'SYSTEM\ControlSet001\Control\USBFN' \
    'SYSTEM\ControlSet001\Services\QCUSBFNSS' 'SYSTEM\ControlSet001\Services\QCDIAGROUTER' \
    'SYSTEM\ControlSet001\Services\QCDiagBridge'; do
    notebook_quiet reg delete "HKLM\\$key" /f
done

programs_folder=$WINEPREFIX/drive_c/windows/Tessel
check 3
finds fault service "not registered"
finds fault requests.open "error 1722"
finds fault "key $settings" "not there; SOFTWARE is closed"
finds warning 'key SYSTEM\ControlSet001\Control\USB' "not there"
finds ok keys "1 of 15 open"
tessel_service -install >/dev/null
notebook_quiet reg add "HKLM\\$settings" /v ScreenMode /d text
chmod o+w "$programs_folder"
check 3
chmod o-w "$programs_folder"
finds fault files 'may be changed: C:\\Windows\\Tessel by Everyone'
finds fault service.state stopped
finds fault "key $settings" "there; closed to the service; ScreenMode has the wrong type"
finds warning device "none of the class"

# The service is stopped, and another process has its endpoint. Ended by force, it loses no message.
NOTEBOOK_TIMEOUT=60 tessel_service -console >"$before" 2>&1 &
for ((i = 0; i < 100; i++)); do
    tesselctl '' >/dev/null 2>&1
    [ $? = 1 ] && break
    sleep 0.1
done
check 1
finds fault requests.open "of another process"
tesselctl MBNHELPER_CREATEPROFILE --text '1|2|3|4|5|6|7|8' >/dev/null
notebook_quiet taskkill /f /im tessel-service.exe
wait $!
expect_part "output of the console" 0 "fail over" cat "$before"

notebook_quiet reg delete "HKLM\\$settings" /v ScreenMode /f
expect "grant" 0 "failed 0 not here 0 done 9 unchanged 0 " changes --grant
notebook_modem_insert "$modem"
notebook_control_device_load "$driver"
notebook_quiet net start "Tessel Service"
wait_for_service
# The modem makes this value when it is first used.
notebook_quiet reg add "$NOTEBOOK_MODEM_KEY" /v ObjectsAlive /t REG_DWORD /d 0
# With the type that the check expects.
tesselctl REGISTRYHELPER_CHECKADDTIONALPENSETTING >/dev/null
# The first check of a running service: a value that a check writes once would be found.
export_registry >"$before"
check 0
[ -s "$before" ] && export_registry | cmp - "$before" || fail "check: it changed the registry"
finds ok service.version "$(tesselctl --version | sed 's/tesselctl //; s/\r//')\""
finds "not here" files "not known here"
finds ok service.state "running, process "
finds ok service.sid ", on"
finds ok service.recovery "restarted after a crash"
finds ok keys "15 of 15 open to the service"
finds ok capability S-1-15-3-1024-3841457878-1068733718-
finds ok requests.answer "21 of 21 answered"
finds ok modem.state "1: ready"
finds ok modem.identity "of card, subscriber and home provider"
finds ok device "present, has a switch"

# The report says what it cannot tell here, and has no number of the SIM.
expect_part "report" 0 "The report is in" tesselctl --report 'C:\Windows\Temp\report.txt'
report=$WINEPREFIX/drive_c/windows/temp/report.txt
for part in "modem.identity" "ImagePath: C:" "running from C:" "System: not known here" "Application: not known here" \
    "SHA-256 $(sha256sum <"$programs_folder/tesselctl.exe" | cut -d ' ' -f 1)" "CrashDumps: error"; do
    grep -qF "$part" "$report" || fail "report: no $part"
done
! grep -E '89490|26201' "$report" || fail "report: it has a number of the SIM"

notebook_modem_set ReadyState 2
notebook_control_device_set Fail 1
devices '\\.\TesselControl\0\\.\Other'
check 1
finds warning modem.state "no SIM card"
# The first two are read as empty texts, the others come back as they were sent.
finds warning modem.identity \
    "none from MBNHELPER_GETSIMICCID MBNHELPER_GETSUBSCRIBERID MBNHELPER_GETHOMEPROVIDERID MBNHELPER_GETHOMEPROVIDERNAME"
finds fault device '2 are present; the service opens the first and gets no switch'
# Only one question: each refusal costs the service a handle.
expect_part "handles" 0 "REG_DWORD    0x1" notebook_run reg query "$NOTEBOOK_CONTROL_DEVICE_KEY" /v OpenHandles
devices "$(printf '\\\\.\\TesselControl%0250d' 0)"
notebook_modem_remove
tesselctl REGISTRYHELPER_SETPENSETTING --int 3 >/dev/null
expect "grant once more" 0 "failed 0 not here 0 done 1 unchanged 9 " changes --grant
expect "revoke" 0 "failed 0 not here 0 done 10 unchanged 0 " changes --revoke
expect "revoke once more" 0 "failed 0 not here 0 done 0 unchanged 10 " changes --revoke
check 1
finds warning modem.state "0: off, no modem, or Windows does not know yet"
finds fault device "the service opens none, because their list is longer than 256"
devices '\\.\TesselControl'
finds fault "key $settings" closed
finds fault "key $settings\\PenOption" closed
finds warning service.sid "not on"
finds warning service.recovery "not restarted"
expect_part "without" 1 "4 faults, 2 warnings" tesselctl --check --without modem,device,usb
notebook_quiet reg delete "HKLM\\$settings" /f

# Only a later start gives the process its SID. A copy of the tool in an open folder is not the service's program.
notebook_quiet net stop "Tessel Service"
notebook_quiet net start "Tessel Service"
wait_for_service
expect_part "grant without" 0 "key $settings" tesselctl --grant --without usb
expect_part "recovery" 0 "restart after a crash: in 5 s, 5 s, 60 s" tesselctl --grant --without usb
mkdir -m 777 "$programs_folder/open"
cp "$programs_folder"/{tesselctl.exe,wingap.dll} "$programs_folder/open/"
notebook_run 'C:\Windows\Tessel\open\tesselctl.exe' --check --json >"$findings"
rm -r "$programs_folder/open"
finds fault service.sid "on, but the process does not have it"
finds fault keys "own SID, which its process does not have"
finds fault device "present, but the service gets no switch"
finds warning files 'may be changed: C:\\Windows\\Tessel\\open by Everyone'

# The service does not answer: its process is stopped. Only where the test has its own notebook, because of the time.
if [ -n "${TESSEL_PREFIX:-}" ]; then
    service=$(notebook_processes tessel-service.exe)
    kill -STOP "$service"
    start=$SECONDS
    check 3
    [ $((SECONDS - start)) -ge 30 ] || fail "check: $((SECONDS - start)) s for a service that does not answer"
    finds ok service.state "running, process "
    finds fault requests.open "no answer in 30 seconds"
    kill -KILL "$service"
fi

tessel_service -remove >/dev/null
notebook_control_device_unload
echo "check: $failures failed"
[ "$failures" -eq 0 ]
