#!/usr/bin/env bash
# The installed service under load, stopped in the midst of it, and among dying clients: some seconds of each, or
# minutes with TESSEL_SOAK set.
# load.sh BUILD-FOLDER LOGGED-SERVICE
set -u
build=$1 logged=$2
. "$(dirname "$0")/../e2e/lib.sh"
trap wine_shutdown EXIT
log=$WINEPREFIX/drive_c/TesselServicelog.txt

# Picks the short or the long form of a figure.
form() { [ -z "${TESSEL_SOAK:-}" ] && echo "$1" || echo "$2"; }

service_pid() {
    local directory
    for directory in /proc/[0-9]*; do
        [[ $(cat "$directory/comm" 2>/dev/null) == tessel-service* ]] &&
            tr '\0' '\n' <"$directory/environ" | grep -qxF "WINEPREFIX=$WINEPREFIX" &&
            echo "${directory#/proc/}" && return
    done
}

# Sends each of the commands many times from 16 clients: all are answered, and all alike.
send_all() {
    local number=$1 command text answers output
    shift
    for command in "$@"; do
        text="t$number|web.apn|PAP|user|secret|IPV4" answers=96
        case $command in
            *DIMMING*) answers=0 ;;
            COMMONHELPER_*) text='C:\Windows\Tessel\load.txt' ;;
        esac
        # Whatever becomes of its requests the client prints something: one that did not was never started, which
        # a loaded machine's Wine does now and then.
        for _ in 1 2; do
            output=$(tesselctl "$command" --bool true --int "$number" --text "$text" --json --repeat 6 --parallel 16)
            [ -n "$output" ] && break
            echo "load: $command: a client did not run"
        done
        [ "$(grep -cF "{\"command\":\"$command\"," <<<"$output")" = $answers ] &&
            [ "$(grep '^{' <<<"$output" | sort -u | wc -l)" = $((answers > 0)) ] ||
            fail "load: $command: $(sort <<<"$output" | uniq -c | sort -rn | head -n 5)"
    done
    return $failures
}

# All commands, from four processes at once.
load() {
    local commands job jobs=()
    mapfile -t commands < <(tesselctl --list | awk '{print $1}')
    for job in 0 1 2 3; do
        send_all $((job + 5)) "${commands[@]:job*10:10}" &
        jobs+=($!)
    done
    for job in "${jobs[@]}"; do
        wait "$job" || failures=$((failures + 1))
    done
}

# The service's private memory in kB when nothing of the load is left: an idle thread of Wine's pool ends after five
# seconds.
settled_memory() {
    sleep 7
    awk '/^Private/{sum+=$2} END{print sum}' "/proc/$(service_pid)/smaps_rollup"
}

test_load() {
    local before after key
    # What Windows loads once comes with the first load.
    load
    before=$(settled_memory)
    for _ in $(seq "$(form 1 20)"); do load; done
    after=$(settled_memory)
    echo "private memory before: $before kB, after: $after kB"
    # Wine keeps some of the freed memory.
    [ $((after - before)) -lt 2048 ] || fail "load: memory grows"
    for key in "$NOTEBOOK_MODEM_KEY /v ObjectsAlive" "$NOTEBOOK_CONTROL_DEVICE_KEY /v OpenHandles"; do
        expect_part "load: $key" 0 "REG_DWORD    0x0" notebook_run reg query "${key% /v *}" /v "${key##* }"
    done
}

# Starts four clients that send until they are stopped, each from so many threads; their process ids are in `clients`,
# what they print in client.<n>.txt.
start_clients() {
    local i
    for i in 1 2 3 4; do
        # Without a shell around it, which would be killed in its place.
        (exec "$WINE_DIR/wine64" 'C:\Windows\Tessel\tesselctl.exe' REGISTRYHELPER_ISVZWQ --quiet --repeat 1000000 \
            --parallel "$1") </dev/null >"$WINEPREFIX/client.$i.txt" 2>&1 &
        clients[$i]=$!
    done
}

kill_clients() {
    local client
    for client in "${clients[@]}"; do
        sleep "0.$((RANDOM % 3))$((RANDOM % 10))"
        kill -9 "$client"
        wait "$client"
    done 2>/dev/null
}

start_service() {
    notebook_quiet net start "Tessel Service"
    wait_for_service
}

# The service is stopped while clients send: they are told, the service manager sees it stopped, and the next start
# serves.
test_stops() {
    local clients=() client pid
    for _ in $(seq "$(form 2 15)"); do
        start_clients 16
        sleep "1.$((RANDOM % 10))"
        pid=$(service_pid)
        notebook_quiet net stop "Tessel Service"
        expect "stopped" 0 "1 STOPPED 0" service_state
        # Wine now and then hangs in the end of a process whose threads are in the midst of RPC, with its pipes open.
        timeout 10 tail -n 0 -f --pid="$pid" /dev/null || kill -9 "$pid"
        for client in 1 2 3 4; do
            for _ in $(seq 300); do
                grep -qs "tesselctl: the" "$WINEPREFIX/client.$client.txt" && break
                sleep 0.1
            done
            expect_part "a client of a service that has stopped" 0 "tesselctl: the" cat "$WINEPREFIX/client.$client.txt"
        done
        kill_clients
        start_service
    done
}

logged_lines() { grep -ac "^[0-9]\{8\}_[0-9]\{6\} : $1.\?\$" "$log"; }

test_killed_clients() {
    local clients=() kills=0 opens closes
    for _ in $(seq "$(form 4 60)"); do
        opens=$(logged_lines RemoteOpen)
        # From one thread each, which makes one connection: one that breaks before the runtime listens on its pipe
        # leaves Wine's endpoint deaf for ever.
        start_clients 1
        for _ in $(seq 300); do
            [ "$(logged_lines RemoteOpen)" = $((opens + 4)) ] && break
            sleep 0.1
        done
        kills=$((kills + 4))
        kill_clients
    done
    expect_part "the next client" 1 "does not know" tesselctl ''
    sleep 1
    opens=$(logged_lines RemoteOpen)
    closes=$(logged_lines RemoteClose)
    echo "$kills clients killed; $opens contexts opened, $closes ended"
    [ "$opens" = "$closes" ] && [ "$opens" -gt "$kills" ] || fail "killed clients: contexts stay"
}

wine_prefix_ready || exit 1
notebook_install_programs "$build" && notebook_copy "$logged" &&
    notebook_modem_insert "$build/simulator/modem/tesselmodem.dll" &&
    notebook_control_device_load "$build/notebook/tesselcontrol.sys" || exit 1
notebook_quiet reg copy "$NOTEBOOK_MODEM_KEY\\0" "$NOTEBOOK_MODEM_KEY\\1" /s /f
printf 'one\r\ntwo' >"$WINEPREFIX/drive_c/windows/Tessel/load.txt"
tessel_service -remove >/dev/null

tessel_service -install >/dev/null
start_service
test_load
test_stops
tessel_service -remove >/dev/null
# What becomes of the contexts is in the log.
notebook_run "C:\\Windows\\Tessel\\${logged##*/}" -install >/dev/null
start_service
test_killed_clients
expect_part "end" 0 "is stopped" tessel_service -remove
echo "load: $failures failed"
[ $failures -eq 0 ]
