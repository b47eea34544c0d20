#!/usr/bin/env bash
# Makes the clips that the tests read, with the ffmpeg command of the machine: a peer that shares no code with us.
#
#   make_media.sh FOLDER
#
# Each clip has a line that says what it is for. A folder that this very script has filled is left as it is.
set -euo pipefail

folder=$1
stamp=$folder/.made-by-$(sha256sum "$0" | cut -c1-16)
[ ! -f "$stamp" ] || exit 0
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# F SIZE SECONDS ARGUMENT...: a moving test picture at 25 a second.
F() {
    local size=$1 seconds=$2
    shift 2
    ffmpeg -nostdin -v error -y -f lavfi -i "testsrc2=s=$size:r=25:d=$seconds" "$@"
}

touch "$stamp"
