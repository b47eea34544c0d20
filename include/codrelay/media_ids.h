#pragma once

// The library's own small integers. They stay the same whatever FFmpeg does with its numbering.
// "codrelay/ffmpeg_vocabulary.h" says how they read in FFmpeg's words.

// Video codecs.

inline constexpr int VIDEO_CODEC_NONE = -1;
/// The three that follow name codecs that no factory builds, except that the video encoder factory takes
/// VIDEO_CODEC_XVIDE for VIDEO_CODEC_MPEG4.
inline constexpr int VIDEO_CODEC_XVIDE = 0;
inline constexpr int VIDEO_CODEC_XVIDF = 1;
inline constexpr int VIDEO_CODEC_THR = 2;
/// Sorenson H.263, as Flash Video holds it.
inline constexpr int VIDEO_CODEC_FLV = 3;
inline constexpr int VIDEO_CODEC_MPEG4 = 4;
inline constexpr int VIDEO_CODEC_H263 = 5;
/// Single pictures and streams of them share a codec; demuxers report VIDEO_CODEC_MJPEG for both.
inline constexpr int VIDEO_CODEC_JPEG = 6;
inline constexpr int VIDEO_CODEC_MJPEG = 7;
inline constexpr int VIDEO_CODEC_H264 = 8;
inline constexpr int VIDEO_CODEC_H265 = 9;
/// Uncompressed pictures; no factory builds a codec for it.
inline constexpr int VIDEO_CODEC_RAW = 32000;

// Colour spaces. Single bits, so that a set of them fits a mask. Pictures are contiguous: rows without padding, planes
// one after the other. Bytes of a picture of w by h pixels are given in brackets; chroma of 4:2:0 counts odd sizes up.

/// Another id for the layout of CSP_YUV420P.
inline constexpr unsigned int CSP_YUV420P_ALT = 1;
/// Y, U, V planes [w*h + ((w+1)&~1)*((h+1)&~1)/2].
inline constexpr unsigned int CSP_YUV420P = 2;
/// Packed Y U Y V [w*h*2].
inline constexpr unsigned int CSP_YUYV422 = 4;
/// Packed, blue first [w*h*3].
inline constexpr unsigned int CSP_BGR24 = 8;
/// Packed, red first [w*h*3].
inline constexpr unsigned int CSP_RGB24 = 16;
/// Packed, blue first, alpha last [w*h*4].
inline constexpr unsigned int CSP_BGRA = 32;
/// Y plane, then interleaved U V. Has a name only: no decoder and no transform sizes pictures of it.
inline constexpr unsigned int CSP_NV12 = 64;

// Audio codecs.
inline constexpr int AUDIO_CODEC_AMRNB = 0;
inline constexpr int AUDIO_CODEC_AMRWB = 1;
inline constexpr int AUDIO_CODEC_AAC = 3;
inline constexpr int AUDIO_CODEC_MP3 = 4;
/// The four G.726 ids differ in bit rate: 16000, 24000, 32000 and 40000 bits a second.
inline constexpr int AUDIO_CODEC_G726_16 = 5;
inline constexpr int AUDIO_CODEC_G726_24 = 6;
inline constexpr int AUDIO_CODEC_G726_32 = 7;
inline constexpr int AUDIO_CODEC_G726_40 = 8;
/// Decoding only.
inline constexpr int AUDIO_CODEC_OPUS = 20;
/// G.711 and plain samples.
inline constexpr int AUDIO_CODEC_MULAW = 100;
inline constexpr int AUDIO_CODEC_ALAW = 101;
inline constexpr int AUDIO_CODEC_PCM_U16LE = 102;
inline constexpr int AUDIO_CODEC_PCM_S16LE = 103;
inline constexpr int AUDIO_CODEC_ADPCM_IMA_WAV = 104;
inline constexpr int AUDIO_CODEC_PCM_S16BE = 501;

// Container formats that the muxers write.
inline constexpr int MUXER_FORMAT_FLV = 1;
inline constexpr int MUXER_FORMAT_MP4 = 2;
inline constexpr int MUXER_FORMAT_WEBM = 3;
inline constexpr int MUXER_FORMAT_3GP = 4;
inline constexpr int MUXER_FORMAT_3GP2 = 5;
inline constexpr int MUXER_FORMAT_AVI = 6;
inline constexpr int MUXER_FORMAT_MPEGTS = 7;

// Container formats that the memory demuxers read. File demuxers find the format by themselves.
inline constexpr int DEMUXER_FORMAT_WAV = 1;
inline constexpr int DEMUXER_FORMAT_ASF = 2;
