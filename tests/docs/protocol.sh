#!/usr/bin/env bash
# The protocol's document against the program: every routed command has a row in a table and no other has, the
# example is quoted as it is, and the interface's id is the .idl's. usbpath_test compares the USB values.
cd "$(dirname "$0")/../.." || exit 1
code=0
diff <(grep -oE '"[A-Z_]+"' rpc/commandhelp.h | tr -d '"' | sort) \
    <(grep -oE '^\| `[A-Z]+_[A-Z_]+`' docs/protocol.md | tr -d '|` ' | sort) || code=1
diff docs/example/client.cpp <(sed -n '/^```cpp$/,/^```$/p' docs/protocol.md | sed '1d;$d') || code=1
id=$(sed -nE 's/.*uuid\(([0-9a-f-]+)\).*/\1/p' rpc/stub/tesselservice.idl)
grep -qF "| Interface | ${id:-none}," docs/protocol.md || { echo "the interface's id is ${id:-not found}"; code=1; }
exit $code
