#!/usr/bin/env bash
# Compares the protocol's document with the program: the tables have a row for every routed command and no other, the
# examples are quoted exactly, the id of the interface is that of the .idl, and tesselctl's help names the same permitted
# values of a profile. usbpath_test compares the USB values.
cd "$(dirname "$0")/../.." || exit 1
code=0
diff <(grep -oE '"[A-Z_]+"' command/commandhelp.h | tr -d '"' | sort) \
    <(grep -oE '^\| `[A-Z]+_[A-Z_]+`' docs/protocol.md | tr -d '|` ' | sort) || code=1
diff <(cat docs/example/{client,app}.cpp) <(sed -n '/^```cpp$/,/^```$/p' docs/protocol.md | grep -v '^```') || code=1
id=$(sed -nE 's/.*uuid\(([0-9a-f-]+)\).*/\1/p' interface/tesselservice.idl)
grep -qF "| Interface | ${id:-none}," docs/protocol.md || { echo "the interface's id is ${id:-not found}"; code=1; }
permitted=$(sed -n '/^<!-- profiletable -->$/,/^$/p' docs/protocol.md | grep -E '^\| (auth|IP|comp)' | cut -d '|' -f 4)
for value in ${permitted//\`/}; do
    grep -qE "^  (authentication|IP type|compression) {10,}.*\b$value\b" client/main.cpp || { echo "--help does not name $value"; code=1; }
    grep -q "L\"$value\"" appkit/profiletext.cpp || { echo "the client for apps does not know $value"; code=1; }
done
[ "$(wc -w <<<"$permitted")" = 12 ] || { echo "permitted: $permitted"; code=1; }
exit $code
