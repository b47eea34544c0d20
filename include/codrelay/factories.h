#pragma once

#include <string>

#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/video_decoder.h"
#include "codrelay/video_encoder.h"

CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder(int id, const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H264(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_H265(const std::string& options);
CODRELAY_API CVideoDecoderBase* Codrelay_VideoDecoder_JPEG();
CODRELAY_API CVideoDecoderBase* HwAccelVideoDecoder_H264(const std::string& options);

/// The encoder for a `VIDEO_CODEC_*` id: FLV, MPEG4, H263, JPEG, MJPEG or H264, and MPEG-4 for VIDEO_CODEC_XVIDE too.
/// It takes pictures of CSP_YUV420P. Null for any other id, H265 included, with a line at Critical on the logger
/// "codrelay". `options` has no effect. The object is there also where FFmpeg lacks the codec; that shows when it is
/// created. The caller owns it and gives it back by `Delete`. May be called from any thread.
CODRELAY_API CVideoEncoderBase* Codrelay_VideoEncoder(int id, const std::string& options);
/// The H.264 encoder, as above. Neither argument has an effect.
CODRELAY_API CVideoEncoderBase* Codrelay_VideoEncoder_H264(int id, const std::string& options);
/// Null: there is no hardware encoder.
CODRELAY_API CVideoEncoderBase* HwAccelVideoEncoder_H264(const std::string& options);

/// A demuxer for files. `format` is ignored: the format is found by looking at the file. Never null. The caller owns the
/// object and disposes of it by `delete`.
CODRELAY_API CDemuxerFileBase* Codrelay_DemuxerFile(int format);
