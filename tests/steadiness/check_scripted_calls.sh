#!/usr/bin/env bash
# Fails where the library calls a function of FFmpeg's or libopus's that no test makes fail, unless it is listed as one
# whose result tells of no failure:  check_scripted_calls.sh LIBRARY "LIST..." CALL...
set -euo pipefail

library=$1
read -ra lists <<<"$2"
shift 2

called=$(nm --dynamic --undefined-only "$library" | awk '{sub(/@.*/, "", $2); print $2}' |
    grep -E '^(av|sws_|swr_|opus_)' | sort -u)
known=$( (cat "${lists[@]}" && printf '%s\n' "$@") | sort)

doubled=$(uniq -d <<<"$known")
unknown=$(comm -23 <(echo "$called") <(echo "$known"))
unused=$(comm -13 <(echo "$called") <(echo "$known"))
for names in "told twice:$doubled" "failed by no test:$unknown" "not called any more:$unused"; do
    [ -z "${names#*:}" ] || { printf '%s\n' "$names" >&2; failed=yes; }
done
[ -z "${failed:-}" ]
