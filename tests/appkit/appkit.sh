#!/usr/bin/env bash
# Builds the examples as an app's developer does, from the files of an archive alone, and runs them on the notebook with
# the client of appkit. appkit.sh BUILD-FOLDER [UNPACKED-ARCHIVE]
set -u
. "$(dirname "$0")/../e2e/lib.sh"
build=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT

wine_prefix_ready || exit 1
if [ $# -gt 1 ]; then
    cp -r "$2/." "$folder/"
else
    "$TESSEL_ROOT/scripts/kit-files" "$build" "$folder" || exit 1
fi
(
    cd "$folder" || exit 1
    config=--config=${TESSEL_LLVM:-$TESSEL_ROOT/build/llvm}/$TESSEL_MACHINE/clang.cfg
    warnings=(-Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion -Werror)
    clang-19 "$config" -std=c11 "${warnings[@]}" -Iappkit -o c_client.exe example/client.c appkit/tesselclient.lib &&
        clang++-19 "$config" -std=c++17 "${warnings[@]}" -static -Iappkit -o client.exe example/client.cpp \
            appkit/tesselclient.lib
) || exit 1
notebook_install_programs "$build" && notebook_write_documents &&
    notebook_copy "$build"/tests/appkit/kit{client,unload}.exe "$folder"/{c_client,client}.exe \
        "$folder/appkit/tesselclient.dll" || exit 1
tessel_service -remove >/dev/null; notebook_modem_remove
app() { notebook_run "C:\\Windows\\Tessel\\$1.exe" "${@:2}"; }

expect "no service" 1 "not stored: error 1722, the service is not running" app client
tessel_service -install >/dev/null
notebook_quiet net start "Tessel Service"
wait_for_service
expect "C++" 0 $'screen mode 5\nno SIM card was read: the service could not do it' app client
expect "C" 0 $'screen mode 5\n46 bytes, 46 characters' app c_client
expect "restart" 0 $'1 the service has answered\n0 the service is not running\n3 the service has answered' app kitclient
expect "unload" 0 $'outcome 4, sent 1, loaded, then gone\noutcome 4, sent 1, loaded, then gone' app kitunload
expect "eight threads" 0 "0 answers are wrong" app kitclient "$([ "$TESSEL_MACHINE" = x64 ] && echo 200 || echo 20)"
tessel_service -remove >/dev/null
[ "$failures" -eq 0 ]
