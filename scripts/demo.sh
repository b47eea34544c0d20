#!/usr/bin/env bash
# From a fresh clone to a contact sheet: sets up, builds, and shows the command at work on FILE, or on a clip made here:
# looks into it, decodes it, and transcodes it to MPEG-TS and to MP4.
#
#   scripts/demo.sh [FILE]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ $# -le 1 ] || die "too many arguments" "scripts/demo.sh [FILE]"
file=
if [ $# -eq 1 ]; then
    [ -f "$1" ] || die "there is no file $1" "scripts/demo.sh, which makes a clip of its own"
    file=$(realpath "$1")
fi

# Ten seconds of moving test picture, 640x360, with a tone: H.264 and AAC in MP4.
make_clip() {
    ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=size=640x360:rate=25:duration=10 \
        -f lavfi -i sine=frequency=440:duration=10 -c:v libx264 -pix_fmt yuv420p -c:a aac "$1" ||
        die "ffmpeg could not make a clip" "name a file of your own: scripts/demo.sh FILE"
}

show() {
    say "codrelay $*"
    build/dev/bin/codrelay "$@"
    echo
}

cd "$(project_root)"
scripts/setup.sh
say "building the preset 'dev' without its tests (scripts/test.sh builds them)"
cmake --preset dev >/dev/null
cmake --build --preset dev --target codrelay_cli

mkdir -p build/demo
if [ -z "$file" ]; then
    file=$PWD/build/demo/clip.mp4
    say "making a clip: $file"
    make_clip "$file"
fi
sheet=$PWD/build/demo/sheet.png
transcoded=$PWD/build/demo/transcoded

show info
show probe "$file"
show decode "$file"
show sheet "$file" "$sheet"
for container in ts mp4; do
    show transcode "$file" "$transcoded.$container"
    show probe "$transcoded.$container"
done
show sheet "$transcoded.mp4" "$transcoded.png"
say "the contact sheets are here: $sheet and, of the transcoded film, $transcoded.png"
