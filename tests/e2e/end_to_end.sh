#!/usr/bin/env bash
# Drives the installed service with its client through Wine's service manager: install, start, ask, stop,
# remove. acceptance.sh tests what clients can do to it.
# end_to_end.sh BUILD-FOLDER LOGGED-SERVICE [SERVICE-BY-WIDL]
set -u
build=$1 logged=$2 widl=${3:-}
. "$(dirname "$0")/lib.sh"
log=$WINEPREFIX/drive_c/TesselServicelog.txt
client='C:\Windows\Tessel\tessel-acceptance.exe'

wine_prefix_ready || exit 1
notebook_install_programs "$build" && notebook_copy "$logged" "$build/acceptance/tessel-acceptance.exe" || exit 1
tessel_service -remove >/dev/null
notebook_modem_remove
rm -f "$log"
# Only the names of four DLLs differ from the built programs.
names='ADVAPI32|RPCRT4|CFGMGR32|api-ms-win-security-base-l1-2-2'
for program in service/tessel-service client/tesselctl; do
    cmp <(LC_ALL=C sed -E "s/($names)\.dll\x00*/DLL/Ig" "$build/$program.exe") \
        <(LC_ALL=C sed -E 's/wingap\.dll\x00*/DLL/g' "$WINEPREFIX/drive_c/windows/Tessel/${program#*/}.exe") ||
        fail "$program: not as built"
done

# A program that the service manager did not start is refused after some seconds; the test continues until then.
refused=$(mktemp)
tessel_service >"$refused" &
refused_job=$!

usage=$'Parameters:\n -install  to install the service.\n -remove   to remove the service.'
expect "unknown switch" 0 "" tessel_service -nonsense
expect "double dash" 0 "" tessel_service --install
expect "remove nothing" 0 "OpenService failed w/err 0x00000424" tessel_service -remove
expect "install" 0 "Tessel Service is installed." tessel_service -INSTALL
expect "install twice" 0 "CreateService failed w/err 0x00000431" tessel_service /Install
expect "configuration" 0 'DisplayName Tessel Service
ErrorControl 0x1
ImagePath C:\Windows\Tessel\tessel-service.exe
ObjectName NT AUTHORITY\LocalService
Start 0x2
Type 0x10' sh -c "'$TESSEL_ROOT/scripts/wine-run' reg query 'HKLM\\System\\CurrentControlSet\\Services\\Tessel Service' |
    tr -d '\r' | sed -nE 's/^ +(\w+) +REG_\w+ +/\1 /p' | grep -v PreshutdownTimeout"

expect "version" 0 "tesselctl $("$TESSEL_ROOT/scripts/version")" \
    tesselctl --version
expect_part "no service" 3 'net start "Tessel Service"' tesselctl REGISTRYHELPER_ISVZWQ
expect_part "start" 0 "was started successfully" notebook_run net start "Tessel Service"
wait_for_service
expect "echo" 0 'REGISTRYHELPER_ISVZWQ  flag=true  number=-2147483648  text="é\"\\ 日"' \
    tesselctl REGISTRYHELPER_ISVZWQ --bool true --int -2147483648 --text 'é"\ 日'
expect "json" 0 '{"command":"REGISTRYHELPER_SETSCREENMODE","flag":true,"number":5,"text":"x"}' \
    tesselctl REGISTRYHELPER_SETSCREENMODE --int 5 --text x --json
expect "value came back" 0 'REGISTRYHELPER_GETSCREENMODE  flag=false  number=5  text=""' \
    tesselctl REGISTRYHELPER_GETSCREENMODE
expect_part "unknown command" 1 'does not know "no_such"' tesselctl no_such
expect_part "never answered" 1 "never answered" tesselctl REGISTRYHELPER_SETDIMMINGTIME
expect_part "load" 0 "1000 requests, 1000 answers, " tesselctl REGISTRYHELPER_ISVZWQ --repeat 50 --parallel 20 --quiet
# The events of a restart, as they come.
events=$(mktemp) session=$WINEPREFIX/drive_c/windows/temp/tracing-tesselctl
wine_program 'C:\Windows\Tessel\tesselctl.exe' --trace --json </dev/null >"$events" 2>&1 &
tracing=$!
await_event() {
    for _ in {1..200}; do
        grep -q "$1" "$events" && return
        sleep 0.1
    done
    fail "trace: no $1: $(cat "$events")"
}
await_event "until Ctrl-C"
# Wine loses the reply of a service whose process ends at once, so the output of `net stop` may be wrong.
notebook_quiet net stop "Tessel Service"
expect "stop" 0 "1 STOPPED 0" service_state
notebook_quiet net start "Tessel Service"
wait_for_service
await_event '"level":4,"text":"CppWindowsService in OnStop"'
await_event '"level":4,"text":"CppWindowsService in OnStart"'
kill $tracing
wait $tracing
# The same events from the file of the session, which logman would have stopped: a byte says so.
cp "$session" "$session.old" && printf '\1' | dd of="$session.old" bs=1 seek=17 conv=notrunc status=none
expect "events of a file" 0 "$(tr -d '\r' <"$events" | grep '^{')" \
    tesselctl --trace 'C:\windows\temp\tracing-tesselctl.old' --json
