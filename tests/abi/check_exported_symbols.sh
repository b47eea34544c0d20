#!/usr/bin/env bash
# Compares what a shared library exports with the list in the tree.
#
#   check_exported_symbols.sh LIBRARY LIST             fails, and shows the difference, where they are not the same
#   check_exported_symbols.sh LIBRARY LIST --renew     writes the list; only for a change that keeps old hosts working
set -euo pipefail

library=$1
list=$2

exported() {
    nm --dynamic --defined-only --demangle "$library" | cut -d' ' -f3- | sed 's/@@.*//' |
        # Marks of the version nodes themselves and of sanitizers, not of the library.
        grep -vE '^(CODRELAY|UVQLOG)_[0-9]+$|^__(odr_asan|asan|ubsan|tsan)' | LC_ALL=C sort -u
}

if [ "${3:-}" = --renew ]; then
    exported >"$list"
    exit 0
fi
if ! diff --unified=0 "$list" <(exported); then
    echo "The exported symbols are not those of $(basename "$list")." >&2
    exit 1
fi
echo "$(wc -l <"$list") symbols, as listed"
