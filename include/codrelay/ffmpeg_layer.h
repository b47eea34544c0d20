#pragma once

/// @file
/// The factories beneath those of "codrelay/factories.h", with more choice.

#include <memory>
#include <set>
#include <string>

#include "codrelay/audio_decoder.h"
#include "codrelay/audio_encoder.h"
#include "codrelay/audio_resampler.h"
#include "codrelay/built_with.h"
#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/file_muxer.h"
#include "codrelay/memory_demuxer.h"
#include "codrelay/memory_muxer.h"
#include "codrelay/muxer_param.h"
#include "codrelay/video_decoder.h"
#include "codrelay/video_encoder.h"
#include "codrelay/video_transform.h"

/// What stands behind the video decoder factories of "codrelay/factories.h": a decoder for the ids from VIDEO_CODEC_FLV
/// to VIDEO_CODEC_H265 that delivers `colorSpace`, a `CSP_*` id. The third argument is not read. Null, and a line on
/// the logger "ffmpeg", for every other id. The colour space is not tested: one that codecs cannot be bound to
/// (CSP_YUV420P_ALT and CSP_YUYV422, with a line; ids that do not exist) delivers pictures as FFmpeg makes them. The
/// caller owns the object and disposes of it by `Delete`. Any thread.
CODRELAY_API CVideoDecoderBase* NewFFmpegVideoDecoder(int id, unsigned int colorSpace, const std::string& options);
/// An encoder for a `VIDEO_CODEC_*` id from FLV to H264 that takes pictures of the colour space `colorSpace`, a `CSP_*`
/// id. Null for any other id, with a line at Error on the logger "ffmpeg". Nothing else is tested here: a colour space
/// that the codec cannot take shows when the encoder is created. `options` has no effect. The caller owns the object
/// and gives it back by `Delete`.
CODRELAY_API CVideoEncoderBase* NewFFmpegVideoEncoder(int id, unsigned int colorSpace, const std::string& options);

/// What stands behind `Codrelay_DemuxerFile`.
CODRELAY_API CDemuxerFileBase* NewFFmpegDemuxerFile();
/// What stands behind `Codrelay_DemuxerMem`.
CODRELAY_API CDemuxerMemBase* NewFFmpegDemuxerMem(int format, CDemuxerMemCallback* callback);
/// What stands behind `Codrelay_MuxerMem`.
CODRELAY_API CMuxerMemBase* NewFFmpegMuxerMem(int format, MUXER_PARAM* param);
/// What stands behind `Codrelay_MuxerFile`.
CODRELAY_API CMuxerFileBase* NewFFmpegMuxerFile(int format, MUXER_PARAM* param, const char* fileName);

/// What stands behind `Codrelay_AudioEncoder`.
CODRELAY_API CAudioEncoderBase* NewFFmpegAudioEncoder(int id);
/// What stands behind `Codrelay_AudioDecoder` for all codecs but Opus, which is not FFmpeg's: null for it.
CODRELAY_API CAudioDecoderBase* NewFFmpegAudioDecoder(int id);
/// What stands behind `Codrelay_AudioResampler`.
CODRELAY_API CAudioResamplerBase* NewFFmpegAudioResampler();

/// What stands behind `Codrelay_GetSupportedVideoEncoders`.
CODRELAY_API std::set<int> GetFFmpegSupportedVideoEncoders();
/// What stands behind `Codrelay_GetSupportedAudioEncoders`.
CODRELAY_API std::set<int> GetFFmpegSupportedAudioEncoders();
/// What stands behind `Codrelay_SetFfmpegLogLevel`.
CODRELAY_API void SetFfmpegLogLevel(const std::string& level);

/// The software transform, with the part of the input in pixels and no test of sizes. Otherwise as
/// `Codrelay_VideoTransform`. Where neither size nor colour space change and nothing is cropped, `Transform` gives
/// null. Throws std::length_error for a colour space without a format, where neither size nor colour space change.
CODRELAY_API std::shared_ptr<CVideoTransformBase> NewFFmpegVideoTransform(unsigned int inColorSpace, int inWidth,
                                                                          int inHeight,
                                                                          CVideoTransformBase::CROP_RECT& crop,
                                                                          unsigned int outColorSpace, int outWidth,
                                                                          int outHeight);
