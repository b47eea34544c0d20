#!/usr/bin/env bash
# scripts/setup.sh as it meets apt's failures, on a machine where nothing is installed. apt is scripted; nothing of this
# machine is asked or changed.
set -euo pipefail

setup=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/scripts/setup.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# stub NAME: what stands on standard input is run in place of the command.
mkdir "$work/bin"
stub() { { echo '#!/bin/sh' && cat; } >"$work/bin/$1" && chmod +x "$work/bin/$1"; }
stub dpkg-query <<<'cat "$WORK/installed"'
stub sudo <<<'exec "$@"'
stub apt-get <<<'
for argument; do
    case $argument in
    update | install) break ;;
    esac
done
echo "$*" >>"$WORK/calls"
! grep -qx "$argument" "$WORK/failing"'

# run "FAILING COMMANDS" [INSTALLED...]: sets `code`, `said` and `calls`.
run() {
    : >"$work/calls"
    tr ' ' '\n' <<<"$1" >"$work/failing"
    shift
    printf 'installed %s\n' "$@" >"$work/installed"
    code=0
    said=$(WORK=$work PATH=$work/bin:$PATH CODRELAY_FFMPEG=system "$setup" 2>&1) || code=$?
    calls=$(cat "$work/calls")
}

failed=0
expect() {
    [ "$2" = "$3" ] || { printf '%s: "%s", not "%s"\n' "$1" "$2" "$3" >&2; failed=1; }
}
holds() { if grep -qe "$1" <<<"$2"; then echo yes; else echo no; fi; }

run ""
expect "exit code where all goes well" "$code" 0
expect "the update" "$(holds ' update$' "$calls")" yes
expect "the decoders of AMR" "$(holds ' install .*libavcodec-extra' "$calls")" yes
expect "what only a build of FFmpeg needs" "$(holds ' nasm' "$calls")" no

run "update"
expect "exit code where a list is stale" "$code" 0
expect "the installation all the same" "$(holds ' install .*cmake' "$calls")" yes

run "update install"
expect "exit code where both fail" "$code" 1
expect "both told" "$(holds "error: 'apt-get update' failed, and then 'apt-get install' failed" "$said")" yes

run "install"
expect "exit code where the installation fails" "$code" 1
expect "it alone told" "$(holds "error: 'apt-get install' failed" "$said")" yes

mapfile -t all < <(run "" && sed -n 's/.* install //p' <<<"$calls" | tr ' ' '\n')
run "update install" "${all[@]}"
expect "exit code where nothing is missing" "$code" 0
expect "calls of apt" "$calls" ""
exit "$failed"
