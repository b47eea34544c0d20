#!/usr/bin/env bash
# check_last_words.sh PROGRAM [VALGRIND]: the program ends well, and both of its decoders have their say at the very end.
# Under valgrind nothing that is gone is touched meanwhile.
set -euo pipefail

program=$1
valgrind=${2:-}
options=(--quiet --error-exitcode=99 --suppressions="$(dirname "$0")/valgrind.supp")
said=$(${valgrind:+"$valgrind" "${options[@]}"} "$program" 2>&1) || {
    echo "$said"
    echo "The program failed with $?." >&2
    exit 1
}
heard=$(sed -E 's/^[^[]*(\[ffmpeg\])/\1/' <<< "$said")
expected='the process ends
[ffmpeg] [error] CVideoDecoder::Decode: Zero input len!
[ffmpeg] [error] CVideoDecoder::Decode: Zero input len!'
if [ "$heard" != "$expected" ]; then
    echo "This was expected:
$expected
and this was said:
$said" >&2
    exit 1
fi
