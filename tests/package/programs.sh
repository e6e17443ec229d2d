#!/usr/bin/env bash
# Properties of the linked programs: they need only DLLs of Windows, and are protected. programs.sh PROGRAM...
set -u
windows='api-ms-win-crt-[a-z]+-l1-1-0|api-ms-win-security-base-l1-2-2'
windows+='|advapi32|bcrypt|cfgmgr32|kernel32|ole32|oleaut32|rpcrt4|userenv|version|wevtapi'
failures=0
fail() {
    echo "FAILED $1"
    failures=$((failures + 1))
}

for program in "$@"; do
    facts=$(llvm-readobj-19 --file-headers --coff-imports --coff-load-config --coff-debug-directory \
        "$program")
    # Without relocations the base address is not random, even with the flags.
    wanted=(DYNAMIC_BASE HIGH_ENTROPY_VA NX_COMPAT 'BaseRelocationTableSize: 0x[1-9A-F]' 'Name: KERNEL32.dll'
        GUARD_CF CF_INSTRUMENTED CF_FUNCTION_TABLE_PRESENT 'GuardCFCheckFunction: 0x[1-9A-F]'
        'GuardCFFunctionCount: [1-9]' 'DependentLoadFlags: 0x800$')
    # Shadow stacks are a property of x64 processors.
    [[ $facts == *aarch64* ]] || wanted+=(EX_CET_COMPAT)
    for fact in "${wanted[@]}"; do
        grep -q "$fact" <<<"$facts" || fail "$program: no $fact"
    done
    others=$(sed -nE 's/^ *Name: (.*)\.dll$/\1/Ip' <<<"$facts" | grep -viE "^($windows)$")
    [ -z "$others" ] || fail "$program: needs $others"
    # How a debugger finds the symbols: the file's name, without a folder, and its GUID.
    symbols=$(llvm-pdbutil-19 dump --summary "${program%.*}.pdb" | sed -nE 's/^ *GUID: //p'; basename "${program%.*}.pdb")
    [ "$symbols" = "$(sed -nE 's/^ *PDB(GUID|FileName): //p' <<<"$facts")" ] || fail "$program: no way to its symbols"
    # The assertion is a part of what the service promises. Its text is UTF-16.
    [[ $program != */tessel-service.exe ]] || tr -d '\0' <"$program" | grep -qF 's_service != NULL' ||
        fail "$program: no assertion"
done
[ $failures -eq 0 ]
