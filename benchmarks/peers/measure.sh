#!/usr/bin/env bash
# Decodes the pictures of one clip with the library and with the peers that were built, and writes a table.
#
#   measure.sh BUILD_FOLDER
#
# Every program decodes few pictures and many, by turns; what the difference takes is the pictures' own, without the
# start. Medians of nine, by the processor time of one core.
set -euo pipefail

build=$1
clip=$build/benchmark-clips/film.mp4
few=50
many=650
rounds=9
meter=$(mktemp)
trap 'rm -f "$meter"' EXIT

# run COUNT COMMAND...: processor seconds, allocations and peak kilobytes.
run() {
    local count=$1
    shift
    LD_PRELOAD=$build/lib/libpeer_meter.so PEER_METER=$meter taskset -c 0 "$@" "$clip" "$count" >/dev/null 2>&1 && cat "$meter"
}

# measure NAME FORMAT COMMAND...: a row, or nothing where the peer is not there or cannot.
measure() {
    local name=$1 format=$2
    shift 2
    run "$few" "$@" >/dev/null || return 0
    for _ in $(seq $rounds); do
        echo "$(run "$few" "$@") $(run "$many" "$@")"
    done | awk -v pictures=$((many - few)) '
        { print ($4 - $1) / pictures, ($5 - $2) / pictures, $6 / 1024 }' | sort -g |
        awk -v name="$name" -v format="$format" -v middle=$(((rounds + 1) / 2)) 'NR == middle {
            printf "| %s | %s | %.0f | %.0f | %.1f |\n", name, format, 1 / $1, $3, $2 }'
}

echo '| | gives | pictures a second of one core | peak MiB | allocations a picture |'
echo '| --- | --- | --- | --- | --- |'
measure codrelay I420 "$build/bin/peer_codrelay"
measure "OpenCV VideoCapture" BGR24 "$build/bin/peer_opencv"
measure "GStreamer appsink" I420 "$build/bin/peer_gstreamer"
measure ffms2 "planes as decoded" "$build/bin/peer_ffms2"
measure PyAV I420 /usr/bin/python3 "$build/bin/pyav_peer.py"
