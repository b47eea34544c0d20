#!/usr/bin/env bash
# Makes the clips that the tests read, with the ffmpeg command of the machine: a peer that shares no code with us.
#
#   make_media.sh FOLDER
#
# Each clip has a line that says what it is for. A folder that this very script has filled is left as it is.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/clip_folder.sh"

# Encoders of the H.264 and H.265 clips. No delay unless a clip asks for B pictures.
h264=(-c:v libx264 -preset veryfast -bf 0 -pix_fmt yuv420p -f h264)
h264_reordered=(-c:v libx264 -preset veryfast -profile:v main -bf 3 -b_strategy 0 -pix_fmt yuv420p -f h264)
h265() { # H.265 with N B pictures
    echo -c:v libx265 -preset ultrafast -x265-params "log-level=none:bframes=$1" -pix_fmt yuv420p -f hevc
}

# --- Decoding, one property each; 320x240 and 50 pictures unless told otherwise.

# Baseline H.264: every packet gives its picture.
F 320x240 2 "${h264[@]}" -profile:v baseline h264_baseline.264
# Reordering: FFmpeg keeps two pictures inside.
F 320x240 2 "${h264_reordered[@]}" h264_reordered.264
# Full range: another format number, the same layout.
F 320x240 2 -c:v libx264 -preset veryfast -bf 0 -pix_fmt yuvj420p -f h264 h264_full_range.264
# 4:2:2: does not fit a 4:2:0 frame.
F 320x240 2 -c:v libx264 -preset veryfast -bf 0 -pix_fmt yuv422p -f h264 h264_422.264
# Cropping on the left: 64 columns are cut off, so that the planes do not begin where their memory does; of 16 FFmpeg
# delivers all, since planes would begin unaligned.
F 320x240 2 "${h264[@]}" -bsf:v h264_metadata=crop_left=64 h264_left_crop_64.264
F 320x240 2 "${h264[@]}" -bsf:v h264_metadata=crop_left=16 h264_left_crop_16.264
# Interlaced coding, two fields a picture.
F 320x240 2 "${h264[@]}" -flags +ilme+ildct h264_interlaced.264
# H.265 without and with reordering.
F 320x240 2 $(h265 0) h265.265
F 320x240 2 $(h265 3) h265_reordered.265
# MPEG-4 without and with B pictures; AVI keeps their headers in the stream.
F 320x240 2 -c:v mpeg4 -q:v 4 -f avi mpeg4.avi
F 320x240 2 -c:v mpeg4 -q:v 4 -bf 2 -f avi mpeg4_reordered.avi
F 320x240 2 -c:v mjpeg -q:v 4 -pix_fmt yuvj420p -f avi mjpeg.avi
F 320x240 2 -c:v flv1 -q:v 4 -f flv flv1.flv
# H.263 knows a handful of sizes only.
F 352x288 2 -c:v h263 -q:v 4 -f avi h263.avi

# --- Odd sizes: chroma planes are rounded up, and rows are no multiple of a vector register.

F 320x240 1 -vf scale=33:17 -c:v mjpeg -q:v 4 -pix_fmt yuvj420p -f avi mjpeg_odd.avi
F 320x240 1 -vf scale=33:17 -c:v mpeg4 -q:v 4 -f avi mpeg4_odd.avi
F 320x240 1 -vf scale=33:17 -c:v flv1 -q:v 4 -f flv flv1_odd.flv
# A width that scalers like to leave the last columns of unwritten.
F 854x480 0.4 "${h264[@]}" h264_854.264

# --- Streams that change their size: 320x240, larger, smaller, back again, 10 pictures each.

for part in 320x240 640x360 176x144 320x240; do
    F "$part" 0.4 "${h264[@]}" "part.264"
    cat part.264 >>h264_resized.264
    F "$part" 0.4 $(h265 0) part.265
    cat part.265 >>h265_resized.265
done
# The same with reordering and a larger middle of two pictures: FFmpeg's decoders are a size ahead of the picture that
# they give.
for part in 320x240:0.4 640x360:0.08 320x240:0.4; do
    F "${part%:*}" "${part#*:}" "${h264_reordered[@]}" part.264
    cat part.264 >>h264_resized_reordered.264
    F "${part%:*}" "${part#*:}" $(h265 3) part.265
    cat part.265 >>h265_resized_reordered.265
done
# Still pictures of any size, odd ones among them.
for part in 320x240 33:17 97:61 1:1 320x240; do
    F 320x240 0.2 -vf "scale=${part/x/:}" -c:v mjpeg -q:v 4 -pix_fmt yuvj420p -f mjpeg part.mjpeg
    cat part.mjpeg >>mjpeg_resized.mjpeg
done
rm part.*

# For the demuxers. The film has reordering, several key frames, and time bases that milliseconds do not divide.
F 160x120 2 -f lavfi -i sine=d=2 -r 30000/1001 -c:v libx264 -bf 2 -g 12 -pix_fmt yuv420p -c:a aac -ac 2 demux_film.mp4
# C INPUT ARGUMENT...: other containers of it, packets as they are.
C() { ffmpeg -nostdin -v error -y -i "$@"; }
# Start codes instead of length prefixes, 1/90000.
C demux_film.mp4 -map 0 -c copy demux_film.ts
# Times in milliseconds already, packets without a decoding time, a stream that is neither video nor audio.
printf '1\n00:00:00,500 --> 00:00:01,000\ntext\n' > demux_film.srt
C demux_film.mp4 -i demux_film.srt -map 0 -map 1 -c copy demux_film.mkv
# H.264 twice, of which the first is filtered.
C demux_film.mp4 -map 0:v -map 0:v -map 0:a -c copy demux_two.mp4
# No H.264; packets without a presentation time.
F 160x120 1 -f lavfi -i sine=d=1 -c:v mpeg4 -bf 2 -c:a pcm_s16le demux_plain.avi
# Codecs that the library has no ids for.
F 160x120 1 -f lavfi -i sine=d=1 -c:v wmv2 -c:a wmav2 demux_foreign.asf
# Sound alone.
ffmpeg -nostdin -v error -y -f lavfi -i sine=d=1:r=22050 -ac 2 demux_sound.wav

