#pragma once

/// @file
/// The factories. They only build: FFmpeg is first asked when the object's own Create call runs. They may be called
/// from any thread. Every failure is a null result and a line on the logger "codrelay" or, from the layer beneath,
/// "ffmpeg".
///
/// The string that video factories take was meant for hardware acceleration. Nothing reads it; pass an empty one.

#include <memory>
#include <string>

#include "codrelay/audio_decoder.h"
#include "codrelay/audio_encoder.h"
#include "codrelay/audio_resampler.h"
#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/file_muxer.h"
#include "codrelay/memory_demuxer.h"
#include "codrelay/memory_muxer.h"
#include "codrelay/muxer_param.h"
#include "codrelay/video_decoder.h"
#include "codrelay/video_encoder.h"
#include "codrelay/video_transform.h"

/// A video decoder that delivers CSP_YUV420P. Served are VIDEO_CODEC_MPEG4, VIDEO_CODEC_JPEG and VIDEO_CODEC_MJPEG
/// (the same decoder), VIDEO_CODEC_H264 and VIDEO_CODEC_H265; null for every other id. Decoders for VIDEO_CODEC_FLV and
/// VIDEO_CODEC_H263, and other colour spaces, can be had from `NewFFmpegVideoDecoder` in "codrelay/ffmpeg_layer.h". The
/// caller owns the object and disposes of it by `Delete`.
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder(int id, const std::string& options);
/// The decoder that `Codrelay_VideoDecoder` gives for VIDEO_CODEC_H264.
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H264(const std::string& options);
/// The decoder that `Codrelay_VideoDecoder` gives for VIDEO_CODEC_H265.
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H265(const std::string& options);
/// The decoder that `Codrelay_VideoDecoder` gives for VIDEO_CODEC_JPEG.
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

/// A demuxer for bytes in memory, with its reader thread running. `format` is a `DEMUXER_FORMAT_*` id; any other makes
/// a demuxer whose thread ends at once. `callback` is not owned and must live until the demuxer is destroyed; see
/// CDemuxerMemCallback for the thread that it runs on. The caller owns the object and disposes of it by `Delete`. Null,
/// and a line at Critical on "ffmpeg", if no thread can be started.
/// REQUIRES: `callback` is not null.
CODRELAY_API CDemuxerMemBase* Codrelay_DemuxerMem(int format, CDemuxerMemCallback* callback);

/// A muxer into memory. `format` is a `MUXER_FORMAT_*` id; `param`, copied, holds the library's codec ids. The caller
/// owns the object and disposes of it by `Delete`. Null, with lines on "ffmpeg", if `param` is null, the format unknown
/// or a stream not to be had.
CODRELAY_API CMuxerMemBase* Codrelay_MuxerMem(int format, MUXER_PARAM* param);

/// A muxer into the file `fileName`, which is copied and not opened before `WriteHeader`; null counts as an empty name.
/// Otherwise as Codrelay_MuxerMem.
CODRELAY_API CMuxerFileBase* Codrelay_MuxerFile(int format, MUXER_PARAM* param, const char* fileName);

/// A transform from pictures of `inWidth` x `inHeight` in `inColorSpace` (a `CSP_*` id) to pictures of `outWidth` x
/// `outHeight` in `outColorSpace`. `zoom`, which may be null, names a part of the input in percent; the part keeps the
/// input's shape. What lies left of or above the picture is zeros, and so is all of a part whose right edge is left of
/// its left one; a part without width is the whole picture, and so is every part of a `CSP_NV12` one. A request that
/// changes nothing gets a transform that hands its frames straight back. Empty, with lines on "codrelay" or "ffmpeg",
/// if the output size is not allowed, the part lies right of or below the picture, or there is no such conversion.
CODRELAY_API std::shared_ptr<CVideoTransformBase> Codrelay_VideoTransform(unsigned int inColorSpace, int inWidth,
                                                                          int inHeight,
                                                                          CVideoTransformBase::ZOOM_RECT* zoom,
                                                                          unsigned int outColorSpace, int outWidth,
                                                                          int outHeight);

/// Whether a size is allowed as an output size: 8 to 4096 in both directions. A line at Error on "codrelay" names the
/// first one that is not.
CODRELAY_API bool Codrelay_VideoTransformCheckSize(int width, int height);
