#!/usr/bin/env bash
# ./run --shell: what a user types at the notebook's prompt has its effect. Skipped (77) while another ./run is on.
set -u
cd "$(dirname "$0")/../.." || exit 1
mkdir -p build
flock -n build/notebook-x64.on true || exit 77

lines=() parts=()
# types LINE PART: the output that follows the line must have the part.
types() {
    lines+=("$1") parts+=("$2")
}

types 'modem NullTexts 1' 'NullTexts is now "1".'
types 'reg query "HKLM\SOFTWARE\Tessel Simulator\Modem\0" /v NullTexts' 'REG_DWORD'
types 'reg query "HKLM\SOFTWARE\Tessel Simulator\Modem\0" /v SimIccId' 'REG_SZ'
types 'modem simiccid 8949000000000000001' 'SimIccId is now "8949000000000000001".'
types 'tesselctl MBNHELPER_GETSIMICCID' 'text="8949000000000000001"'
types 'modem ReadyState ready' 'Type a name and a value. Numbers: ReadyState'
types 'modem' '  SimIccId 8949000000000000001'
types 'modem2 SimIccId 1' 'There is no second modem'
types 'modem2 on' ''
types 'MBNHELPER_GETSIMICCID' 'text="8949098765432109876"'
types 'modem2 off' ''
types 'modem ReadyState 2' 'is now'
types '> MBNHELPER_CHECKINTERFACE' 'number=2'
types 'device Value 85' 'Value is now "85".'
types 'BLEHELPER_GETBLE' 'flag=true  number=85'
types 'COMMONHELPER_ISFILE_EXISTS --text "C:\Windows\Tessel\agreement.txt"' 'flag=true'
types 'cmd /c echo two words' 'two words'
types 'nosuch' 'not a command, and not a program of the notebook'
types '/?' 'stop the notebook'
types 'exit' 'Tessel Service is removed.'

output=$(printf '%s\n' "${lines[@]}" | ./run --shell 2>&1)
rest=$output failures=0
for i in "${!lines[@]}"; do
    if [[ $rest != *"${parts[i]}"* ]]; then
        echo "FAIL: ${lines[i]}: no ${parts[i]}"
        failures=$((failures + 1))
    fi
    rest=${rest#*"${parts[i]}"}
done
[ $failures -eq 0 ] || echo "$output"
[ $failures -eq 0 ]
