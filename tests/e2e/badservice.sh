#!/usr/bin/env bash
# Installs a bad service and expects that every item of tessel-acceptance finds its fault.
# badservice.sh BUILD-FOLDER BAD-SERVICE MODEM DRIVER
set -u
build=$1 bad=$2 modem=$3 driver=$4
. "$(dirname "$0")/lib.sh"
[ -z "${TESSEL_PREFIX:-}" ] || trap wine_shutdown EXIT

wine_prefix_ready || exit 1
tessel_service -remove >/dev/null
notebook_install_programs "$build" && notebook_copy "$build/acceptance/tessel-acceptance.exe" "$bad" &&
    notebook_modem_insert "$modem" && notebook_control_device_load "$driver" || exit 1
notebook_quiet "C:\\Windows\\Tessel\\${bad##*/}" -install
notebook_quiet 'C:\Windows\Tessel\tesselctl.exe' --grant
notebook_quiet net start "Tessel Service"
wait_for_service

# The crashed service is started again only after the item has waited for it in vain.
lines=$(acceptance_report)
{
    until grep -qs recovery "$lines"; do sleep 0.5; done
    notebook_quiet net start "Tessel Service"
} &
starter=$!
report=$(acceptance --quick --modem --usb --device --report 'C:\Windows\Temp\acceptance.txt')
# If the item was never reached, it still waits.
kill $starter 2>/dev/null
for item in requests.echo requests.text requests.connections syntaxes.ndr20 raising \
    'contexts.closed +a request on it' contexts.race \
    contexts.in_progress contexts.nested packets dying.usage stopping.busy stopping.goes_on stopping.ended \
    stopping.at_once rights.ButtonAction rights.CustomProtocol tracing recovery load load.usage bench bench.usb \
    bench.switch; do
    grep -qE "^FAULT +${item}[ .:]" <<<"$report" || fail "no fault of $item"
done
[ "$failures" -eq 0 ] || echo "$report"
# Of each two answers it loses one.
expect_part "lost answers" 1 "4 requests, 2 answers" tesselctl MBNHELPER_CHECKINTERFACE --repeat 4 --quiet
tessel_service -remove >/dev/null
notebook_modem_remove
notebook_control_device_unload
echo "badservice: $failures failed"
[ "$failures" -eq 0 ]
