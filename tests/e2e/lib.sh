# What the tests of the installed service share; sourced by them.
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/wine.sh"
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/notebook.sh"
failures=0

# fail TEXT: counts a failure; the test goes on.
fail() {
    echo "FAILED $1"
    failures=$((failures + 1))
}

# expect NAME EXIT-CODE TEXT COMMAND...: the command ends with the code and prints the text, \r\n or \n.
expect() { expect_output whole "$@"; }

# The same for a part of the output.
expect_part() { expect_output part "$@"; }

expect_output() {
    local kind=$1 name=$2 code=$3 text=$4 output got
    shift 4
    output=$("$@" | tr -d '\r'; exit "${PIPESTATUS[0]}")
    got=$?
    [[ $got = "$code" && ($output = "$text" || $kind = part && $output = *"$text"*) ]] && return
    fail "$name: exit $got, wanted $code"
    printf -- '--- printed\n%s\n--- wanted (%s)\n%s\n' "$output" "$kind" "$text"
}

acceptance() { NOTEBOOK_TIMEOUT=1500 notebook_run 'C:\Windows\Tessel\tessel-acceptance.exe' "$@"; }

# Deletes C:\Windows\Temp\acceptance.txt and prints the path by which this machine sees it.
acceptance_report() {
    local report=$WINEPREFIX/drive_c/windows/temp/acceptance.txt
    rm -f "$report"
    echo "$report"
}

# The service's state and exit code from the service manager.
service_state() {
    notebook_run sc query "Tessel Service" | tr -d '\r' |
        awk '/STATE/{state = $3 " " $4} /WIN32_EXIT_CODE/{print state, $3}'
}

# Waits until the service answers and takes controls. It answers before it reports that it runs, and `net start`
# waits for neither.
wait_for_service() {
    local i
    for i in $(seq 100); do
        tesselctl '' >/dev/null 2>&1
        [ $? = 1 ] && [ "$(service_state)" = "4 RUNNING 0" ] && return 0
        sleep 0.1
    done
    fail "start: the service does not come up"
}

# Prints the ids of the notebook's processes whose command lines contain the text.
notebook_processes() {
    local process line
    for process in /proc/[0-9]*; do
        line=$({ tr '\0' ' ' <"$process/cmdline"; } 2>/dev/null)
        [[ $line == *"$1"* ]] && { tr '\0' '\n' <"$process/environ"; } 2>/dev/null | grep -qxF "WINEPREFIX=$WINEPREFIX" &&
            echo "${process##*/}"
    done
}
