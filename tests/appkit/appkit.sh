#!/usr/bin/env bash
# The example and the client of appkit on the notebook. appkit.sh BUILD-FOLDER EXAMPLE KITCLIENT
set -u
. "$(dirname "$0")/../e2e/lib.sh"

wine_prefix_ready || exit 1
notebook_install_programs "$1" && notebook_copy "$2" "$3" || exit 1
tessel_service -remove >/dev/null; notebook_modem_remove
app() { notebook_run "C:\\Windows\\Tessel\\$1.exe" "${@:2}"; }

expect "no service" 1 "no connection: error 1722, the service is not running" app example_client
tessel_service -install >/dev/null
notebook_quiet net start "Tessel Service"
wait_for_service
expect "example" 0 $'screen mode 5\nno SIM card was read' app example_client
expect "restart" 0 $'1 no error\n0 the service is not running\n3 no error' app kitclient
expect "eight threads" 0 "0 answers are wrong" app kitclient "$([ "$TESSEL_MACHINE" = x64 ] && echo 200 || echo 20)"
tessel_service -remove >/dev/null
[ "$failures" -eq 0 ]
