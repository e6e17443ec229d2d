#!/usr/bin/env bash
# Installs the service by the file of its driver package, with Wine's setup functions: it is the same service
# that -install makes, it serves, and what stays when it is removed are the keys that the file names.
# inf.sh BUILD-FOLDER INF
set -u
build=$1 inf=$2
. "$(dirname "$0")/lib.sh"
package=$WINEPREFIX/drive_c/package
store='C:\Windows\Tessel\Store\tessel-service.exe'

# All keys below HKEY_LOCAL_MACHINE that are kept on disk, sorted, each by one name.
keys() {
    notebook_quiet reg export HKLM 'C:\package\keys.reg' /y
    iconv -f utf-16 -t utf-8 "$package/keys.reg" | tr -d '\r' |
        sed -nE 's/^\[HKEY_LOCAL_MACHINE\\(.*)\]$/\U\1/p' | grep -vE 'CURRENTCONTROLSET|^HARDWARE' | sort
}

# What the service manager keeps of the service. Wine adds the time for shutting down.
configuration() {
    notebook_run reg query 'HKLM\System\CurrentControlSet\Services\Tessel Service' /s |
        tr -d '\r' | grep -v PreshutdownTimeout
}

wine_prefix_ready || exit 1
notebook_install_programs "$build" || exit 1
tessel_service -remove >/dev/null
named=$(tr -d '\r' <"$inf" | sed -nE 's/^HKLM,([^,]*),.*/\U\1/p' | sort)
# Without the keys, but with those above them.
while read -r key; do
    notebook_quiet reg add "HKLM\\$key" /f
    notebook_quiet reg delete "HKLM\\$key" /f
done <<<"$named"
notebook=$WINEPREFIX/drive_c/windows/Tessel
rm -rf "$package" "$notebook/Store"
mkdir -p "$package" "$notebook/Store" && cp "$notebook"/{tessel-service,tesselctl}.exe "$package/" &&
    cp "$notebook/wingap.dll" "$notebook/Store/" || exit 1
# A folder (24 is C:\) in the place of the driver store (13), which Wine does not have.
sed 's/%13%/%24%\\Windows\\Tessel\\Store/; s/= 13/= 24,Windows\\Tessel\\Store/' "$inf" >"$package/tessel-service.inf"

before=$(keys)
notebook_run rundll32 setupapi,InstallHinfSection DefaultInstall 128 'C:\package\tessel-service.inf'
# Nobody has started it: the file says so.
wait_for_service
expect "served from the store" 0 'REGISTRYHELPER_ISVZWQ  flag=false  number=7  text=""' \
    notebook_run 'C:\Windows\Tessel\Store\tesselctl.exe' REGISTRYHELPER_ISVZWQ --int 7
by_inf=$(configuration)
expect_part "remove" 0 "is removed" notebook_run "$store" -remove
expect "what stays" 0 "$named" comm -13 <(echo "$before") <(keys)

expect_part "install" 0 "is installed" notebook_run "$store" -install
expect "configuration" 0 "$by_inf" configuration
expect_part "remove again" 0 "is removed" notebook_run "$store" -remove

echo "driver package: $failures failed"
[ $failures -eq 0 ]
