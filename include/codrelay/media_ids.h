#pragma once

/// @file
/// The library's own small integers. They stay the same whatever FFmpeg does with its numbering.
/// "codrelay/ffmpeg_vocabulary.h" says how they read in FFmpeg's words.
///
/// Colour spaces are single bits, so that a set of them fits a mask. Pictures are contiguous: rows without padding,
/// planes one after the other.

// Video codecs.

/// No video codec, or one that has no id.
inline constexpr int VIDEO_CODEC_NONE = -1;
/// No factory builds it, except that the video encoder factory takes it for VIDEO_CODEC_MPEG4.
inline constexpr int VIDEO_CODEC_XVIDE = 0;
/// No factory builds it.
inline constexpr int VIDEO_CODEC_XVIDF = 1;
/// No factory builds it.
inline constexpr int VIDEO_CODEC_THR = 2;
/// Sorenson H.263, as Flash Video holds it.
inline constexpr int VIDEO_CODEC_FLV = 3;
/// MPEG-4 Part 2.
inline constexpr int VIDEO_CODEC_MPEG4 = 4;
/// H.263, in its five standard sizes where it is encoded.
inline constexpr int VIDEO_CODEC_H263 = 5;
/// Single pictures and streams of them share a codec; demuxers report VIDEO_CODEC_MJPEG for both.
inline constexpr int VIDEO_CODEC_JPEG = 6;
/// Motion JPEG; the codec of VIDEO_CODEC_JPEG.
inline constexpr int VIDEO_CODEC_MJPEG = 7;
/// H.264 (AVC).
inline constexpr int VIDEO_CODEC_H264 = 8;
/// H.265 (HEVC). Decoding only.
inline constexpr int VIDEO_CODEC_H265 = 9;
/// Uncompressed pictures; no factory builds a codec for it.
inline constexpr int VIDEO_CODEC_RAW = 32000;

// Colour spaces. Bytes of a picture of w by h pixels are given in brackets; chroma of 4:2:0 counts odd sizes up.

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
/// Y plane, then interleaved U V [as CSP_YUV420P]. Transforms scale it whole and never crop it; no decoder delivers it.
inline constexpr unsigned int CSP_NV12 = 64;

// Audio codecs.

/// AMR narrow-band. Decoding only.
inline constexpr int AUDIO_CODEC_AMRNB = 0;
/// AMR wide-band. Decoding only.
inline constexpr int AUDIO_CODEC_AMRWB = 1;
/// AAC.
inline constexpr int AUDIO_CODEC_AAC = 3;
/// MPEG layer III.
inline constexpr int AUDIO_CODEC_MP3 = 4;
/// G.726 at 16000 bits a second. Decoding only, as the other three.
inline constexpr int AUDIO_CODEC_G726_16 = 5;
/// G.726 at 24000 bits a second.
inline constexpr int AUDIO_CODEC_G726_24 = 6;
/// G.726 at 32000 bits a second.
inline constexpr int AUDIO_CODEC_G726_32 = 7;
/// G.726 at 40000 bits a second.
inline constexpr int AUDIO_CODEC_G726_40 = 8;
/// Decoding only.
inline constexpr int AUDIO_CODEC_OPUS = 20;
/// G.711 mu-law. Decoding only.
inline constexpr int AUDIO_CODEC_MULAW = 100;
/// G.711 A-law. Decoding only.
inline constexpr int AUDIO_CODEC_ALAW = 101;
/// Plain samples, unsigned, 16 bits, little-endian. Decoding only.
inline constexpr int AUDIO_CODEC_PCM_U16LE = 102;
/// Plain samples, signed, 16 bits, little-endian.
inline constexpr int AUDIO_CODEC_PCM_S16LE = 103;
/// IMA ADPCM as WAV holds it. Has a name only: its decoder never opens.
inline constexpr int AUDIO_CODEC_ADPCM_IMA_WAV = 104;
/// Plain samples, signed, 16 bits, big-endian. Decoding only.
inline constexpr int AUDIO_CODEC_PCM_S16BE = 501;

// Container formats that the muxers write.

/// Flash Video.
inline constexpr int MUXER_FORMAT_FLV = 1;
/// MP4. Files only.
inline constexpr int MUXER_FORMAT_MP4 = 2;
/// WebM, which takes none of the codecs here.
inline constexpr int MUXER_FORMAT_WEBM = 3;
/// 3GP. Files only.
inline constexpr int MUXER_FORMAT_3GP = 4;
/// 3GP2. Files only.
inline constexpr int MUXER_FORMAT_3GP2 = 5;
/// AVI.
inline constexpr int MUXER_FORMAT_AVI = 6;
/// MPEG-2 transport stream.
inline constexpr int MUXER_FORMAT_MPEGTS = 7;

// Container formats that the memory demuxers read. File demuxers find the format by themselves.

/// WAV.
inline constexpr int DEMUXER_FORMAT_WAV = 1;
/// ASF, the container of WMA and WMV.
inline constexpr int DEMUXER_FORMAT_ASF = 2;
