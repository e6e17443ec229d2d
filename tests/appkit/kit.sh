#!/usr/bin/env bash
# The parts of appkit that need no notebook: the DLLs' exports and imports, the C# class with a stand-in of the DLL, and
# the example in C++/WinRT. kit.sh DLL...
set -u
cd "$(dirname "$0")/../.." || exit 1
here=tests/appkit
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0
fail() {
    echo "FAILED $1"
    failures=$((failures + 1))
}

# same NAME WANTED GOT: two texts.
same() { diff <(echo "$2") <(echo "$3") >"$folder/diff" || fail "$1 (< wanted, > got):
$(cat "$folder/diff")"; }

# What the DLL imports from Windows, each documented for packaged apps (UWP). From the C runtime it may import everything
# except what is documented as not supported there.
permitted=(AcquireSRWLockExclusive DeleteCriticalSection EnterCriticalSection FormatMessageW GetCurrentProcess
    GetLastError GetTickCount64 InitializeCriticalSection IsProcessorFeaturePresent LeaveCriticalSection
    MultiByteToWideChar ReleaseSRWLockExclusive Sleep SleepConditionVariableSRW TerminateProcess TlsGetValue
    TrySubmitThreadpoolCallback WakeAllConditionVariable
    NdrClientCall3 NdrServerCall2 NdrServerCallAll RpcBindingFree RpcBindingFromStringBindingW RpcExceptionFilter
    RpcSsDestroyClientContext)
unsupported='_?(beep|sleep|seterrormode|w?system|get(system)?env.*|w?(dup|put|search|get)env.*|p(close|open|ipe)|wpopen'
unsupported+='|c(get|put|printf|scanf).*|(get|put)w?ch.*|kbhit|mb.*|(w?exec|w?spawn)[lv].*|heap(walk|add|chk|set|used)'
unsupported+='|(load|unload)dll|getdllprocaddr|resetstkoflw|environ|tzset)'
exports=$(sed -n '/^Tessel/p' appkit/tesselclient.def)
for dll in "$@"; do
    same "$dll: exports" "$exports" "$(llvm-readobj-19 --coff-exports "$dll" | sed -nE 's/^ *Name: (.+)/\1/p')"
    imports=$(llvm-readobj-19 --coff-imports "$dll")
    [ -n "$imports" ] || fail "$dll: no imports"
    others=$(awk '$1 == "Name:" { crt = $2 ~ /^api-ms-win-crt/ } $1 == "Symbol:" && !crt { print $2 }' <<<"$imports" |
        grep -vxF "$(printf '%s\n' "${permitted[@]}")")
    [ -z "$others" ] || fail "$dll imports $others: is it documented for packaged apps?"
    others=$(awk '$1 == "Name:" { crt = $2 ~ /^api-ms-win-crt/ } $1 == "Symbol:" && crt { print $2 }' <<<"$imports" |
        grep -xE "$unsupported" | grep -vx _tzset)
    [ -z "$others" ] || fail "$dll imports $others, which packaged apps may not use"
    # Microsoft's linker reads import libraries in this form.
    same "$dll: import library" "$exports" "$(llvm-readobj-19 "${dll%.dll}.lib" |
        awk '/^Format: COFF-import-file-/ { import = 1 } /^Symbol: Tessel/ && import { print $2; import = 0 }' | sort)"
done

clang-19 -shared -fPIC -fshort-wchar -std=gnu11 -Wall -Wextra -Werror -I. -o "$folder/libtesselclient.so" $here/standin.c &&
    mcs -langversion:7.2 -warnaserror -out:"$folder/kittest.exe" appkit/TesselClient.cs $here/KitTest.cs &&
    LD_LIBRARY_PATH=$folder timeout 60 mono "$folder/kittest.exe" >"$folder/output" 2>&1 </dev/null ||
    fail "C#: exit $?"
diff $here/kittest.txt "$folder/output" || fail "C# (< wanted, > got)"
same "the functions in C#" "$exports" "$(sed -nE 's/.* extern .* (Tessel[A-Za-z]+)\(.*/\1/p' appkit/TesselClient.cs | sort)"
# The class has a call for each command but the three that are never answered, and ReadDocument and CreateProfile, which
# are functions of the DLL.
same "the commands in C#" "$(grep -oE '"[A-Z]+_[A-Z_]+"' command/commandhelp.h | sort |
    grep -vE 'DIMMING|READEULADOCUMENT|CREATEPROFILE')" "$(grep -oE '"[A-Z]+_[A-Z_]+"' appkit/TesselClient.cs | sort)"

clang++-19 -fsyntax-only -fshort-wchar -std=c++20 -Wall -Wextra -Werror -Iappkit -idirafter tests/appkit -x c++ \
    docs/example/app.cpp || fail "the example in C++/WinRT"
[ $failures -eq 0 ]
