#!/usr/bin/env bash
# Transcodes many files into MPEG-TS, one process a file, on this machine or over ssh on many.
#
#   spread.sh OUT-FOLDER FILE...
#
# MACHINES   where, as GNU parallel's --sshlogin takes it, such as "4/node1,8/node2": how many at once, and the machine.
#            Files are copied there and back. Not set: this machine, one process a core
# WORKERS    how many at once on this machine
# CODRELAY   the command; on the machines it must stand there too. Not set: codrelay
# OPTIONS    what to make of the files. Not set: --video h264 --audio mp3
#
# A file whose output is there already is left out, so the same call again does what is missing. jobs.tsv in the output
# folder tells machine, time and exit code of each. The exit code is the number of files that failed, 100 at most.
set -euo pipefail

die() {
    printf 'spread.sh: %s\n' "$*" >&2
    exit 255
}

[ $# -ge 2 ] || die "usage: spread.sh OUT-FOLDER FILE..."
command -v parallel >/dev/null || die "GNU parallel is missing: apt-get install parallel"
out=$1
shift
mkdir -p "$out"

# The part behind /./ is the file's name on the other machine.
todo=()
for file in "$@"; do
    [ -f "$file" ] || die "no such file: $file"
    name=$(basename "$file")
    [ -e "$out/${name%.*}.ts" ] || todo+=("$(cd "$(dirname "$file")" && pwd)/./$name")
done
[ ${#todo[@]} -gt 0 ] || exit 0
twice=$(printf '%s\n' "${todo[@]##*/}" | sed 's/\.[^.]*$//' | sort | uniq -d)
[ -z "$twice" ] || die "these names would be written twice: $twice"

if [ -n "${MACHINES:-}" ]; then
    command -v rsync >/dev/null || die "rsync is missing: apt-get install rsync"
    # parallel quotes names for the shell on the other side; new versions of rsync would do it once more
    export RSYNC_OLD_ARGS=1
    where=(--sshlogin "$MACHINES" --workdir ... --transferfile '{}' --return '{/.}.ts' --cleanup)
    input='{/}'
else
    where=(--jobs "${WORKERS:-100%}")
    input='{}'
fi

cd "$out"
printf '%s\0' "${todo[@]}" |
    parallel --null --will-cite --joblog jobs.tsv "${where[@]}" \
        "${CODRELAY:-codrelay}" transcode ${OPTIONS:---video h264 --audio mp3} "$input" '{/.}.ts' || true

# The output tells: a file may also be lost on its way back.
failed=0
for name in "${todo[@]##*/}"; do
    [ -e "${name%.*}.ts" ] || { printf 'spread.sh: failed: %s\n' "$name" >&2; failed=$((failed + 1)); }
done
exit $((failed < 100 ? failed : 100))
