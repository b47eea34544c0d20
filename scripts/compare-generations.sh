#!/usr/bin/env bash
# Shows that the library does the same on each FFmpeg: runs one command, swaps the library under it, and compares all
# that comes out.
#
#   scripts/compare-generations.sh [--media FOLDER]... BUILD BUILD...
#
# Each BUILD is a build folder; the command is that of the first, which is also what the others are held against. The
# inputs are the clips in its folder media and the files below each FOLDER. Compared are, with the exit status:
#
#   packets     of each file, and of what the memory demuxer makes of it: stream, times, size, key
#   pictures    in every pixel format that the command offers, by hash
#   sound       as it is decoded, and resampled
#   containers  each file put into every container, by the file muxer and the memory muxer
#   encoders    pictures by every video encoder, sound by every audio encoder
#
# A line for each thing that differs, and at the end how many were compared and were equal. FFmpeg writes its version
# into some containers and streams: "but for the version" is what differs in nothing else.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage="scripts/compare-generations.sh [--media FOLDER]... BUILD BUILD..."
colour_spaces=(yuv420p rgb24 bgr24 bgra)
video_encoders=(h264 mpeg4 flv h263 mjpeg)
containers=(flv mp4 webm 3gp 3g2 avi ts)
memory_containers=(flv avi ts)

# What a demuxer is called by whom it is given in memory, for files of a suffix.
declare -A memory_format=(
    [wav]=wav [asf]=asf [avi]="AVI (Audio Video Interleaved)" [ts]="MPEG-TS (MPEG-2 Transport Stream)"
    [mkv]="Matroska / WebM" [webm]="Matroska / WebM" [mp3]="MP2/3 (MPEG audio layer 2/3)" [aac]="raw ADTS AAC (Advanced Audio Coding)"
)

# --- One file and one build. Each case is a line: the file, the case, and a digest of what came out.

hash_of() { sha1sum | cut -c1-40; }

# Versions as they stand in containers and streams; those of other lengths move what is behind them.
without_version() { LC_ALL=C sed -E 's/(Lav[fc])[0-9]+\.[0-9]+\.[0-9]+( [a-z0-9_]+)?/\1/g'; }

run() { LD_LIBRARY_PATH=$library timeout 120 "$command" "$@" 2>/dev/null </dev/null; }

result() { printf '%s\t%s\t%s\n' "$file" "$1" "$2"; }

# said CASE ARGUMENT...: what the command writes to standard output.
said() {
    local case=$1 status=0
    shift
    run "$@" >"$scratch/said" || status=$?
    result "$case" "$status $(hash_of <"$scratch/said")"
}

# What the first build makes of a file that another has written.
known_content() {
    local library=$reference
    run probe --packets "$1" || true
    run decode --allow-resize --hashes "$1" || true
}

# wrote CASE FILE ARGUMENT...: the file that the command makes. Of one that holds a version, whose length may have moved
# the bytes behind it, the packets tell whether the rest is the same.
wrote() {
    local case=$1 out=$scratch/$2 status=0 bytes=- bare=- packets=-
    shift 2
    rm -f "$out"
    run "$@" >/dev/null || status=$?
    if [ -f "$out" ]; then
        bytes=$(hash_of <"$out")
        bare=$(without_version <"$out" | hash_of)
        [ "$bytes" = "$bare" ] || packets=$(known_content "$out" | hash_of)
    fi
    result "$case" "$status $bytes $bare $packets"
}

