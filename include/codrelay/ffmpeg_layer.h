#pragma once

#include <set>
#include <string>

#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/video_decoder.h"

CODRELAY_API CVideoDecoderBase* NewFFmpegVideoDecoder(int id, unsigned int colorSpace, const std::string& options);
/// What stands behind `Codrelay_DemuxerFile`.
CODRELAY_API CDemuxerFileBase* NewFFmpegDemuxerFile();

/// What stands behind `Codrelay_GetSupportedVideoEncoders`, `Codrelay_GetSupportedAudioEncoders` and
/// `Codrelay_SetFfmpegLogLevel` of "codrelay/library.h".
CODRELAY_API std::set<int> GetFFmpegSupportedVideoEncoders();
CODRELAY_API std::set<int> GetFFmpegSupportedAudioEncoders();
CODRELAY_API void SetFfmpegLogLevel(const std::string& level);
