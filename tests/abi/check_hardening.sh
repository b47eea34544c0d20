#!/usr/bin/env bash
# Reads off a built file what hardens it: read-only relocations, bound at start, no stack that executes, guarded stack
# frames, and the checked functions of the C library.
#
#   check_hardening.sh FILE
set -euo pipefail

file=$1
segments=$(readelf --program-headers --wide "$file")
dynamic=$(readelf --dynamic --wide "$file")
imports=$(nm --dynamic --undefined-only "$file")
failed=0

must_hold() {
    grep -qE "$2" <<<"$1" || { echo "$(basename "$file") has no $3" >&2; failed=1; }
}

must_hold "$segments" '^ *GNU_RELRO ' "read-only relocations"
must_hold "$dynamic" '\((FLAGS|BIND_NOW)\).*BIND_NOW|FLAGS_1.* NOW' "immediate binding"
must_hold "$segments" '^ *GNU_STACK .* RW +' "stack that does not execute"
must_hold "$imports" '__stack_chk_fail' "guarded stack frames"
must_hold "$imports" '__[a-z]+_chk(@|$)' "checked functions of the C library"
exit "$failed"