expect_part "no such file" 1 "cannot be read: error 2" tesselctl --trace missing.etl
# The session of the killed program is replaced.
expect "trace again" 0 "tesselctl: shows events for 1 s, or until Ctrl-C" tesselctl --trace 1
rm -f "$events" "$session.old"
expect "remove" 0 $'Stopping Tessel Service.\nTessel Service is stopped.\nTessel Service is removed.' \
    tessel_service -remove
expect_part "gone" 3 "not running" tesselctl REGISTRYHELPER_ISVZWQ
[ ! -e "$log" ] || fail "the shipped service wrote a log"

wait $refused_job
expect "console start" 0 "$usage"$'\n'"Service failed to run w/err 0x00000427" cat "$refused"
rm -f "$refused"

# The log of a service whose client died: its context is run down.
logged_service() { notebook_run 'C:\Windows\Tessel\tessel-service-logged.exe' "$@"; }
expect_part "install logged" 0 "installed" logged_service -install
notebook_run net start "Tessel Service" >/dev/null
wait_for_service
before=$(wc -l <"$log")
notebook_run "$client" --child die 1 1
sleep 1
expect "log of a dead client" 0 "RemoteOpen
Data Recieved requestString : REGISTRYHELPER_ISVZWQ / data_bool : true / data_int : 7 / data_string : #0#
RemoteClose" sed -e "1,${before}d" -e 's/^[0-9]\{8\}_[0-9]\{6\} : //' "$log"
notebook_quiet "$client" --child raise 541541187 0
sleep 1
[ "$(grep -c ' : RemoteOpen' "$log")" = "$(grep -c ' : RemoteClose' "$log")" ] || fail "contexts stay after failing answers"
# Each start of the program empties the log, although the service has it open. The service then writes behind NULs.
logged_service -nonsense
expect_part "remove logged" 0 "is removed" tessel_service -remove
expect "log of the stop" 0 "[4] CppWindowsService in OnStop
Service OnStop
RpcServerDisconnect
Rpc Server Unregister Success
RpcEpUnregister
RpcServerDisconnect end
Service OnStop end" sed -E 's/^\x00*[0-9]{8}_[0-9]{6} : //' "$log"

# A server that cannot start: the service stops itself, the console says so.
notebook_quiet reg add 'HKLM\SOFTWARE\Tessel Simulator' /f /v FailCapability /t REG_DWORD /d 87
logged_service -install >/dev/null
notebook_quiet net start "Tessel Service"
for _ in $(seq 50); do [ "$(service_state)" = "1 STOPPED 0" ] && break; sleep 0.1; done
expect "state after a failed start" 0 "1 STOPPED 0" service_state
# The log begins again at each start, and has local time: here that of a zone which is five hours before.
export TZ=UTC-5
started=$(date +%Y%m%d_%H%M)
expect "console with a failed start" 87 "RpcServerConnect returned: 0x57" \
    notebook_run cmd /c 'C:\Windows\Tessel\tessel-service-logged.exe /CONSOLE 2>nul'
ended=$(date +%Y%m%d_%H%M)
unset TZ
expect "log of a console" 0 "[4] Starting Rpc Server..
RpcServerStart
[4] Starting Rpc Server.." sed -E "s/^($started|$ended)[0-9]{2} : //" "$log"
notebook_quiet reg delete 'HKLM\SOFTWARE\Tessel Simulator' /f /v FailCapability
tessel_service -remove >/dev/null

# The server stub that an interface compiler makes, in place of ours.
if [ -n "$widl" ]; then
    notebook_copy "$widl"
    notebook_run 'C:\Windows\Tessel\tessel-service-widl.exe' -install >/dev/null
    notebook_quiet net start "Tessel Service"
    wait_for_service
    expect "a compiler's server stub" 0 'REGISTRYHELPER_ISVZWQ  flag=true  number=-7  text="é"' \
        tesselctl REGISTRYHELPER_ISVZWQ --bool true --int -7 --text é
    expect_part "end of it" 0 "is removed" tessel_service -remove
fi

echo "end to end: $failures failed"
[ "$failures" -eq 0 ]