read_file() {
    local suffix=${file##*.} space
    said packets probe --packets "$path"
    if [ -n "${memory_format[$suffix]:-}" ]; then
        said "packets from memory" probe --packets --memory --format "${memory_format[$suffix]}" "$path"
    fi
    for space in "${colour_spaces[@]}"; do
        said "pictures as $space" decode --hashes --csp "$space" "$path"
    done
    said "pictures of every size" decode --hashes --allow-resize "$path"
    wrote "sound" out.wav audio "$path" "$scratch/out.wav"
    wrote "sound at 16000 Hz, mono" out.wav audio "$path" "$scratch/out.wav" --rate 16000 --channels 1 --format s16
    wrote "sound at 48000 Hz, stereo" out.wav audio "$path" "$scratch/out.wav" --rate 48000 --channels 2 --format flt
}

write_file() {
    local container codec
    for container in "${containers[@]}"; do
        wrote "remuxed to $container" "out.$container" remux "$path" "$scratch/out.$container"
    done
    for container in "${memory_containers[@]}"; do
        wrote "remuxed to $container in memory" "out.$container" remux --memory "$path" "$scratch/out.$container"
    done
    for codec in "${video_encoders[@]}"; do
        wrote "encoded as $codec" out.raw encode "$path" "$scratch/out.raw" --codec "$codec" --size 176x144
    done
    for codec in mp3 aac pcm; do
        wrote "sound encoded as $codec" out.avi transcode "$path" "$scratch/out.avi" --video none --audio "$codec"
    done
    wrote "transcoded to mp4" out.mp4 transcode "$path" "$scratch/out.mp4" --size 176x144
}

# try_file BUILD FILE: all cases of one file with one build's library.
try_file() {
    local library=$1/lib path=$2 file
    file=$(basename "$(dirname "$path")")/$(basename "$path")
    scratch=$(mktemp -d "$work/scratch.XXXXXX")
    read_file
    write_file
    rm -rf "$scratch"
}

# --- All of them.

# The libavcodec that a build's library was linked with.
generation_of() { readelf -d "$1/lib/libcodrelay.so" | sed -n 's/.*\[\(libavcodec[^]]*\)\].*/\1/p'; }

check_build() {
    [ -f "$1/lib/libcodrelay.so" ] || die "there is no lib/libcodrelay.so in $1" "build it, or see: $usage"
    LD_LIBRARY_PATH=$1/lib "$command" info >/dev/null 2>&1 ||
        die "the command does not run with $1/lib" "LD_LIBRARY_PATH=$1/lib $command info"
}

inputs() {
    find "${media[@]}" -type f ! -name '.*' ! -name '*.tsv' ! -name '*.srt' -printf '%p\n' | LC_ALL=C sort
}

try_all() {
    local build=$1
    inputs | tr '\n' '\0' |
        xargs -0 -n 1 -P "$(nproc)" bash "${BASH_SOURCE[0]}" --one "$build" | LC_ALL=C sort >"$2"
}

# compare REFERENCE OTHER NAME: the lines that differ, and the sum.
compare() {
    LC_ALL=C join -t $'\t' -a 1 -a 2 -e - -o 0,1.2,2.2 <(sed 's/\t/: /' "$1") <(sed 's/\t/: /' "$2") |
        awk -F '\t' -v name="$3" '
        $2 == $3 && $2 !~ /^0 / { refused++; next }
        $2 == $3 { equal++; next }
        {
            known = split($2, a, " "); split($3, b, " ")
            if (known == 4 && a[1] == b[1] && a[3] == b[3]) { version++; next }
            if (known == 4 && a[1] == b[1] && a[4] != "-" && a[4] == b[4]) {
                moved++
                print name ": " $1 ": other bytes, the same packets"
                next
            }
            differ++
            print name ": " $1 (a[1] != b[1] ? ": status " a[1] " became " b[1] : ": differs")
        }
        END {
            printf "%s: %d compared: %d equal, %d equal but for the version, %d in their packets, %d refused alike, " \
                "%d differ\n", name, NR, equal, version, moved, refused, differ
            exit differ > 0 || equal + version == 0
        }'
}

if [ "${1:-}" = --one ]; then
    try_file "$2" "$3"
    exit
fi

media=()
builds=()
while [ $# -gt 0 ]; do
    case $1 in
    --media)
        [ -d "${2:-}" ] || die "--media wants a folder" "$usage"
        media+=("$2")
        shift 2
        ;;
    -*) die "unknown argument: $1" "$usage" ;;
    *)
        [ -d "$1" ] || die "there is no folder $1" "$usage"
        builds+=("$(cd "$1" && pwd -P)")
        shift
        ;;
    esac
done
[ ${#builds[@]} -ge 2 ] || die "two builds are wanted, or more" "$usage"
command=${builds[0]}/bin/codrelay
[ -x "$command" ] || die "there is no bin/codrelay in ${builds[0]}" "cmake --build ${builds[0]}"
[ ! -d "${builds[0]}/media" ] || media+=("${builds[0]}/media")
[ ${#media[@]} -gt 0 ] || die "there are no clips in ${builds[0]}/media" "tests/media/make_media.sh ${builds[0]}/media"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
reference=${builds[0]}/lib
export command work reference
for build in "${builds[@]}"; do check_build "$build"; done
for index in "${!builds[@]}"; do
    say "$(generation_of "${builds[index]}"): ${builds[index]}"
    try_all "${builds[index]}" "$work/results.$index"
done
differs=0
for ((index = 1; index < ${#builds[@]}; index++)); do
    compare "$work/results.0" "$work/results.$index" "$(generation_of "${builds[index]}")" || differs=1
done
exit $differs
