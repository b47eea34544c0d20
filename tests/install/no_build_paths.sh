#!/usr/bin/env bash
# Fails where a file below PREFIX holds one of the paths, strings in binaries included, or where a link leads out of it:
#   no_build_paths.sh PREFIX PATH...
set -euo pipefail

prefix=$1
shift

patterns=(-e "$(dirname "$prefix")")
for path in "$@"; do
    patterns+=(-e "$path")
done

if grep --recursive --text --only-matching --fixed-strings "${patterns[@]}" "$prefix"; then
    echo "These files hold paths of the machine that built them." >&2
    exit 1
fi
if find "$prefix" -type l -lname '/*' | grep .; then
    echo "These links are absolute." >&2
    exit 1
fi
