#!/usr/bin/env bash
# scripts/build-ffmpeg.sh where sources are not to be had: which generation it takes, and what it says. apt is scripted, the
# cache is an empty one, and nothing is compiled.
set -euo pipefail

build_ffmpeg=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/scripts/build-ffmpeg.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
printf '#!/bin/sh\n[ "$1" = indextargets ] && echo nowhere: && exit 0\necho "no source" >&2; exit 100\n' >"$work/bin/apt-get"
printf '#!/bin/sh\n' >"$work/bin/nasm"
chmod +x "$work/bin"/*

# run CHOICE [ARGUMENT...]: sets `code`, `said` and `printed`.
run() {
    code=0
    printed=$(CODRELAY_FFMPEG=$1 CODRELAY_CACHE=$work/cache PATH=$work/bin:$PATH "$build_ffmpeg" "${@:2}" 2>"$work/said") || code=$?
    said=$(cat "$work/said")
}
folder_of() { CODRELAY_FFMPEG=$1 CODRELAY_CACHE=$work/cache "$build_ffmpeg" --where; }

failed=0
expect() {
    [ "$2" = "$3" ] || { printf '%s: "%s", not "%s"\n' "$1" "$2" "$3" >&2; failed=1; }
}
lines_with() { grep -c -- "$1" <<<"$said" || true; }
taking="taking FFmpeg 5.1, since the source of FFmpeg 4.3.7 is not to be had"

unset FFMPEG_TARBALL
run ""
expect "exit code where no source is to be had" "$code" 1
expect "what it lacks" "$(lines_with "error: Debian's source package of FFmpeg 5.1 was not to be had")" 1
run 4.3
expect "exit code where the chosen one is not to be had" "$code" 1
expect "what that one lacks" "$(lines_with "error: Debian's source package of FFmpeg 4.3 was not to be had")" 1
expect "another instead of the chosen one" "$(lines_with "$taking")" 0

# As if it had been built.
maintained=$(folder_of 5.1)
reference=$(folder_of 4.3)
mkdir -p "$maintained"
touch "$maintained/.finished"
run ""
expect "exit code where the other one stands in" "$code" 0
expect "the line that says so" "$(lines_with "$taking")" 1
expect "the folder that stands in" "$printed" "$maintained"
run "" --where
expect "where it is then" "$printed" "$maintained"
run "" --anew
expect "exit code where the one at hand is to be built anew" "$code" 1
expect "what that one lacks" "$(lines_with "error: Debian's source package of FFmpeg 5.1 was not to be had")" 1
run 4.3
expect "exit code of the chosen one, with another at hand" "$code" 1
run 5.1
expect "exit code of the one at hand" "$code $said" "0 "

mkdir -p "$reference"
touch "$reference/.finished"
run ""
expect "the reference, once it is there" "$code $printed $said" "0 $reference "
run "" --where
expect "where it is, with both at hand" "$printed" "$reference"

run system
expect "nothing is built of the system's" "$code $printed" "0 "
run 6.0
expect "exit code of an unknown choice" "$code" 1
expect "what may be chosen" "$(lines_with "4.3, 5.1 or system")" 1
rm "$reference/.finished"
touch "$work/other.tar.xz"
FFMPEG_TARBALL=$work/other.tar.xz run ""
expect "exit code of another archive" "$code" 1
expect "what is wrong with it" "$(lines_with "SHA-256 differs")" 1
FFMPEG_TARBALL=$work/none.tar.xz run ""
expect "exit code of an archive that is not there" "$code" 1
expect "which is not there" "$(lines_with "FFMPEG_TARBALL names no file: $work/none.tar.xz")" 1
exit "$failed"
