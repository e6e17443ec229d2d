#!/usr/bin/env bash
# The stack protector: its value differs from start to start, and a program whose stack is damaged ends.
# stackcookie.sh WINE-RUN PROGRAM
set -u
first=$("$@") second=$("$@") damaged=$("$@" 64)
code=$?
first=${first%$'\r'} second=${second%$'\r'}
echo "$first" "$second" "$code" "$damaged"
# The code is the lowest byte of 0xC0000409.
[[ $first =~ ^[0-9a-f]{16}$ && $second =~ ^[0-9a-f]{16}$ && $first != "$second" && $code -eq 9 ]]
