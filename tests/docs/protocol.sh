#!/usr/bin/env bash
# The protocol's document against the program: every routed command has a row in a table and no other has,
# and the example is quoted as it is.
cd "$(dirname "$0")/../.." || exit 1
code=0
diff <(grep -oE '"[A-Z_]+"' rpc/commandhelp.h | tr -d '"' | sort) \
    <(grep -oE '^\| `[A-Z_]+`' docs/protocol.md | tr -d '|` ' | sort) || code=1
diff docs/example/client.cpp <(sed -n '/^```cpp$/,/^```$/p' docs/protocol.md | sed '1d;$d') || code=1
exit $code
