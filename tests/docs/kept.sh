#!/usr/bin/env bash
# The list "Kept on purpose" against the code: a file has as many marks as rows, and the tests that are named are there.
cd "$(dirname "$0")/../.." || exit 1
code=0
rows=$(awk '/^## /{on = ($0 == "## Kept on purpose")} on' docs/architecture.md | grep '^| `')
diff <(cut -d '`' -f 2 <<<"$rows" | sort | uniq -c) \
    <(grep -ro 'Kept:' --include='*.cpp' --include='*.h' --exclude-dir=build . | sed 's/^\.\/\(.*\):Kept:/\1/' | sort | uniq -c) ||
    code=1
for test in $(awk -F '|' '{ print $5 }' <<<"$rows" | grep -oE '`[^`]+`' | tr -d '`' | sort -u); do
    [ -e "tests/$test" ] || { echo "no tests/$test"; code=1; }
done
exit $code
