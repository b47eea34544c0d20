#pragma once

#include <set>
#include <string>

#include "codrelay/export.h"
#include "codrelay/file_demuxer.h"
#include "codrelay/file_muxer.h"
#include "codrelay/memory_demuxer.h"
#include "codrelay/memory_muxer.h"
#include "codrelay/muxer_param.h"
#include "codrelay/video_decoder.h"

CODRELAY_API CVideoDecoderBase* NewFFmpegVideoDecoder(int id, unsigned int colorSpace, const std::string& options);
/// What stands behind `Codrelay_DemuxerFile`.
CODRELAY_API CDemuxerFileBase* NewFFmpegDemuxerFile();
/// What stands behind `Codrelay_DemuxerMem`.
CODRELAY_API CDemuxerMemBase* NewFFmpegDemuxerMem(int format, CDemuxerMemCallback* callback);
/// What stands behind `Codrelay_MuxerMem` and `Codrelay_MuxerFile`.
CODRELAY_API CMuxerMemBase* NewFFmpegMuxerMem(int format, MUXER_PARAM* param);
CODRELAY_API CMuxerFileBase* NewFFmpegMuxerFile(int format, MUXER_PARAM* param, const char* fileName);

/// What stands behind `Codrelay_GetSupportedVideoEncoders`, `Codrelay_GetSupportedAudioEncoders` and
/// `Codrelay_SetFfmpegLogLevel` of "codrelay/library.h".
CODRELAY_API std::set<int> GetFFmpegSupportedVideoEncoders();
CODRELAY_API std::set<int> GetFFmpegSupportedAudioEncoders();
CODRELAY_API void SetFfmpegLogLevel(const std::string& level);
