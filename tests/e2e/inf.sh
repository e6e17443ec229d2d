#!/usr/bin/env bash
# Installs the service with the INF file of its driver package and Wine's setup functions: the configuration is that
# of -install, the service answers, and its key is gone after the removal. Runs the command of INSTALL.md's answer
# file. Updates the service by hand as INSTALL.md says: the rights of --grant stay.
# inf.sh BUILD-FOLDER INF
set -u
build=$1 inf=$2
. "$(dirname "$0")/lib.sh"
notebook=$WINEPREFIX/drive_c/windows/Tessel
package=$WINEPREFIX/drive_c/package
service_key='HKLM\System\CurrentControlSet\Services\Tessel Service'

# The configuration of the service. Wine adds the time for shutting down, and its setup writes the name of
# the Windows folder in lower case; -install sets no description.
configuration() {
    notebook_run reg query "$service_key" /s |
        tr -d '\r' | sed -E '/PreshutdownTimeout|Description/d; s/C:.windows/C:\\Windows/'
}

# What --check says of the keys.
rights() {
    tesselctl --check --json | tr -d '\r' | grep '"item":"key'
}

# The files of both machines differ only in the name of the machine, which Windows needs. Wine does not read the rest.
diff "${inf%/*/*}/x64/tessel-service.inf" <(sed 's/NTarm64/NTamd64/' "${inf%/*/*}/arm64/tessel-service.inf") ||
    fail "the machines differ"
expect "sections without a machine" 1 "" grep -F '[DefaultInstall]' "$inf"
expect "SID and recovery" 0 5 grep -cE '^(ServiceSidType = 1|FailureActions = Recovery|Action += 1,(5|60)000)' "$inf"

wine_prefix_ready || exit 1
notebook_install_programs "$build" || exit 1
tessel_service -remove >/dev/null
tesselctl --revoke >/dev/null
rm -rf "$package" "$notebook/Store"
mkdir -p "$package" && cp "$notebook"/{tessel-service,tesselctl}.exe "$package/" || exit 1

# C:\Windows\Tessel\Store in place of the driver store (13), which Wine does not have. 10 is C:\Windows.
mkdir -p "$notebook/Store" && cp "$notebook/wingap.dll" "$notebook/Store/" || exit 1
sed 's/%13%/%10%\\Tessel\\Store/; s/= 13/= 10,Tessel\\Store/' "$inf" >"$package/tessel-service.inf"
notebook_run rundll32 setupapi,InstallHinfSection DefaultInstall 128 'C:\package\tessel-service.inf'
# The installation has started it.
wait_for_service
expect "served from the store" 0 'REGISTRYHELPER_ISVZWQ  flag=false  number=7  text=""' \
    notebook_run 'C:\Windows\Tessel\Store\tesselctl.exe' REGISTRYHELPER_ISVZWQ --int 7
by_inf=$(configuration)
expect_part "remove" 0 "is removed" tessel_service -remove
expect_part "nothing stays" 1 "" notebook_run reg query "$service_key"
expect_part "install" 0 "is installed" notebook_run 'C:\Windows\Tessel\Store\tessel-service.exe' -install
expect "configuration" 0 "$by_inf" configuration
expect_part "remove again" 0 "is removed" tessel_service -remove

# The command of the answer file, as Windows reads it, with two versions in the driver store. The older tesselctl is
# another program.
command=$(sed -nE 's/^ *<Path>cmd \/v:on \/c "(.*)"<\/Path>$/\1/p' "$TESSEL_ROOT/INSTALL.md" | sed 's/&amp;/\&/g')
[ -n "$command" ] && [ ${#command} -le 242 ] || fail "the command of the answer file: $command"
store=$WINEPREFIX/drive_c/windows/system32/DriverStore/FileRepository granted=$WINEPREFIX/drive_c/windows/tessel-grant.txt
rm -f "$granted"
# Windows always has the folder.
mkdir -p "$store"
notebook_quiet cmd /v:on /c "$command"
expect "no package" 1 "" grep -E 'inf_|key ' "$granted"
mkdir -p "$store"/tessel-service.inf_arm64_{z,a} &&
    cp "$notebook/tessel-service.exe" "$store/tessel-service.inf_arm64_z/tesselctl.exe"
sleep 1.1
touch "$store/tessel-service.inf_arm64_a" && cp "$notebook"/{tesselctl.exe,wingap.dll} "$store/tessel-service.inf_arm64_a/"
notebook_quiet cmd /v:on /c "$command"
expect "two packages" 0 2 grep -c 'DIR.*tessel-service.inf_arm64_' "$granted"
# How many keys there are depends on the tests before.
grep -qE '^(DONE|UNCHANGED) +key ' "$granted" || fail "grant of the later one: $(cat "$granted")"
expect_part "not installed yet" 0 "error 1060" cat "$granted"
tesselctl --revoke >/dev/null
rm -rf "$store"/tessel-service.inf_arm64_* "$granted"

# The update.
tessel_service -install >/dev/null
before=$(rights)
notebook_quiet 'C:\Windows\Tessel\tesselctl.exe' --grant
granted=$(rights)
[ "$granted" != "$before" ] || fail "--grant changed nothing: $granted"
notebook_quiet net start "Tessel Service"
wait_for_service
notebook_quiet net stop "Tessel Service"
notebook_install_programs "$build" || exit 1
notebook_quiet net start "Tessel Service"
wait_for_service
expect "served after the update" 0 'REGISTRYHELPER_ISVZWQ  flag=false  number=8  text=""' \
    tesselctl REGISTRYHELPER_ISVZWQ --int 8
expect "rights after the update" 0 "$granted" rights
expect_part "SID after the update" 0 0x1 notebook_run reg query "$service_key" /v ServiceSidType
tesselctl --revoke >/dev/null
expect_part "remove what was installed by hand" 0 "is removed" tessel_service -remove
rm -rf "$package" "$notebook/Store"

echo "driver package: $failures failed"
[ "$failures" -eq 0 ]
