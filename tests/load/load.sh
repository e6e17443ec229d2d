#!/usr/bin/env bash
# The installed service under load, stopped in the midst of it, and among dying clients: some seconds of each, or
# minutes with TESSEL_SOAK set.
# load.sh BUILD-FOLDER LOGGED-SERVICE LOADCLIENT
set -u
build=$1 logged=$2
. "$(dirname "$0")/../e2e/lib.sh"
trap wine_shutdown EXIT
log=$WINEPREFIX/drive_c/TesselServicelog.txt
export NOTEBOOK_TIMEOUT=400

# Picks the short or the long form of a figure.
form() { [ -z "${TESSEL_SOAK:-}" ] && echo "$1" || echo "$2"; }

loadclient() { notebook_run 'C:\Tessel\loadclient.exe' "$@"; }

# A number that a program of the notebook keeps in the registry.
registry_number() { echo $(($(notebook_run reg query "$1" /v "$2" | tr -d '\r' | awk '/REG_DWORD/{print $3}'))); }

service_pid() {
    local directory
    for directory in /proc/[0-9]*; do
        [[ $(cat "$directory/comm" 2>/dev/null) == tessel-service* ]] &&
            tr '\0' '\n' <"$directory/environ" | grep -qxF "WINEPREFIX=$WINEPREFIX" &&
            echo "${directory#/proc/}" && return
    done
}

# What the service holds: private memory in kB and threads; and the handles of the whole notebook. Taken when nothing
# of the load is left: an idle thread of Wine's pool ends after five seconds.
settled_gauge() {
    local pid
    sleep 7
    pid=$(service_pid)
    echo "$(awk '/^Private/{sum+=$2} END{print sum}' "/proc/$pid/smaps_rollup")" \
        "$(ls "/proc/$pid/task" | wc -l)" "$(loadclient handles | tr -d '\r')"
}

# Several processes at once, with 16 clients each: requests|- seconds, for process 1, 2 ...
load() {
    local processes=$1 requests=$2 seconds=$3 process jobs=()
    for process in $(seq "$processes"); do
        loadclient 16 "$requests" "$seconds" "$process" &
        jobs+=($!)
    done
    for process in "${jobs[@]}"; do
        wait "$process" || fail "load: a client ended with $?"
    done
}

test_load() {
    local before after
    # The pool's threads, what Windows loads once, and the memory of both come with the first load.
    load 4 500 0
    before=($(settled_gauge))
    load 4 "$(form 1000 50000)" 0
    # All commands at once.
    load 1 0 "$(form 2 60)"
    after=($(settled_gauge))
    echo "before: ${before[0]} kB, ${before[1]} threads, ${before[2]} handles"
    echo "after:  ${after[0]} kB, ${after[1]} threads, ${after[2]} handles"
    # Wine keeps some of the freed memory, and ends its threads in its own time.
    [ $((after[0] - before[0])) -lt 4096 ] || fail "load: memory grows"
    [ $((after[1] - before[1])) -le 2 ] || fail "load: threads stay"
    [ $((after[2] - before[2])) -le 4 ] || fail "load: handles stay"
    [ "$(registry_number "$NOTEBOOK_MODEM_KEY" ObjectsAlive)" = 0 ] || fail "load: objects of the modem stay"
    [ "$(registry_number "$NOTEBOOK_CONTROL_DEVICE_KEY" OpenHandles)" = 0 ] ||
        fail "load: the control device stays open"
}

# Clients in the background that send until they are killed; their process ids in `clients`. Each is waited
# for until it makes no connection any more: one that breaks before the runtime listens on its pipe leaves Wine's
# endpoint deaf for ever.
start_client() {
    local output=$WINEPREFIX/client.$1.txt i
    rm -f "$output"
    # Without a shell around it, which would be killed in its place.
    (exec "$WINE_DIR/wine64" 'C:\Tessel\loadclient.exe' 16 0 600 "$1") </dev/null >"$output" 2>&1 &
    clients+=($!)
    for i in $(seq 600); do
        grep -qs connected "$output" && return
        sleep 0.05
    done
    fail "a client does not connect"
}

kill_client() {
    kill -9 "${clients[$1]}" 2>/dev/null
    wait "${clients[$1]}" 2>/dev/null
    unset "clients[$1]"
    clients=("${clients[@]}")
}

# Waits for a process to end, half a minute at most, and kills it then.
await_end() { timeout 30 tail -n 0 -f --pid="$1" /dev/null || kill -9 "$1"; }

start_service() {
    notebook_quiet net start "Tessel Service"
    wait_for_service
}

# The service is stopped while clients send: they are told, the service manager sees it stopped, and the next start
# serves.
test_stops() {
    local clients i client pid
    for i in $(seq "$(form 2 15)"); do
        clients=()
        for client in 1 2 3 4; do start_client "$client"; done
        sleep "0.$((5 + RANDOM % 5))"
        pid=$(service_pid)
        notebook_quiet net stop "Tessel Service"
        expect "stopped" 0 "1 STOPPED 0" service_state
        # Wine now and then hangs in the end of a process.
        await_end "$pid"
        for client in "${clients[@]}"; do
            await_end "$client"
            wait "$client"
            expect "a client of a service that is stopped" 3 "" return $?
        done
        start_service
    done
}

logged_lines() { grep -ac "^[0-9]\{8\}_[0-9]\{6\} : $1.\?\$" "$log"; }

test_killed_clients() {
    local clients=() kills=0 end i opens closes
    for i in 1 2 3 4; do start_client "$i"; done
    end=$((SECONDS + $(form 4 60)))
    while [ $SECONDS -lt $end ]; do
        sleep "0.$((RANDOM % 5))$((RANDOM % 10))"
        kill_client $((RANDOM % 4))
        kills=$((kills + 1))
        start_client $((10 + kills))
    done
    for i in 1 2 3 4; do kill_client 0; done
    expect_part "the next client" 1 "does not know" tesselctl ''
    sleep 1
    opens=$(logged_lines RemoteOpen)
    closes=$(logged_lines RemoteClose)
    echo "$((kills + 4)) clients killed; $opens contexts opened, $closes ended"
    [ "$opens" = "$closes" ] && [ "$opens" -gt 0 ] || fail "killed clients: contexts stay"
}

wine_prefix_ready || exit 1
notebook_install_programs "$build" && notebook_copy "${@:2}" &&
    notebook_modem_insert "$build/simulator/modem/tesselmodem.dll" &&
    notebook_control_device_load "$build/notebook/tesselcontrol.sys" || exit 1
notebook_quiet reg copy "$NOTEBOOK_MODEM_KEY\\0" "$NOTEBOOK_MODEM_KEY\\1" /s /f
printf 'one\r\ntwo' >"$WINEPREFIX/drive_c/Tessel/load.txt"
tessel_service -remove >/dev/null

tessel_service -install >/dev/null
start_service
test_load
test_stops
tessel_service -remove >/dev/null
# What becomes of the contexts is in the log.
notebook_run "C:\\Tessel\\${logged##*/}" -install >/dev/null
start_service
test_killed_clients
expect_part "end" 0 "is stopped" tessel_service -remove
echo "load: $failures failed"
[ $failures -eq 0 ]
