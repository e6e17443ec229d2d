#!/usr/bin/env bash
# Runs tessel-acceptance on the installed service, with modem and control device: with --quick, or all rounds if
# TESSEL_SOAK is set. Then checks what the program leaves when it is killed, and the simulated devices.
# acceptance.sh BUILD-FOLDER MODEM [DRIVER]
set -u
build=$1 modem=$2 driver=${3:-}
. "$(dirname "$0")/lib.sh"
[ -z "${TESSEL_PREFIX:-}" ] || trap wine_shutdown EXIT
acceptance() { NOTEBOOK_TIMEOUT=1500 notebook_run 'C:\Windows\Tessel\tessel-acceptance.exe' "$@"; }
settings='HKLM\SOFTWARE\Bramble\BrambleSettings'
quick=--quick
[ -z "${TESSEL_SOAK:-}" ] || quick=

wine_prefix_ready || exit 1
tessel_service -remove >/dev/null
notebook_install_programs "$build" && notebook_copy "$build/acceptance/tessel-acceptance.exe" &&
    notebook_modem_insert "$modem" || exit 1
[ -z "$driver" ] || notebook_control_device_load "$driver" || exit 1
for value in PenOption/ButtonAction PenOption/ClickAction PenPressureTH/PressureTH; do
    notebook_quiet reg add "$settings\\${value%/*}" /f /v "${value#*/}" /t REG_DWORD /d 77
done
before=$(notebook_run reg query "$settings" /s)

expect "wrong usage" 2 $'tessel-acceptance: wrong usage\nTry: tessel-acceptance --help' acceptance --only nothing
expect_part "no service" 3 "FAULT     service " acceptance
tessel_service -install >/dev/null
notebook_quiet net start "Tessel Service"
wait_for_service
report=$(acceptance $quick --modem --usb ${driver:+--device} | tr -d '\r'; exit "${PIPESTATUS[0]}") ||
    fail "the installed service: exit $?"
echo "$report"
expect "what is not here" 0 $'syntaxes.ndr64\ncontainer\ntracing\nrecovery' \
    awk '/^NOT HERE/{print $3}' <(echo "$report")
for item in requests syntaxes raising contexts packets dying stopping rights load bench; do
    grep -q "^OK  *$item" <<<"$report" || fail "$item: no finding"
done
expect_part "json" 0 '{"item":"rights.PressureTH","status":"ok","found":"77 directly, ' acceptance --only rights --json
[ "$(notebook_run reg query "$settings" /s)" = "$before" ] || fail "settings have changed"

# Killed while the service is stopped: the service is started again.
(acceptance --only stopping >/dev/null) &
for _ in $(seq 300); do
    [ "$(service_state)" = "1 STOPPED 0" ] && break
done
# Not with taskkill, which would also kill its guard of the same name; the guard starts the service.
for process in $(notebook_processes 'tessel-acceptance.exe --only stopping '); do
    kill -KILL "$process"
done
wait
for _ in $(seq 100); do [ "$(service_state)" = "4 RUNNING 0" ] && break; sleep 0.1; done
wait_for_service

for key in "$NOTEBOOK_MODEM_KEY /v ObjectsAlive" ${driver:+"$NOTEBOOK_CONTROL_DEVICE_KEY /v OpenHandles"}; do
    expect_part "$key" 0 "REG_DWORD    0x0" notebook_run reg query "${key% /v *}" /v "${key##* }"
done
tessel_service -remove >/dev/null
notebook_modem_remove
[ -z "$driver" ] || notebook_control_device_unload
echo "acceptance: $failures failed"
[ "$failures" -eq 0 ]
