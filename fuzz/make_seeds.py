#!/usr/bin/env python3
"""Makes the seeds of the fuzzers anew, with the ffmpeg command of the machine:  fuzz/make_seeds.py [TARGET...]

The seeds are in the tree, and nothing needs this to build or to test. It is for whoever changes how a fuzzer takes its
input apart, or wants another seed: each line below is one seed. Those of utils_parsers, and findings (found_*), are
kept as they are.
"""
import json
import pathlib
import struct
import subprocess
import sys
import tempfile

SEEDS = pathlib.Path(__file__).resolve().parent / "seeds"
LARGEST = 12000

# Ids of the library, and the order of the tables in the fuzzers.
FLV, MPEG4, H263, JPEG, MJPEG, H264, H265 = range(7)
YUV420P_ALT, YUV420P, YUYV422, BGR24, RGB24, BGRA, NV12 = range(7)
AMRNB, AMRWB, AAC, MP3, G726_16, G726_24, G726_32, G726_40, OPUS, MULAW, ALAW, U16LE, S16LE, IMA, S16BE = range(15)
U8, S16, S32, FLT, DBL, U8P, S16P, S32P, FLTP, DBLP = range(10)

target = ""


def seed(name, *parts):
    """Parts are bytes, or numbers of one byte."""
    data = b"".join(part if isinstance(part, bytes) else bytes([part & 0xFF]) for part in parts)
    assert len(data) <= LARGEST, f"{target}/{name}: {len(data)} bytes"
    (SEEDS / target / name).write_bytes(data)


def u16(*numbers):
    return struct.pack(f"<{len(numbers)}H", *numbers)


def sides(*lengths):
    """Widths and heights: two bytes, of which the upper quarter stands for all lengths, the rest for small ones."""
    return u16(*[length if length < 65 else 0xC000 + (length - 0xC000) % 513 for length in lengths])


def i16(*numbers):
    return struct.pack(f"<{len(numbers)}h", *numbers)


def i32(number):
    return struct.pack("<i", number)


def block(data):
    return u16(len(data)) + data


def blocks(packets):
    return b"".join(map(block, packets))


def ffmpeg(arguments, suffix):
    """The bytes of the file that the command makes."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / f"clip.{suffix}"
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments.split(), "-fflags", "+bitexact",
                        "-flags:v", "+bitexact", "-flags:a", "+bitexact", path], check=True)
        return path.read_bytes()


def packets(data, suffix):
    """The packets of a file's first stream, as ffprobe cuts them."""
    with tempfile.NamedTemporaryFile(suffix=f".{suffix}") as file:
        file.write(data)
        file.flush()
        shown = subprocess.run(["ffprobe", "-v", "error", "-of", "json", "-select_streams", "0", "-show_packets",
                                "-show_data", file.name], check=True, capture_output=True).stdout
    return [bytes.fromhex("".join(line[10:50] for line in packet["data"].strip().splitlines()).replace(" ", ""))
            for packet in json.loads(shown)["packets"]]


def film(size="64x48", pictures=4):
    return f"-f lavfi -i testsrc2=s={size}:r=25 -frames:v {pictures}"


def sound(rate=8000, channels=1, seconds=0.1):
    return f"-f lavfi -i sine=r={rate}:d={seconds} -ac {channels}"


X264 = "-c:v libx264 -preset veryfast -bsf:v filter_units=remove_types=6"
# Of pictures of 64x64 and more: this encoder crashes on smaller ones.
X265 = "-c:v libx265 -preset ultrafast -x265-params log-level=none:info=0:bframes="


