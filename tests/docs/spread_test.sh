#!/usr/bin/env bash
# The script of docs/many-streams.md, with two workers on this machine.
#
#   spread_test.sh COMMAND MEDIA-FOLDER
set -euo pipefail
command=$1
media=$2
spread=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/docs/examples/spread.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() {
    [ "$2" = "$3" ] || { printf '%s: %s, not %s\n' "$1" "$2" "$3" >&2; exit 1; }
}

# Sets `code` and `lines`, what was said.
spread() {
    code=0
    lines=$(CODRELAY=$command WORKERS=2 "$spread" "$work/out" "$@" 2>&1) || code=$?
}

cp "$media/demux_film.mp4" "$work/a film.mp4"
cp "$media/demux_film.mp4" "$work/another.film.mp4"
echo 'no film' >"$work/broken.mp4"

spread "$work"/*.mp4
expect "exit code with one broken file" "$code" 1
expect "its line" "$(grep -c 'failed: broken.mp4' <<<"$lines")" 1
expect "outputs" "$(ls "$work/out")" $'a film.ts\nanother.film.ts\njobs.tsv'
expect "jobs" "$(tail -n +2 "$work/out/jobs.tsv" | wc -l)" 3

spread "$work"/*.mp4
expect "jobs of a second call" "$(tail -n +2 "$work/out/jobs.tsv" | wc -l)" 1

rm "$work/broken.mp4"
spread "$work"/*.mp4
expect "exit code when all is done" "$code" 0

mkdir "$work/more"
cp "$work/a film.mp4" "$work/more"
rm "$work/out/a film.ts"
spread "$work/a film.mp4" "$work/more/a film.mp4"
expect "exit code with a name twice" "$code" 255
