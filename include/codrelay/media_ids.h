#pragma once

// The library's own small integers. They stay the same whatever FFmpeg does with its numbering.

inline constexpr int VIDEO_CODEC_NONE = -1;
inline constexpr int VIDEO_CODEC_XVIDE = 0;
inline constexpr int VIDEO_CODEC_XVIDF = 1;
inline constexpr int VIDEO_CODEC_THR = 2;
inline constexpr int VIDEO_CODEC_FLV = 3;
inline constexpr int VIDEO_CODEC_MPEG4 = 4;
inline constexpr int VIDEO_CODEC_H263 = 5;
inline constexpr int VIDEO_CODEC_JPEG = 6;
inline constexpr int VIDEO_CODEC_MJPEG = 7;
inline constexpr int VIDEO_CODEC_H264 = 8;
inline constexpr int VIDEO_CODEC_H265 = 9;
inline constexpr int VIDEO_CODEC_RAW = 32000;

/// Colour spaces are single bits, so that a set of them fits a mask.
inline constexpr unsigned int CSP_YUV420P_ALT = 1;
inline constexpr unsigned int CSP_YUV420P = 2;
inline constexpr unsigned int CSP_YUYV422 = 4;
inline constexpr unsigned int CSP_BGR24 = 8;
inline constexpr unsigned int CSP_RGB24 = 16;
inline constexpr unsigned int CSP_BGRA = 32;
inline constexpr unsigned int CSP_NV12 = 64;

inline constexpr int AUDIO_CODEC_AMRNB = 0;
inline constexpr int AUDIO_CODEC_AMRWB = 1;
inline constexpr int AUDIO_CODEC_AAC = 3;
inline constexpr int AUDIO_CODEC_MP3 = 4;
inline constexpr int AUDIO_CODEC_G726_16 = 5;
inline constexpr int AUDIO_CODEC_G726_24 = 6;
inline constexpr int AUDIO_CODEC_G726_32 = 7;
inline constexpr int AUDIO_CODEC_G726_40 = 8;
inline constexpr int AUDIO_CODEC_OPUS = 20;
inline constexpr int AUDIO_CODEC_MULAW = 100;
inline constexpr int AUDIO_CODEC_ALAW = 101;
inline constexpr int AUDIO_CODEC_PCM_U16LE = 102;
inline constexpr int AUDIO_CODEC_PCM_S16LE = 103;
inline constexpr int AUDIO_CODEC_ADPCM_IMA_WAV = 104;
inline constexpr int AUDIO_CODEC_PCM_S16BE = 501;

inline constexpr int MUXER_FORMAT_FLV = 1;
inline constexpr int MUXER_FORMAT_MP4 = 2;
inline constexpr int MUXER_FORMAT_WEBM = 3;
inline constexpr int MUXER_FORMAT_3GP = 4;
inline constexpr int MUXER_FORMAT_3GP2 = 5;
inline constexpr int MUXER_FORMAT_AVI = 6;
inline constexpr int MUXER_FORMAT_MPEGTS = 7;

/// For memory demuxers only.
inline constexpr int DEMUXER_FORMAT_WAV = 1;
inline constexpr int DEMUXER_FORMAT_ASF = 2;