def video_decoder():
    def stream(name, codec, arguments, suffix, color_space=YUV420P, wishes=0, size=(64, 48), clip=film(), limit=0):
        cut = packets(ffmpeg(f"{clip} {arguments}", suffix), suffix)
        seed(name, codec, color_space, wishes, limit, sides(*size), blocks(cut))
        return cut

    small = stream("h264", H264, f"{X264} -bf 0 -pix_fmt yuv420p", "h264")
    stream("h264_reordered_to_the_end", H264, f"{X264} -profile:v main -bf 2 -pix_fmt yuv420p", "h264", wishes=8)
    stream("h264_422_to_rgb", H264, f"{X264} -bf 0 -pix_fmt yuv422p", "h264", RGB24)
    stream("h264_interlaced", H264, f"{X264} -bf 0 -pix_fmt yuv420p -flags +ilme+ildct", "h264", BGR24)
    stream("h264_odd_size_to_bgra", H264, f"{X264} -bf 0 -pix_fmt yuv420p", "h264", BGRA, size=(50, 38),
           clip=film("50x38"))
    stream("h264_kept_pictures", H264, f"{X264} -bf 0 -pix_fmt yuv420p", "h264", wishes=4, clip=film("16x16", 14),
           size=(16, 16))
    stream("h264_limited_rate", H264, f"{X264} -bf 0 -pix_fmt yuv420p", "h264", wishes=2, limit=50)
    large = packets(ffmpeg(f"{film('96x64', 3)} {X264} -bf 0 -pix_fmt yuv420p", "h264"), "h264")
    seed("h264_change_of_size", H264, YUV420P, 1, 0, sides(64, 48), blocks(small + large + small[:1]))
    seed("h264_change_refused", H264, YUV420P, 0, 0, sides(64, 48), blocks(small[:2] + large[:2]))
    seed("h264_change_to_rgb", H264, RGB24, 1, 0, sides(64, 48), blocks(small[:2] + large[:2]))
    seed("h264_created_twice", H264, YUV420P, 16, 0, sides(64, 48), blocks(small))
    seed("h264_cut_short", H264, YUV420P, 0, 0, sides(64, 48), blocks([p[: len(p) * 2 // 3] for p in small]))
    square = dict(clip=film("64x64"), size=(64, 64))
    stream("h265", H265, X265 + "0 -pix_fmt yuv420p", "hevc", **square)
    stream("h265_reordered_to_rgb", H265, X265 + "2 -pix_fmt yuv420p", "hevc", RGB24, wishes=8, **square)
    stream("h265_422_10_bits", H265, X265 + "0 -pix_fmt yuv422p10le", "hevc", **square)
    stream("mpeg4", MPEG4, "-c:v mpeg4 -q:v 12", "avi")
    stream("mpeg4_reordered", MPEG4, "-c:v mpeg4 -q:v 12 -bf 2", "avi", wishes=8)
    stream("mpeg4_to_bgr", MPEG4, "-c:v mpeg4 -q:v 12 -flags +mv4+aic", "avi", BGR24)
    stream("mjpeg", MJPEG, "-c:v mjpeg -q:v 16 -pix_fmt yuvj420p", "avi", clip=film(pictures=2))
    stream("mjpeg_444_to_rgb", JPEG, "-c:v mjpeg -q:v 16 -pix_fmt yuvj444p", "avi", RGB24, clip=film(pictures=1))
    stream("mjpeg_sizes", MJPEG, "-c:v mjpeg -q:v 16 -pix_fmt yuvj420p", "avi", wishes=1, clip=film("17x9", 1))
    stream("flv", FLV, "-c:v flv1 -q:v 12", "flv")
    stream("h263", H263, "-c:v h263 -q:v 24", "avi", clip=film("128x96", 2), size=(128, 96))
    stream("h263_to_yuyv", H263, "-c:v h263 -q:v 24", "avi", YUYV422, clip=film("128x96", 1), size=(128, 96))


def audio_decoder():
    def stream(name, codec, channels, rate, clip, suffix, wishes=0, room=b"", most=6):
        cut = packets(ffmpeg(clip, suffix), suffix)[:most]
        seed(name, codec, wishes, channels, i32(rate), room, blocks(cut))
        return cut

    aac = f"{sound(44100, 2)} -c:a aac -b:a 32k"
    stream("aac_raw", AAC, 2, 44100, aac, "mp4")
    stream("aac_adts", AAC, 2, 44100, aac, "aac")
    stream("aac_stereo_in_mono", AAC, 1, 44100, aac, "aac")
    stream("aac_mono_in_stereo", AAC, 2, 22050, f"{sound(22050)} -c:a aac -b:a 24k", "aac")
    stream("aac_no_rate_of_mpeg", AAC, 2, 44101, aac, "mp4")
    stream("aac_little_room", AAC, 2, 44100, aac, "mp4", wishes=1, room=u16(4000))
    mp3 = "-c:a libmp3lame -reservoir 0 -id3v2_version 0 -write_xing 0 -b:a"
    stream("mp3", MP3, 2, 44100, f"{sound(44100, 2)} {mp3} 64k", "mp3", most=4)
    stream("mp3_mono", MP3, 1, 16000, f"{sound(16000)} {mp3} 16k", "mp3")
    seed("amrnb", AMRNB, 0, 1, i32(8000), blocks(amr_frames()))
    seed("amrwb", AMRWB, 0, 1, i32(16000), blocks(amr_frames((18, 24, 33, 37, 41, 47, 51, 59, 61, 6))))
    opus = "-c:a libopus -b:a 16k"
    cut = stream("opus", OPUS, 2, 48000, f"{sound(48000, 2)} {opus}", "ogg")
    seed("opus_lost", OPUS, 2 | 1, 1, i32(16000), u16(1920), blocks([cut[0], b"", cut[1]]))
    for bits, codec in (2, G726_16), (3, G726_24), (4, G726_32), (5, G726_40):
        stream(f"g726_{bits}_bits", codec, 1, 8000, f"{sound()} -c:a g726 -code_size {bits}", "wav", most=1)
    stream("mulaw", MULAW, 1, 8000, f"{sound()} -c:a pcm_mulaw", "wav", most=1)
    stream("alaw", ALAW, 2, 8000, f"{sound(channels=2)} -c:a pcm_alaw", "wav", most=1)
    for name, codec, format in ("s16le", S16LE, "s16le"), ("s16be", S16BE, "s16be"), ("u16le", U16LE, "u16le"):
        raw = ffmpeg(f"{sound(seconds=0.02)} -f {format} -c:a pcm_{format}", "raw")
        seed(f"pcm_{name}", codec, 0, 1, i32(8000), blocks([raw, raw[:7]]))
    seed("ima_is_refused", IMA, 0, 1, i32(8000), blocks([b"1234"]))
    seed("created_twice", MULAW, 4, 1, i32(8000), blocks([b"1234"]), 2, i32(16000), blocks([b"1234"]))
    seed("no_channels", AAC, 0, 0, i32(44100), blocks([b"1234"]))


def amr_frames(sizes=(13, 14, 16, 18, 20, 21, 27, 32, 6)):
    """Frames of each mode, narrow-band ones unless told otherwise, with any bits in them: the command encodes none."""
    return [bytes([mode << 3 | 4] + [(mode * 31 + i * 57) & 0xFF for i in range(size - 1)])
            for mode, size in enumerate(sizes)]


def containers():
    """Name, suffix, bytes of a small film, or sound, in each container."""
    picture = film("48x32", 3)
    tone = "-f lavfi -i sine=r=22050:d=0.12"
    h264 = f"{X264} -bf 0 -pix_fmt yuv420p"
    aac = "-c:a aac -b:a 16k -ac 1"
    mp3 = "-c:a libmp3lame -b:a 32k -ac 1 -write_xing 0 -id3v2_version 0"
    mpeg4 = "-c:v mpeg4 -q:v 20"
    for name, suffix, arguments in (
        ("mp4", "mp4", f"{picture.replace('-frames', tone + ' -frames')} {h264} {aac}"),
        ("mov_moved", "mov", f"{picture} {mpeg4} -movflags +faststart"),
        ("mp4_fragments", "mp4", f"{picture} {h264} -movflags +frag_keyframe+empty_moov"),
        ("3gp", "3gp", f"{film('128x96', 1)} -c:v h263 -q:v 24"),
        ("mkv", "mkv", f"{picture.replace('-frames', tone + ' -frames')} {h264} {aac}"),
        ("webm", "webm", f"{sound(48000)} -c:a libopus -b:a 16k"),
        ("avi", "avi", f"{picture.replace('-frames', tone + ' -frames')} {mpeg4} {mp3}"),
        ("flv", "flv", f"{picture.replace('-frames', tone + ' -frames')} {h264} {aac}"),
        ("ts", "ts", f"{film('48x32', 8)} {h264}"),
        ("asf", "asf", f"{film('48x32', 2)} {mpeg4} -packet_size 1000"),
        ("wma", "wma", f"{sound(22050)} -c:a wmav2 -b:a 24k -packet_size 800"),
        ("wav", "wav", f"{sound()} -c:a pcm_s16le"),
        ("wav_adpcm", "wav", f"{sound()} -c:a adpcm_ima_wav"),
        ("mp3", "mp3", f"{sound(22050)} -c:a libmp3lame -b:a 32k"),
        ("aac", "aac", f"{sound(22050)} {aac}"),
        ("ogg", "ogg", f"{sound(48000)} -c:a libopus -b:a 16k"),
        ("au", "au", f"{sound(seconds=0.05)} -c:a pcm_mulaw"),
        ("flac", "flac", f"{sound(seconds=0.05)} -c:a flac"),
        ("h264", "h264", f"{picture} {h264}"),
        ("hevc", "hevc", f"{film('64x64', 3)} {X265}0 -pix_fmt yuv420p"),
        ("mjpeg", "mjpeg", f"{film('32x32', 2)} -c:v mjpeg -q:v 20 -pix_fmt yuvj420p"),
        ("jpg", "jpg", f"{film('32x32', 1)} -q:v 20 -pix_fmt yuvj420p"),
        ("mpg", "mpg", f"{film('32x32', 2)} -c:v mpeg1video -q:v 20"),
        ("m4v", "m4v", f"{picture} {mpeg4}"),
    ):
        yield name, ffmpeg(arguments, suffix)


def file_demuxer():
    for name, data in containers():
        seed(name, data)
    seed("amr", b"#!AMR\n" + b"".join(amr_frames()))
    seed("subtitles", b"1\n00:00:00,000 --> 00:00:01,000\nWords\n\n")
    seed("playlist", b"#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nnone.ts\n#EXT-X-ENDLIST\n")
    seed("text", b"no container\n")


def memory_demuxer():
    formats = {"wav": 0, "wav_adpcm": 0, "asf": 1, "wma": 1, "avi": 2, "flv": 3, "ts": 4, "h264": 5, "mp3": 6}
    for name, data in containers():
        if name in formats:
            seed(name, formats[name], 0, 255, data)
    wav = ffmpeg(f"{sound()} -c:a pcm_s16le", "wav")
    seed("wav_byte_by_byte", 0, 0, 1, wav[:400])
    seed("wav_ragged", 0, 4, 1, 7, 2, 30, 3, wav)
    seed("wrong_format", 1, 0, 40, wav[:200])
    seed("no_such_format", 7, 0, 40, wav[:200])


def video_encoder():
    settings = struct.pack("<IIBh", 25, 200000, 1, 12)
    many = bytes([1, 40, 3, 0]) * 4
    for name, codec in ("flv", FLV), ("mpeg4", MPEG4), ("h263", H263), ("mjpeg", MJPEG):
        seed(name, codec, 0, 0, settings, many)
    h264 = 5
    any_size = bytes([200])
    seed("h264", h264, 0, any_size, sides(64, 48), settings, many)
    seed("h264_odd", h264, 0, any_size, sides(37, 51), settings, many)
    seed("noise_in_little_room", MPEG4, 0, any_size, sides(32, 32), settings, bytes([1, 1, 77, 3]) + u16(100), many)
    seed("flat", MPEG4, 0, any_size, sides(32, 32), settings, bytes([1, 128, 0, 1]) * 4)
    seed("new_size", MPEG4, 0, any_size, sides(32, 32), settings, many, 0, any_size, sides(48, 16), many[1:])
    seed("new_size_refused", H263, 0, 0, settings, many, 0, any_size, sides(48, 16), many[1:])
    seed("tiny", MJPEG, 0, any_size, sides(1, 1), settings, many)
    seed("defaults", FLV, 0, 0, struct.pack("<IIBh", 0, 0, 0, -1), many)
    seed("largest_rates", MPEG4, 0, 0, struct.pack("<IIBh", 65535, 536870911, 1, 300), many)
    seed("rate_wraps", MPEG4, 0, 0, struct.pack("<IIBh", 2**32 - 1, 2**32 - 1, 1, 0), many)
    seed("rgb_is_refused", h264, 193, any_size, sides(32, 32), settings, many)
    seed("wrong_mode", H263, 0, 0, struct.pack("<IIBh", 25, 200000, 2, 12), many)


def audio_encoder():
    def encode(name, codec, rate, channels, *rest, wishes=0, format=0, bitrate=64000):
        seed(name, codec, wishes, i32(rate), channels, format, struct.pack("<I", bitrate), *rest)

    frames = (u16(8192) + bytes([60])) * 4
    encode("aac", 0, 48000, 2, frames)
    encode("aac_mono", 0, 22050, 1, frames)
    encode("mp3", 1, 44100, 2, frames)
    encode("mp3_s32", 1, 44100, 1, frames, wishes=1, format=S32)
    encode("mp3_low_rate", 1, 16000, 1, frames)
    encode("pcm", 2, 8000, 2, (u16(1001) + bytes([7])) * 3)
    encode("pcm_less_than_a_sample", 2, 8000, 2, u16(3), 7)
    encode("little_room", 0, 48000, 2, u16(20), frames, wishes=2)
    encode("own_times", 2, 8000, 1, *[u16(100) + bytes([7]) + struct.pack("<q", t) for t in (0, 90000, -1, 2**63 - 1)],
           wishes=4)
    encode("not_an_encoder", 3, 8000, 1, frames)
    encode("default_rate", 1, 44100, 2, frames, bitrate=0)
    encode("wrong_format", 0, 48000, 2, frames, wishes=1, format=U8)


def transform():
    pictures = bytes([9, 40, 1, 77, 128, 0])

    def percents(name, spaces, sizes, zoom=None):
        part = bytes(z & 0xFF for z in zoom) + b"\1" if zoom else bytes(5)
        seed(name, 0, *spaces, sides(*sizes), part, pictures)

    def pixels(name, spaces, sizes, crop):
        seed(name, 1, *spaces, sides(*sizes), u16(*[number + 512 for number in crop]), pictures)

    kinds = {"yuv": YUV420P, "alt": YUV420P_ALT, "yuyv": YUYV422, "bgr": BGR24, "rgb": RGB24, "bgra": BGRA,
             "nv12": NV12}
    for name, space in kinds.items():
        percents(f"from_{name}", (space, YUV420P), (64, 48, 40, 30))
        percents(f"to_{name}", (YUV420P, space), (64, 48, 33, 21))
    percents("same", (YUV420P, YUV420P), (64, 48, 64, 48))
    percents("convert", (BGR24, YUV420P), (64, 48, 64, 48))
    percents("part", (YUV420P, RGB24), (64, 48, 64, 48), (25, 25, 75, 75))
    percents("part_outside", (YUV420P, RGB24), (64, 48, 64, 48), (-20, -20, 40, 40))
    percents("part_turned", (RGB24, YUV420P), (64, 48, 32, 24), (60, 10, 20, 40))
    percents("odd", (YUYV422, BGR24), (37, 21, 17, 11))
    percents("much_smaller", (YUV420P, YUV420P), (512, 512, 8, 8))
    percents("too_small", (YUV420P, YUV420P), (64, 48, 4, 4))
    percents("without_columns", (YUV420P, YUV420P), (0, 48, 8, 8))
    percents("no_format", (7, 7), (64, 48, 64, 40))
    pixels("crop", (YUV420P, YUV420P), (64, 48, 32, 24), (11, 7, 32, 24))
    pixels("crop_rgb", (RGB24, RGB24), (64, 48, 32, 24), (11, 7, 32, 24))
    pixels("crop_yuyv_and_scale", (YUYV422, YUV420P), (64, 48, 20, 20), (1, 1, 31, 33))
    pixels("crop_beyond", (BGR24, BGR24), (64, 48, 64, 48), (40, 40, 64, 48))
    pixels("crop_before", (YUV420P, RGB24), (64, 48, 20, 20), (-30, -10, 50, 30))
    pixels("crop_turned", (YUV420P, RGB24), (64, 48, 20, 20), (30, 10, -20, 30))
    pixels("nothing_to_do", (YUV420P, YUV420P), (64, 48, 64, 48), (0, 0, 64, 48))


def resampler():
    def resample(name, source, target, room=1024, count=2):
        formats = [i32(rate) + bytes([channels & 0xFF, format]) for rate, channels, format in (source, target)]
        data = bytes(range(256)) * 3
        seed(name, *formats, u16(room), blocks([data] * count))

    resample("up", (8000, 1, S16), (48000, 2, FLT))
    resample("down", (48000, 2, FLT), (8000, 1, S16))
    resample("same", (44100, 2, S16), (44100, 2, S16))
    resample("odd_rates", (44100, 1, U8), (22049, 1, DBL))
    resample("planar_mono", (16000, 1, FLTP), (16000, 1, S32P))
    resample("planar_stereo_is_refused", (16000, 2, FLTP), (16000, 2, S16))
    resample("three_channels_are_refused", (16000, 3, S16), (16000, 2, S16))
    resample("two_formats_are_refused", (16000, 1, 250 + 3), (16000, 2, S16))
    resample("no_rate", (0, 1, S16), (16000, 2, S16))
    resample("no_room", (8000, 1, S16), (16000, 2, S16), room=0)
    resample("large_ratio", (1, 1, U8), (1000, 1, U8), room=64)


def muxers():
    VIDEO, KEY, SOUND, MORE_SOUND, HEADER, TRAILER, BUFFER, SIZE = range(8)
    FLV_FORMAT, MP4, WEBM, GP, GP2, AVI, TS = range(1, 8)
    video = dict(h264=0, h265=1, mpeg4=2, flv=3, mjpeg=4, h263=5, jpeg=6, none=7)
    audio = dict(mp3=0, aac=1, s16le=2, mulaw=3, alaw=4, amrnb=5, amrwb=6, g726=7, opus=8, s16be=9, ima=10, none=11)
    rates = {8000: 0, 22050: 1, 44100: 2, 48000: 3, 64000: 4, 128000: 5, 0: 6, -1: 7}
    film_packets = {
        "h264": packets(ffmpeg(f"{film('32x32', 3)} {X264} -bf 0 -pix_fmt yuv420p", "h264"), "h264"),
        "mpeg4": packets(ffmpeg(f"{film('32x32', 3)} -c:v mpeg4 -q:v 20", "avi"), "avi"),
        "mjpeg": packets(ffmpeg(f"{film('16x16', 2)} -c:v mjpeg -q:v 20 -pix_fmt yuvj420p", "avi"), "avi"),
        "flv": packets(ffmpeg(f"{film('32x32', 3)} -c:v flv1 -q:v 20", "flv"), "flv"),
        "h263": packets(ffmpeg(f"{film('128x96', 2)} -c:v h263 -q:v 28", "avi"), "avi"),
        "h265": packets(ffmpeg(f"{film('64x64', 2)} {X265}0 -pix_fmt yuv420p", "hevc"), "hevc"),
        "none": [],
    }
    adts = packets(ffmpeg(f"{sound(44100)} -c:a aac -b:a 16k", "aac"), "aac")[:3]
    mp3 = b"".join(packets(ffmpeg(f"{sound(44100)} -c:a libmp3lame -b:a 64k -write_xing 0", "mp3"), "mp3")[:4])

    def mux(name, into_memory, format, video_codec, audio_codec, sounds, rate=44100, bit_rate=64000, size=(32, 32),
            order=None):
        steps = [bytes([HEADER])]
        for index, packet in enumerate(film_packets[video_codec]):
            steps.append(bytes([VIDEO if index else KEY]) + block(packet) + bytes([40]))
            if index < len(sounds):
                steps.append(bytes([SOUND]) + block(sounds[index]) + bytes([0]))
        if not film_packets[video_codec]:
            steps += [bytes([SOUND]) + block(data) + bytes([20]) for data in sounds]
        steps += [bytes([SIZE]), bytes([TRAILER])]
        for place, step in order or []:
            steps.insert(place, step)
        seed(name, into_memory, format, video[video_codec], audio[audio_codec], i16(*size), rates[rate], 1,
             rates[bit_rate], i16(10), *steps)

    mux("file_mp4_h264_aac", 0, MP4, "h264", "aac", adts)
    mux("file_mp4_h264_mp3", 0, MP4, "h264", "mp3", [mp3])
    mux("file_mp4_h265", 0, MP4, "h265", "none", [])
    mux("file_3gp_h263_amr", 0, GP, "h263", "amrnb", [b"\x3c" + bytes(31)] * 3, 8000, 8000, (128, 96))
    mux("file_3gp2_mpeg4_aac", 0, GP2, "mpeg4", "aac", adts)
    mux("file_avi_mpeg4_mp3", 0, AVI, "mpeg4", "mp3", [mp3, mp3[:105]])
    mux("file_avi_mjpeg_pcm", 0, AVI, "mjpeg", "s16le", [bytes(314)] * 2)
    mux("file_flv_sound_alone", 0, FLV_FORMAT, "none", "mp3", [mp3] * 2)
    mux("file_ts_h264_aac", 0, TS, "h264", "aac", adts)
    mux("file_webm_is_refused", 0, WEBM, "h264", "aac", adts)
    mux("file_mp3_without_rate", 0, MP4, "h264", "mp3", [mp3], rate=0)
    mux("file_mp3_cut_small", 0, AVI, "mpeg4", "mp3", [mp3[:400]], 48000, 8000)
    mux("file_mp3_negative_rate", 0, AVI, "mpeg4", "mp3", [mp3[:400]], 44100, -1)
    mux("file_times_leap", 0, AVI, "mpeg4", "none", [],
        order=[(2, bytes([KEY]) + block(b"1234") + b"\x80" + struct.pack("<q", 2**62)),
               (3, bytes([VIDEO]) + block(b"1234") + b"\x80" + struct.pack("<q", -2**63))])
    mux("file_empty_blocks", 0, MP4, "h264", "aac", adts,
        order=[(1, bytes([VIDEO]) + block(b"") + b"\0"), (1, bytes([SOUND]) + block(b"") + b"\0")])
    mux("memory_flv_h264_aac", 1, FLV_FORMAT, "h264", "aac", adts)
    mux("memory_flv_flv_mp3", 1, FLV_FORMAT, "flv", "mp3", [mp3] * 2)
    mux("memory_ts_h264_mp3", 1, TS, "h264", "mp3", [mp3])
    mux("memory_avi_mjpeg_pcm", 1, AVI, "mjpeg", "s16le", [bytes(200)] * 2)
    mux("memory_mp4_wants_to_seek", 1, MP4, "h264", "aac", adts)
    mux("memory_without_buffer", 1, TS, "h264", "none", [], order=[(2, bytes([BUFFER]))])
    mux("memory_mp3_without_rate", 1, TS, "h264", "mp3", [mp3], bit_rate=0)


TARGETS = (video_decoder, audio_decoder, file_demuxer, memory_demuxer, video_encoder, audio_encoder, transform,
           resampler, muxers)

for make in TARGETS:
    target = make.__name__
    if len(sys.argv) > 1 and target not in sys.argv[1:]:
        continue
    (SEEDS / target).mkdir(parents=True, exist_ok=True)
    for old in (SEEDS / target).iterdir():
        if not old.name.startswith("found_"):
            old.unlink()
    make()
    files = list((SEEDS / target).iterdir())
    print(f"{target}: {len(files)} seeds, {sum(file.stat().st_size for file in files)} bytes")
