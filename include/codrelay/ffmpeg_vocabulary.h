#pragma once

/// @file
/// How the ids of "codrelay/media_ids.h" read in FFmpeg's words. Pure look-ups in constant tables: safe from any thread
/// at any time, before `Codrelay_Create` too. The strings are constants that live as long as the library. Where it is
/// said that a failure is logged, that is one line at Error on the logger "ffmpeg".

#include <cstdint>  // FFmpeg's headers want its macros

extern "C" {
// The header of the ids alone where there is one (from FFmpeg 4.3 on): nothing in it is deprecated, so that this header
// may come before or after any way of including FFmpeg.
#if __has_include(<libavcodec/codec_id.h>)
#include <libavcodec/codec_id.h>
#else
#include <libavcodec/avcodec.h>
#endif
#include <libavutil/pixfmt.h>
}

#include "codrelay/export.h"

/// FFmpeg's long name of a `MUXER_FORMAT_*` id, such as "MP4 (MPEG-4 Part 14)"; the key by which the library finds
/// formats. Null, and logged, for any other id.
CODRELAY_API const char* GetMuxerFormatName(int id);

/// The name of FFmpeg's encoder for a `VIDEO_CODEC_*` id. Null, and logged, where there is none: for
/// VIDEO_CODEC_XVIDE, VIDEO_CODEC_THR, VIDEO_CODEC_H265 and everything that is not a codec.
CODRELAY_API const char* GetFFmpegVideoEncoderName(int id);
/// The name of FFmpeg's decoder for a `VIDEO_CODEC_*` id. Null, and logged, where there is none: for
/// VIDEO_CODEC_XVIDE, VIDEO_CODEC_THR and everything that is not a codec.
CODRELAY_API const char* GetFFmpegVideoDecoderName(int id);

/// The name of FFmpeg's encoder for an `AUDIO_CODEC_*` id. Null, and logged, for AUDIO_CODEC_OPUS, which FFmpeg has no
/// part in, and everything that is not a codec.
CODRELAY_API const char* GetFFmpegAudioEncoderName(int id);
/// The name of FFmpeg's decoder for an `AUDIO_CODEC_*` id; fails as the encoder's.
CODRELAY_API const char* GetFFmpegAudioDecoderName(int id);

/// The pixel format of a `CSP_*` id. AV_PIX_FMT_NONE, not logged, for anything else, a set of several included.
CODRELAY_API AVPixelFormat GetFFmpegPixelFormat(int colorSpace);

/// The pixel format with which a codec is set up for a `CSP_*` id. As above, but:
/// - CSP_YUV420P_ALT and CSP_YUYV422 are nothing that a codec can be set up on: AV_PIX_FMT_NONE, logged;
/// - CSP_YUV420P is the full-range AV_PIX_FMT_YUVJ420P for AV_CODEC_ID_MJPEG.
CODRELAY_API AVPixelFormat GetFFmpegPixelFormat(AVCodecID codec, int colorSpace);

/// The `CSP_*` id of a pixel format, 0 for a format that has none; CSP_YUV420P for AV_PIX_FMT_YUV420P. Not the inverse
/// of the calls above: AV_PIX_FMT_YUVJ420P, which one of them gives, has no id.
CODRELAY_API unsigned int GetInternalPixelFormat(AVPixelFormat format);

/// Always 0: keeps the place of a hardware path that does not exist.
CODRELAY_API int GetCspForHwFFmpegPixelFormat(AVPixelFormat format);
