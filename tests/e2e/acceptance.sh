#!/usr/bin/env bash
# Runs tessel-acceptance on the installed service, with modem and control device: with --quick, or all rounds if
# TESSEL_SOAK is set. Then checks what the program leaves when it is killed, and the simulated devices.
# acceptance.sh BUILD-FOLDER MODEM DRIVER
set -u
build=$1 modem=$2 driver=$3
. "$(dirname "$0")/lib.sh"
[ -z "${TESSEL_PREFIX:-}" ] || trap wine_shutdown EXIT
quick=--quick
[ -z "${TESSEL_SOAK:-}" ] || quick=

wine_prefix_ready || exit 1
tessel_service -remove >/dev/null
notebook_install_programs "$build" && notebook_copy "$build/acceptance/tessel-acceptance.exe" &&
    notebook_modem_insert "$modem" || exit 1
notebook_control_device_load "$driver" || exit 1
settings='HKLM\SOFTWARE\Bramble\BrambleSettings'
usb='HKLM\SYSTEM\ControlSet001\Control\USB'
# What a factory may have set: the program must restore it, and the absence of the other values.
notebook_quiet reg delete "$settings" /f
notebook_quiet reg delete "${usb}FN" /f
notebook_quiet reg add "$settings\\PenOption" /f /v ButtonAction /t REG_DWORD /d 77
notebook_quiet reg add "$usb" /f /v RoleSwitchMode /t REG_SZ /d factory
stored() {
    for key in "$settings" "$usb" "${usb}FN"; do notebook_run reg query "$key" /s; done | tr -d '\r'
}

expect "wrong usage" 2 $'tessel-acceptance: wrong usage\nTry: tessel-acceptance --help' acceptance --only nothing
expect_part "no service" 3 "FAULT     service " acceptance
tessel_service -install >/dev/null
notebook_quiet 'C:\Windows\Tessel\tesselctl.exe' --grant
before=$(stored)
notebook_quiet net start "Tessel Service"
wait_for_service
# Plays a part of the service control manager: starts the service again that the item after "tracing" lets crash. Wine's
# manager does not notice the end of its process.
lines=$(acceptance_report)
{
    until grep -qs tracing "$lines"; do sleep 0.5; done
    while sleep 1; do
        notebook_run tasklist | grep -q tessel-service || notebook_quiet net start "Tessel Service"
    done
} &
manager=$!
report=$(acceptance $quick --modem --usb --device --report 'C:\Windows\Temp\acceptance.txt' |
    tr -d '\r'; exit "${PIPESTATUS[0]}") || fail "the installed service: exit $?"
kill $manager
echo "$report"
expect "what is not here" 0 $'syntaxes.ndr64\ncontainer' awk '/^NOT HERE/{print $3}' <(echo "$report")
for item in requests syntaxes raising contexts packets dying.usage stopping rights.restored tracing recovery load.usage \
    bench restored; do
    grep -q "^OK  *$item" <<<"$report" || fail "$item: no finding"
done
# On a device that refuses every command, load costs the service no handle.
notebook_control_device_set Fail 1
expect_part "json" 0 '{"item":"rights.PressureTH","status":"ok","found":"' \
    acceptance --quick --only rights --only load --json
expect_part "handles" 0 "REG_DWORD    0x0" notebook_run reg query "$NOTEBOOK_CONTROL_DEVICE_KEY" /v OpenHandles
notebook_control_device_set Fail 0
expect "settings and USB values" 0 "$before" stored

# Killed while the service is stopped: the service is started again, and what was changed is restored.
(acceptance --only stopping --device >/dev/null) &
killed=$!
for _ in $(seq 300); do
    [ "$(service_state)" = "1 STOPPED 0" ] && break
done
notebook_quiet reg add "$settings\\PenOption" /f /v ButtonAction /t REG_DWORD /d 5
notebook_quiet reg delete "$usb" /f /v RoleSwitchMode
notebook_control_device_set Value 85
# Not with taskkill, which would also kill its guard of the same name; the guard starts the service.
for process in $(notebook_processes 'tessel-acceptance.exe --only stopping '); do
    kill -KILL "$process"
done
wait $killed
for _ in $(seq 100); do [ "$(stored)" = "$before" ] && break; sleep 0.1; done
wait_for_service
expect "restored after a kill" 0 "$before" stored
expect_part "the switch" 0 "flag=false  number=0" tesselctl BLEHELPER_GETBLE
expect "started after a kill" 0 "4 RUNNING 0" service_state

for key in "$NOTEBOOK_MODEM_KEY /v ObjectsAlive" "$NOTEBOOK_CONTROL_DEVICE_KEY /v OpenHandles"; do
    expect_part "$key" 0 "REG_DWORD    0x0" notebook_run reg query "${key% /v *}" /v "${key##* }"
done
tessel_service -remove >/dev/null

notebook_quiet reg delete "$settings" /f
notebook_quiet reg delete "$usb" /f
notebook_modem_remove
notebook_control_device_unload
echo "acceptance: $failures failed"
[ "$failures" -eq 0 ]