# For the command.

# A stream that does not carry its picture size: MP4 keeps MPEG-4's headers to itself.
F 160x120 1 -c:v mpeg4 -q:v 4 command_no_size.mp4
# MP4 keeps H.265's parameters too, and no picture comes without them.
F 160x120 1 -c:v libx265 -preset ultrafast -x265-params log-level=none -pix_fmt yuv420p command_h265.mp4

# For the audio codecs: 500 Hz left and 1500 Hz right, or 500 Hz alone, so that channels and rates show.
# T RATE CHANNELS ARGUMENT...: 0.75 seconds of them.
T() {
    local rate=$1 right='|0.4*sin(2*PI*1500*t)'
    [ "$2" = 2 ] || right=
    shift 2
    ffmpeg -nostdin -v error -y -f lavfi -i "aevalsrc=0.4*sin(2*PI*500*t)$right:s=$rate:d=0.75" "$@"
}
# Every MPEG-4 rate, frames with headers: nothing is cut at the front when they are decoded.
for rate in 8000 11025 12000 16000 22050 24000 32000 44100 48000 64000 88200 96000; do
    T $rate 2 -c:a aac -b:a 96k -f adts tones_${rate}_2.aac
done
for rate in 8000 44100 96000; do
    T $rate 1 -c:a aac -b:a 48k -f adts tones_${rate}_1.aac
done
# Without the header that makes decoders cut the encoder's delay off.
for kind in 22050:1 44100:1 44100:2 48000:2; do
    T "${kind%:*}" "${kind#*:}" -c:a libmp3lame -b:a 128k -write_xing 0 -id3v2_version 0 tones_"${kind/:/_}".mp3
done
# Without a container.
for format in mulaw alaw u16le s16le s16be; do
    T 8000 2 -f $format tones.$format
done
# Sound with every pitch in it, for the codecs of speech; the input stands beside.
ffmpeg -nostdin -v error -y -f lavfi -i "aevalsrc=0.3*sin(2*PI*140*t)*(0.6+0.4*sin(6*PI*t))+0.1*sin(2*PI*910*t)+0.02*(random(0)-0.5):s=8000:d=2" -f s16le murmur.s16le
for kbit in 16 24 32 40; do
    ffmpeg -nostdin -v error -y -f s16le -ar 8000 -ac 1 -i murmur.s16le -c:a g726 -b:a ${kbit}k -f g726 murmur_$kbit.g726
done
# Opus by the encoder of its makers.
T 48000 2 -af apad=whole_dur=1.5 -fflags +bitexact tones.wav
opusenc --quiet --bitrate 96 tones.wav tones.opus

# For the muxers: 100 pictures of each codec, a key picture every second, ...
F 320x240 4 "${h264[@]}" -g 25 mux_h264.264
F 320x240 4 $(h265 0) -g 25 mux_h265.265
F 320x240 4 -c:v mpeg4 -q:v 4 -g 25 -f avi mux_mpeg4.avi
F 320x240 4 -c:v mjpeg -q:v 8 -pix_fmt yuvj420p -f avi mux_mjpeg.avi
F 320x240 4 -c:v flv1 -q:v 4 -g 25 -f flv mux_flv1.flv
F 352x288 4 -c:v h263 -q:v 4 -g 25 -f avi mux_h263.avi
# ... and four seconds of sound. AAC with and without headers of its own, at two rates, since some containers tell 44100
# Hz for any; MP3 at rates whose frames are cut true.
A() { ffmpeg -nostdin -v error -y -f lavfi -i "sine=d=4:r=$1" -ac "$2" "${@:3}"; }
A 44100 1 -c:a aac -b:a 64k -f adts mux_aac_adts.aac
A 44100 1 -c:a aac -b:a 64k mux_aac_raw.mp4
A 48000 2 -c:a aac -b:a 128k -f adts mux_aac_adts_48000.aac
A 48000 2 -c:a aac -b:a 128k mux_aac_raw_48000.mp4
A 48000 2 -c:a libmp3lame -b:a 128k -reservoir 0 -id3v2_version 0 -write_xing 0 mux_mp3_48000.mp3
A 44100 1 -c:a libmp3lame -b:a 32k -reservoir 0 -id3v2_version 0 -write_xing 0 mux_mp3_44100.mp3
A 44100 1 -c:a pcm_s16le mux_s16le.wav
A 8000 1 -c:a pcm_mulaw mux_mulaw.wav
A 8000 1 -c:a pcm_alaw mux_alaw.wav
A 44100 1 -c:a adpcm_ima_wav mux_ima.wav

# For the memory demuxer: containers that can be read without seeking.
F 160x120 2 -f lavfi -i sine=d=2 -c:v mpeg4 -c:a libmp3lame demux_memory.asf
F 160x120 2 -f lavfi -i sine=d=2 -c:v mpeg4 -c:a libmp3lame demux_memory.avi
# The sound is stream 0 and the video stream 1.
C demux_memory.asf -map 0:a -map 0:v -c copy demux_sound_first.asf

# For the examples: a film with times in milliseconds that rise from packet to packet.
F 320x240 4 -f lavfi -i sine=d=4 -c:v libx264 -preset veryfast -bf 0 -g 25 -pix_fmt yuv420p -c:a aac example_film.mp4

touch "$stamp"
