#pragma once

#include <string>

#include "codrelay/audio_decoder.h"
#include "codrelay/audio_encoder.h"
#include "codrelay/audio_resampler.h"
#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/video_decoder.h"
#include "codrelay/video_encoder.h"

// The factories only build: FFmpeg is first asked when the object's own Create call runs. They may be called from any
// thread. Every failure is a null result and a line on the logger "codrelay" or, from the layer beneath, "ffmpeg".
//
// The string that video factories take was meant for hardware acceleration. Nothing reads it; pass an empty one.

/// A video decoder that delivers CSP_YUV420P. Served are VIDEO_CODEC_MPEG4, VIDEO_CODEC_JPEG and VIDEO_CODEC_MJPEG
/// (the same decoder), VIDEO_CODEC_H264 and VIDEO_CODEC_H265; null for every other id. Decoders for VIDEO_CODEC_FLV and
/// VIDEO_CODEC_H263, and other colour spaces, can be had from `NewFFmpegVideoDecoder` in "codrelay/ffmpeg_layer.h". The
/// caller owns the object and disposes of it by `Delete`.
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder(int id, const std::string& options);
/// The decoders that `Codrelay_VideoDecoder` gives for VIDEO_CODEC_H264, VIDEO_CODEC_H265 and VIDEO_CODEC_JPEG.
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H264(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H265(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_JPEG();
/// There is no hardware path: null, always and silently. Use `Codrelay_VideoDecoder`.
CODRELAY_API CVideoDecoderBase* HwAccelVideoDecoder_H264(const std::string& options);

/// A video encoder that takes CSP_YUV420P. Served are VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263,
/// VIDEO_CODEC_JPEG and VIDEO_CODEC_MJPEG (the same encoder), VIDEO_CODEC_H264, and VIDEO_CODEC_XVIDE, which stands for
/// VIDEO_CODEC_MPEG4; null for every other id, VIDEO_CODEC_H265 included. The object is there also where FFmpeg lacks
/// the codec: that shows when it is created. The caller owns it and disposes of it by `Delete`.
CODRELAY_API CVideoEncoderBase* Codrelay_VideoEncoder(int id, const std::string& options);
/// The encoder that `Codrelay_VideoEncoder` gives for VIDEO_CODEC_H264. Nothing reads the arguments.
CODRELAY_API CVideoEncoderBase* Codrelay_VideoEncoder_H264(int id, const std::string& options);
/// There is no hardware path: null, always and silently. Use `Codrelay_VideoEncoder`.
CODRELAY_API CVideoEncoderBase* HwAccelVideoEncoder_H264(const std::string& options);

/// A demuxer for files. `format` is ignored: the format is found by looking at the file. Never null. The caller owns
/// the object and disposes of it by `delete`.
CODRELAY_API CDemuxerFileBase* Codrelay_DemuxerFile(int format);

/// An encoder for an `AUDIO_CODEC_*` id, not yet made ready. Null, with one or more lines at Error on the logger
/// "ffmpeg", for a number that is no id and for Opus, which cannot be encoded. The caller owns the object and disposes
/// of it by its `Delete`. Any thread may call.
CODRELAY_API CAudioEncoderBase* Codrelay_AudioEncoder(int id);
/// A decoder for an `AUDIO_CODEC_*` id, not yet made ready. Null, with one or more lines at Error on the logger
/// "ffmpeg", for a number that is no id. Otherwise as above.
CODRELAY_API CAudioDecoderBase* Codrelay_AudioDecoder(int id);
/// A resampler, not yet made ready. Never null. Otherwise as above.
CODRELAY_API CAudioResamplerBase* Codrelay_AudioResampler();
