#!/usr/bin/env bash
# Makes the clips that the benchmarks read, with the ffmpeg command of the machine.
#
#   make_clips.sh FOLDER
#
# A folder that this very script has filled is left as it is.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../tests/media/clip_folder.sh"

# For the decoders: one key picture and no reordering, so that every round is alike and every packet gives its picture.
h264=(-c:v libx264 -preset veryfast -bf 0 -g 1000 -pix_fmt yuv420p -f h264)
h265=(-c:v libx265 -preset ultrafast -x265-params log-level=none:bframes=0:keyint=1000 -pix_fmt yuv420p -f hevc)
F 640x360 2 "${h264[@]}" h264_360.264
F 1920x1080 1 "${h264[@]}" h264_1080.264
F 640x360 2 "${h265[@]}" h265_360.265
F 640x360 2 -c:v mjpeg -q:v 4 -pix_fmt yuvj420p mjpeg_360.avi
F 640x360 2 -c:v mpeg4 -q:v 4 -g 1000 mpeg4_360.avi

# For the containers: half a minute of film, so that opening and closing do not hide what a packet costs.
F 640x360 30 -f lavfi -i sine=d=30:r=48000 -c:v libx264 -preset veryfast -bf 0 -g 50 -pix_fmt yuv420p -c:a aac film.ts
ffmpeg -nostdin -v error -y -i film.ts -c copy film.mp4

touch "$stamp"
